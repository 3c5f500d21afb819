#include "CoreUtility/Json/JsonStrings.h"

#include <cstring>

#include "CoreUtility/Text.h"

namespace ZKHAL {

namespace {

// Four hexadecimal digits; -1 when there are fewer.
int readHex4(const char* p)
{
    int value = 0;
    for (int i = 0; i < 4; ++i) {
        const int digit = hexDigitValue(p[i]);
        if (digit < 0) {
            return -1;
        }
        value = value * 16 + digit;
    }
    return value;
}

// in stands at the backslash of \u.
char* unescapeCodePoint(char* in, char*& out, nx_json_unicode_encoder encoder, JsonError& error)
{
    const int first = readHex4(in + 2);
    if (first < 0) {
        return failJson(error, "invalid unicode escape", 12, in);
    }
    unsigned codePoint = static_cast<unsigned>(first);
    char* end = in + 6;
    if (codePoint >= 0xD800 && codePoint <= 0xDBFF) {
        const int second = end[0] == '\\' && end[1] == 'u' ? readHex4(end + 2) : -1;
        if (second < 0) {
            return failJson(error, "invalid unicode surrogate", 13, in);
        }
        if (second < 0xDC00 || second > 0xDFFF) {
            return failJson(error, "invalid unicode surrogate", 14, in);
        }
        codePoint = 0x10000 + (codePoint - 0xD800) * 1024 + (static_cast<unsigned>(second) - 0xDC00);
        end += 6;
    }
    if (encoder(codePoint, out, &out) == 0) {
        return failJson(error, "invalid codepoint", 15, in);
    }
    return end;
}

char unescaped(char c)
{
    switch (c) {
        case '"':
        case '/':
        case '\\':
            return c;
        case 'b':
            return '\b';
        case 'f':
            return '\f';
        case 'n':
            return '\n';
        case 'r':
            return '\r';
        case 't':
            return '\t';
        default:
            return '\0';  // unknown
    }
}

// Whether a quote closes the string, which goes on at p.
bool isClosed(const char* p)
{
    for (; *p != '"'; ++p) {
        if (*p == '\\' && p[1] != '\0') {
            ++p;
        } else if (*p == '\0') {
            return false;
        }
    }
    return true;
}

// For a string without a closing quote: its first bad escape, or else that it has no end. Nothing is rewritten, so
// that the message shows the text as it came.
char* failUnclosed(const char* start, char* in, nx_json_unicode_encoder encoder, JsonError& error)
{
    while (*in != '\0') {
        char scratch[8];
        char* out = scratch;
        if (in[0] == '\\' && in[1] == 'u' && encoder != nullptr) {
            in = unescapeCodePoint(in, out, encoder, error);
            if (in == nullptr) {
                return nullptr;
            }
        } else {
            in += in[0] == '\\' && in[1] != '\0' ? 2 : 1;
        }
    }
    return failJson(error, "no closing quote for string", 11, start - 1);
}

}  // namespace

ZK_RARE char* failJson(JsonError& error, const char* reason, int site, const char* at)
{
    error = {reason, site, at};
    return nullptr;
}

// p stands at the slash.
ZK_RARE char* skipComment(char* p, JsonError& error)
{
    if (p[1] == '/') {
        char* end = std::strchr(p + 2, '\n');
        return end != nullptr ? end + 1 : failJson(error, "endless comment", 8, p);
    }
    if (p[1] == '*') {
        char* end = std::strstr(p + 2, "*/");
        return end != nullptr ? end + 2 : failJson(error, "endless comment", 9, p);
    }
    return failJson(error, "unexpected chars", 10, p);
}

ZK_RARE char* unescapeRest(const char* start, char* in, nx_json_unicode_encoder encoder, JsonError& error)
{
    if (!isClosed(in)) {
        return failUnclosed(start, in, encoder, error);
    }
    char* out = in;
    while (*in != '"') {
        if (*in != '\\') {
            *out++ = *in++;
        } else if (in[1] == 'u' && encoder != nullptr) {
            in = unescapeCodePoint(in, out, encoder, error);
            if (in == nullptr) {
                return nullptr;
            }
        } else if (const char c = unescaped(in[1])) {
            *out++ = c;
            in += 2;
        } else {  // an unknown escape keeps its backslash and its character
            *out++ = *in++;
            *out++ = *in++;
        }
    }
    *out = '\0';
    return in + 1;
}

int dropCodePoint(unsigned /*codePoint*/, char* output, char** newOutput)
{
    *newOutput = output;
    return 1;
}

}  // namespace ZKHAL
