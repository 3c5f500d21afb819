// Numbers and texts for people, the same in every locale.
#pragma once

#include <string>

#include "CoreUtility/PayloadText.h"
#include "CoreUtility/Text.h"

namespace ZKHAL {

// Up to six significant digits, like %g.
inline std::string plainNumber(double value)
{
    char text[PayloadText::kMostOfNumber];
    return std::string(text, PayloadText::writeReal(text, value));
}

// One line of text for people, whatever it came from: control characters, and bytes that are no UTF-8, become question
// marks. Terminals obey control characters, those of two bytes (U+0080 to U+009F) too.
inline std::string printable(const std::string& text)
{
    std::string shown;
    for (size_t i = 0; i < text.size();) {
        const size_t size = utf8Size(text.data() + i, text.size() - i);
        const auto first = static_cast<unsigned char>(text[i]);
        const auto second = static_cast<unsigned char>(size > 1 ? text[i + 1] : 0);
        const bool isControl = first < 0x20 || first == 0x7F || (first == 0xC2 && second < 0xA0);
        shown += isControl || size == 0 ? "?" : text.substr(i, size);
        i += size == 0 ? 1 : size;
    }
    return shown;
}

}  // namespace ZKHAL
