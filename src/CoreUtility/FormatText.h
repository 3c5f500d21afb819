// Numbers as text for people, the same in every locale.
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

}  // namespace ZKHAL
