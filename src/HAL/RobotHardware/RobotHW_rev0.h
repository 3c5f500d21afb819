// The encoder of protocol revision 0: commands of one message to 20-byte packets.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "HAL/RobotHardware/robot_hw0_cmd_data.h"
#include "HAL/RobotMessages/Ctlr2BotMsg.h"
#include "ZKHAL/ZKExport.h"

namespace HAL {

class RobotHW;

/** Where first-fit packing put a command. */
enum class Placement : int8_t { NotPending = -2, NoRoom = -1, Packet0 = 0, Packet1 = 1, Packet2 = 2 };

/** One command that packing came to, in packing order. */
struct PackedCommand {
    const char* words;
    uint64_t bits;       // of the command mask
    uint64_t swallowed;  // bits of commands that were pending and are dropped with it
    Placement placement;
};
using PackTrace = std::vector<PackedCommand>;

class ZK_API RobotHW_rev0 {
public:
    /**
     * Takes a fresh working record from the description, registers the records of its robot type in the message
     * and attaches the record as its hardware data. Without memory nothing is registered and null is attached.
     */
    static void initComponentsForCtlr2BotMsg(Ctlr2BotMsg* message, RobotHW* robot);

    /** Whether this robot type has a record for a component, so that its parameters are read at all. */
    static bool registersComponent(uint32_t robotType, uint32_t componentId);

    /** Marks a parsed component as pending. Null data does nothing; an id that is no component sets nothing. */
    static void setCommand(void* data, unsigned componentId);

    /**
     * Packs all pending commands, first fit into three packets and in a fixed order, and returns the packets that
     * are not empty. A command that finds no room is dropped without a word, and changes no state of the robot.
     */
    static std::vector<HALPacket_t*> packetizeCtlr2BotMsg(Ctlr2BotMsg* message, RobotHW* robot);

    /** The same into the working record's own list; trace, when given, receives every command that was pending. */
    static const PacketList& pack(Ctlr2BotMsg* message, RobotHW* robot, PackTrace* trace = nullptr);
};

/** Clears the bits and returns true only if every bit of mask is set; otherwise changes nothing. */
ZK_API bool testAndClearCommandMaskBit(robot_hw0_cmd_data* data, uint64_t mask);

/** Pending commands of a fixed size: the command byte, then the values. */
ZK_API Placement tryEncodeCommand___8_0(robot_hw0_cmd_data* data, uint64_t mask, uint8_t command);
ZK_API Placement tryEncodeCommand___8_1(robot_hw0_cmd_data* data, uint64_t mask, uint8_t command, uint8_t value);
ZK_API Placement tryEncodeCommand___8_3(robot_hw0_cmd_data* data, uint64_t mask, uint8_t command, uint8_t value1,
                                        uint8_t value2, uint8_t value3);
ZK_API Placement tryEncodeCommand___8_4(robot_hw0_cmd_data* data, uint64_t mask, uint8_t command, uint8_t value1,
                                        uint8_t value2, uint8_t value3, uint8_t value4);
ZK_API Placement tryEncodeCommandRGB(robot_hw0_cmd_data* data, uint64_t mask, uint8_t command, const HALRGB_t& light);
ZK_API Placement tryEncodeCommandBig16_1(robot_hw0_cmd_data* data, uint64_t mask, uint8_t command, uint16_t value);
ZK_API Placement tryEncodeCommandBig16_2(robot_hw0_cmd_data* data, uint64_t mask, uint8_t command, uint16_t value1,
                                         uint16_t value2);
ZK_API Placement tryEncodeCommandLtl16_1(robot_hw0_cmd_data* data, uint64_t mask, uint8_t command, uint16_t value);

}  // namespace HAL
