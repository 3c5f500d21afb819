// Packets as hex text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace zkhal {

// "01 01 2C FE D4"
std::string hexText(const uint8_t* bytes, size_t length);

// "1 frame", "2 frames"
std::string counted(size_t count, const std::string& noun);

// Pairs of hex digits, blanks allowed between them. False, with the reason, for anything else.
bool readHex(const std::string& text, std::vector<uint8_t>& bytes, std::string& problem);

// The commands of a packet, one an indented line.
std::string packetInWords(const uint8_t* bytes, size_t length, bool& complete);

}  // namespace zkhal
