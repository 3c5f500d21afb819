// The frame of shell packets: a header byte, then up to 19 bytes of text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "HAL/MessagePacketizers/AbstractPacketizer.h"
#include "ZKHAL/HALPacket.h"

namespace HAL {

constexpr size_t kShellHeaderBytes = 1;
constexpr size_t kShellTextBytes = HAL_PACKET_SIZE - kShellHeaderBytes;
constexpr unsigned kShellDefaultAddress = 3;

// Address in bits 6 and 7, the default-address marker in bit 3.
constexpr uint8_t shellHeader(unsigned address, bool isDefault)
{
    return static_cast<uint8_t>((address & 3) << 6 | (isDefault ? 1 << 3 : 0));
}

inline void appendShellPackets(std::vector<HALPacket_t>& packets, uint8_t header, const char* text, size_t length)
{
    for (size_t at = 0; at < length; at += kShellTextBytes) {
        const size_t chunk = length - at < kShellTextBytes ? length - at : kShellTextBytes;
        HALPacket_t packet = {};
        packet.length = static_cast<uint32_t>(kShellHeaderBytes + chunk);
        packet.data[0] = header;
        std::memcpy(packet.data + kShellHeaderBytes, text + at, chunk);
        packets.push_back(packet);
    }
}

}  // namespace HAL
