#include "JsonWriter.h"

#include <charconv>
#include <cmath>

#include "CoreUtility/Text.h"

namespace zkhal {

std::string jsonNumber(double value)
{
    if (!std::isfinite(value)) {
        return "null";
    }
    constexpr double kExactWhole = 1e15;
    if (value == std::floor(value) && std::abs(value) < kExactWhole) {
        return std::to_string(static_cast<int64_t>(value));
    }
    char text[32];
    return std::string(text, std::to_chars(text, text + sizeof text, value).ptr);
}

std::string jsonText(const std::string& text)
{
    std::string out = "\"";
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x80) {
            const size_t size = ZKHAL::utf8Size(text.data() + i, text.size() - i);
            out += size > 0 ? text.substr(i, size) : "\\ufffd";
            i += size > 0 ? size - 1 : 0;
        } else if (c == '"' || c == '\\') {
            out += {'\\', c};
        } else if (byte < 0x20 || byte == 0x7F) {
            constexpr char kDigits[] = "0123456789abcdef";
            out += "\\u00";
            out += {kDigits[byte >> 4], kDigits[byte & 15]};
        } else {
            out += c;
        }
    }
    return out + '"';
}

// Before a member: its comma, its line and its key.
void JsonWriter::place(const char* key)
{
    const bool isOnItsOwnLine = mOpen.size() <= mDepth;
    if (!mOpen.empty()) {
        mText += mIsEmpty ? "" : isOnItsOwnLine ? "," : ", ";
        if (isOnItsOwnLine) {
            mText += '\n' + std::string(2 * mOpen.size(), ' ');
        }
    }
    mIsEmpty = false;
    if (key != nullptr) {
        mText += jsonText(key) + ": ";
    }
}

void JsonWriter::begin(const char* key, char bracket)
{
    place(key);
    mText += bracket;
    mOpen += bracket == '{' ? '}' : ']';
    mIsEmpty = true;
}

void JsonWriter::beginObject(const char* key)
{
    begin(key, '{');
}

void JsonWriter::beginList(const char* key)
{
    begin(key, '[');
}

void JsonWriter::end()
{
    const bool isOnItsOwnLine = mOpen.size() <= mDepth && !mIsEmpty;
    const char bracket = mOpen.back();
    mOpen.pop_back();
    if (isOnItsOwnLine) {
        mText += '\n' + std::string(2 * mOpen.size(), ' ');
    }
    mText += bracket;
    mIsEmpty = false;
    if (mOpen.empty()) {
        mText += '\n';
    }
}

void JsonWriter::add(const char* key, const char* text)
{
    add(key, std::string(text));
}

void JsonWriter::add(const char* key, const std::string& text)
{
    place(key);
    mText += jsonText(text);
}

void JsonWriter::add(const char* key, bool flag)
{
    place(key);
    mText += flag ? "true" : "false";
}

void JsonWriter::add(const char* key, double number)
{
    place(key);
    mText += jsonNumber(number);
}

void JsonWriter::add(const char* key, uint32_t number)
{
    place(key);
    mText += std::to_string(number);
}

}  // namespace zkhal
