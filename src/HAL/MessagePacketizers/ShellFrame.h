// The frame of shell packets: a header byte, then up to 19 bytes of text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <vector>

#include "HAL/MessagePacketizers/AbstractPacketizer.h"
#include "ZKHAL/HALPacket.h"

namespace HAL {

constexpr size_t kShellHeaderBytes = 1;
constexpr unsigned kShellDefaultAddress = 3;

// Address in bits 6 and 7, the default-address marker in bit 3.
constexpr uint8_t shellHeader(unsigned address, bool isDefault)
{
    return static_cast<uint8_t>((address & 3) << 6 | (isDefault ? 1 << 3 : 0));
}

// Text in packets, each behind the header byte where there is one.
inline void appendShellPackets(std::vector<HALPacket_t>& packets, std::optional<uint8_t> header, const char* text,
                               size_t length)
{
    const size_t begin = header ? kShellHeaderBytes : 0;
    const size_t room = HAL_PACKET_SIZE - begin;
    for (size_t at = 0; at < length; at += room) {
        const size_t chunk = length - at < room ? length - at : room;
        HALPacket_t packet = {};
        packet.length = static_cast<uint32_t>(begin + chunk);
        packet.data[0] = header.value_or(0);
        std::memcpy(packet.data + begin, text + at, chunk);
        packets.push_back(packet);
    }
}

}  // namespace HAL
