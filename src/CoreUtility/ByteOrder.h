// Byte order of packet fields. Most are big-endian; the ping id and the synthesizer's phase increments are not.
#pragma once

#include <cstdint>

#include "ZKHAL/ZKExport.h"

namespace HAL {

/** Write a value at `bytes` and return the position after it. */
ZK_API uint8_t* bigEndianEncode16(uint8_t* bytes, uint16_t value);
ZK_API uint8_t* bigEndianEncode32(uint8_t* bytes, uint32_t value);
ZK_API uint8_t* littleEndianEncode16(uint8_t* bytes, uint16_t value);
ZK_API uint8_t* littleEndianEncode32(uint8_t* bytes, uint32_t value);

/** A value whose bytes in this machine's memory are in the named order. */
ZK_API uint16_t enBig16(uint16_t value);
ZK_API uint32_t enBig32(uint32_t value);
ZK_API uint16_t enLtl16(uint16_t value);

}  // namespace HAL
