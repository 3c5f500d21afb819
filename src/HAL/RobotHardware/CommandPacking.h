// Pending commands into packets: the bits of the command mask, and the first of three packets with room.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "HAL/RobotHardware/robot_hw0_cmd_data.h"
#include "HAL/RobotHardware/RobotHW_rev0.h"

namespace HAL {

struct Room {
    HALPacket_t* packet;  // null: none of the three has room
    Placement placement;

    uint8_t* append(uint32_t size) const
    {
        uint8_t* bytes = packet->data + packet->length;
        packet->length += size;
        return bytes;
    }
};

inline Room findRoom(robot_hw0_cmd_data& data, uint32_t size)
{
    for (size_t i = 0; i < kPacketCount; ++i) {
        if (data.packets[i].length <= HAL_PACKET_SIZE - size) {
            return {&data.packets[i], static_cast<Placement>(i)};
        }
    }
    return {nullptr, Placement::NoRoom};
}

// Whole-packet commands: 20 bytes, zero beyond what is written.
inline Room appendWholePacket(robot_hw0_cmd_data& data, uint8_t*& bytes)
{
    const Room room = findRoom(data, HAL_PACKET_SIZE);
    if (room.packet != nullptr) {
        bytes = room.append(HAL_PACKET_SIZE);
        std::memset(bytes, 0, HAL_PACKET_SIZE);
    }
    return room;
}

template <size_t kSize>
Placement tryEncode(robot_hw0_cmd_data* data, uint64_t mask, const uint8_t (&bytes)[kSize])
{
    if (!testAndClearCommandMaskBit(data, mask)) {
        return Placement::NotPending;
    }
    const Room room = findRoom(*data, kSize);
    if (room.packet != nullptr) {
        std::memcpy(room.append(kSize), bytes, kSize);
    }
    return room.placement;
}

}  // namespace HAL
