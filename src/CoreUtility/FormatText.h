// Numbers and texts for people, the same in every locale.
#pragma once

#include <charconv>
#include <string>

namespace ZKHAL {

// Up to six significant digits, like %g.
inline std::string plainNumber(double value)
{
    char text[32];
    const std::to_chars_result end = std::to_chars(text, text + sizeof text, value, std::chars_format::general, 6);
    return std::string(text, end.ptr);
}

// One line of text for people, whatever it came from: control characters become question marks.
inline std::string printable(std::string text)
{
    for (char& c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7F) {
            c = '?';
        }
    }
    return text;
}

}  // namespace ZKHAL
