#include "ZKHAL/Utilities.h"

namespace {

constexpr char kDigits[] = "0123456789ABCDEF";

void appendByte(std::string& text, uint8_t byte)
{
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0x0F];
}

}  // namespace

void ZKHexStringFromBytes(const uint8_t* bytes, size_t count, char* output)
{
    if (output == nullptr) {
        return;
    }
    for (size_t i = 0; bytes != nullptr && i < count; ++i) {
        *output++ = kDigits[bytes[i] >> 4];
        *output++ = kDigits[bytes[i] & 0x0F];
    }
    *output = '\0';
}

std::string ZKPrettyHex(const uint8_t* bytes, size_t length)
{
    std::string hex;
    std::string characters;
    for (size_t i = 0; bytes != nullptr && i < length; ++i) {
        if (i > 0) {
            hex += i % 4 == 0 ? "   " : " ";
        }
        appendByte(hex, bytes[i]);
        characters += bytes[i] >= 0x20 && bytes[i] < 0x7F ? static_cast<char>(bytes[i]) : '.';
    }
    return hex + "  |" + characters + "|";
}

void zkToUpper(char* text)
{
    for (; text != nullptr && *text != '\0'; ++text) {
        if (*text >= 'a' && *text <= 'z') {
            *text = static_cast<char>(*text - 'a' + 'A');
        }
    }
}
