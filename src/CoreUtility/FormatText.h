// Numbers and texts for people, the same in every locale.
#pragma once

#include <string>

#include "CoreUtility/PayloadText.h"

namespace ZKHAL {

// Up to six significant digits, like %g.
inline std::string plainNumber(double value)
{
    char text[PayloadText::kMostOfNumber];
    return std::string(text, PayloadText::writeReal(text, value));
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
