#include "JsonWriter.h"

#include <charconv>
#include <cmath>

namespace zkhal {

namespace {

// How many bytes continue the UTF-8 character that begins at i; 0 if none begins there.
size_t continuationBytes(const std::string& text, size_t i)
{
    const auto byteAt = [&text](size_t at) { return static_cast<unsigned char>(at < text.size() ? text[at] : 0); };
    const unsigned char byte = byteAt(i), next = byteAt(i + 1);
    // Overlong forms, surrogates and what lies beyond the last character are told by the second byte.
    const bool isOdd = (byte == 0xE0 && next < 0xA0) || (byte == 0xED && next > 0x9F) ||
                       (byte == 0xF0 && next < 0x90) || (byte == 0xF4 && next > 0x8F);
    const size_t count = isOdd || byte < 0xC2 || byte > 0xF4 ? 0 : byte < 0xE0 ? 1 : byte < 0xF0 ? 2 : 3;
    for (size_t k = 1; k <= count; ++k) {
        if ((byteAt(i + k) & 0xC0) != 0x80) {
            return 0;
        }
    }
    return count;
}

}  // namespace

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
            const size_t more = continuationBytes(text, i);
            out += more > 0 ? text.substr(i, more + 1) : "\\ufffd";
            i += more;
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
