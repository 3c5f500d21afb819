#include "CoreUtility/ByteOrder.h"

#include <cstring>

namespace HAL {

uint8_t* bigEndianEncode16(uint8_t* bytes, uint16_t value)
{
    bytes[0] = static_cast<uint8_t>(value >> 8);
    bytes[1] = static_cast<uint8_t>(value & 0xFF);
    return bytes + 2;
}

uint8_t* bigEndianEncode32(uint8_t* bytes, uint32_t value)
{
    bytes = bigEndianEncode16(bytes, static_cast<uint16_t>(value >> 16));
    return bigEndianEncode16(bytes, static_cast<uint16_t>(value & 0xFFFF));
}

uint8_t* littleEndianEncode16(uint8_t* bytes, uint16_t value)
{
    bytes[0] = static_cast<uint8_t>(value & 0xFF);
    bytes[1] = static_cast<uint8_t>(value >> 8);
    return bytes + 2;
}

uint8_t* littleEndianEncode32(uint8_t* bytes, uint32_t value)
{
    bytes = littleEndianEncode16(bytes, static_cast<uint16_t>(value & 0xFFFF));
    return littleEndianEncode16(bytes, static_cast<uint16_t>(value >> 16));
}

uint16_t enBig16(uint16_t value)
{
    uint8_t bytes[2];
    bigEndianEncode16(bytes, value);
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

uint32_t enBig32(uint32_t value)
{
    uint8_t bytes[4];
    bigEndianEncode32(bytes, value);
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

uint16_t enLtl16(uint16_t value)
{
    uint8_t bytes[2];
    littleEndianEncode16(bytes, value);
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

}  // namespace HAL
