#include "HAL/RobotHardware/CommandPacking.h"

#include "CoreUtility/ByteOrder.h"

namespace HAL {

bool testAndClearCommandMaskBit(robot_hw0_cmd_data* data, uint64_t mask)
{
    if ((data->commandMask & mask) != mask) {
        return false;
    }
    data->commandMask &= ~mask;
    return true;
}

Placement tryEncodeCommand___8_0(robot_hw0_cmd_data* data, uint64_t mask, uint8_t command)
{
    const uint8_t bytes[] = {command};
    return tryEncode(data, mask, bytes);
}

Placement tryEncodeCommand___8_1(robot_hw0_cmd_data* data, uint64_t mask, uint8_t command, uint8_t value)
{
    const uint8_t bytes[] = {command, value};
    return tryEncode(data, mask, bytes);
}

Placement tryEncodeCommand___8_3(robot_hw0_cmd_data* data, uint64_t mask, uint8_t command, uint8_t value1,
                                 uint8_t value2, uint8_t value3)
{
    const uint8_t bytes[] = {command, value1, value2, value3};
    return tryEncode(data, mask, bytes);
}

Placement tryEncodeCommand___8_4(robot_hw0_cmd_data* data, uint64_t mask, uint8_t command, uint8_t value1,
                                 uint8_t value2, uint8_t value3, uint8_t value4)
{
    const uint8_t bytes[] = {command, value1, value2, value3, value4};
    return tryEncode(data, mask, bytes);
}

Placement tryEncodeCommandRGB(robot_hw0_cmd_data* data, uint64_t mask, uint8_t command, const HALRGB_t& light)
{
    return tryEncodeCommand___8_3(data, mask, command, light.red, light.green, light.blue);
}

Placement tryEncodeCommandBig16_1(robot_hw0_cmd_data* data, uint64_t mask, uint8_t command, uint16_t value)
{
    uint8_t bytes[3] = {command};
    bigEndianEncode16(bytes + 1, value);
    return tryEncode(data, mask, bytes);
}

Placement tryEncodeCommandBig16_2(robot_hw0_cmd_data* data, uint64_t mask, uint8_t command, uint16_t value1,
                                  uint16_t value2)
{
    uint8_t bytes[5] = {command};
    bigEndianEncode16(bigEndianEncode16(bytes + 1, value1), value2);
    return tryEncode(data, mask, bytes);
}

Placement tryEncodeCommandLtl16_1(robot_hw0_cmd_data* data, uint64_t mask, uint8_t command, uint16_t value)
{
    uint8_t bytes[3] = {command};
    littleEndianEncode16(bytes + 1, value);
    return tryEncode(data, mask, bytes);
}

}  // namespace HAL
