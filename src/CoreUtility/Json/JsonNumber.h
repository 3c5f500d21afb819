// Numbers as the JSON reader takes them: the C library's conversions, without its locale.
#pragma once

#include <cstddef>
#include <cstdint>

#include "CoreUtility/Bits.h"
#include "CoreUtility/Compiler.h"
#include "CoreUtility/ReadReal.h"
#include "CoreUtility/Text.h"

namespace ZKHAL {

struct JsonNumber {
    const char* end;  // after the number; null when there is none
    bool isReal;      // a point, "e" or "E" followed the integer
    int64_t integer;  // as strtoll with base 0 reads it, saturated
    double real;      // as strtod reads it; an integer converted
};

// text begins with a minus sign or a digit and is NUL-terminated.
JsonNumber readJsonNumber(const char* text);

// The number in eight digits at once, in *value; false when one of the eight bytes is no digit.
inline bool readEightDigits(const char* text, uint64_t& value)
{
    constexpr uint64_t kTopBits = 0x8080808080808080u;
    uint64_t word = loadLittle<8>(text) ^ 0x3030303030303030u;  // digits become 0 to 9, the first in the lowest byte
    if (((((word & ~kTopBits) + 0x7676767676767676u) | word) & kTopBits) != 0) {
        return false;
    }
    word = (word * 10 + (word >> 8)) & 0x00FF00FF00FF00FFu;
    word = (word * 100 + (word >> 16)) & 0x0000FFFF0000FFFFu;
    value = (word * 10000 + (word >> 32)) & 0xFFFFFFFFu;
    return true;
}

// The same as readJsonNumber() for what documents mostly hold, in one pass: decimals of up to 18 digits without a sign
// and without an exponent. `end` is null when the number is of another kind, which readJsonNumber() then reads.
// Eight bytes behind the end of the text are readable.
// Digits are taken one by one on purpose: how many there are is then guessed by the processor, which reads on
// meanwhile; a length that is computed is waited for.
ZK_ALWAYS_INLINE JsonNumber readPlainDecimal(const char* text)
{
    constexpr ptrdiff_t kMaxDigits = 18;
    constexpr JsonNumber kOfAnotherKind = {nullptr, false, 0, 0.0};
    const auto isLetter = [](char c) { return static_cast<unsigned char>((c | 0x20) - 'a') < 26; };
    uint64_t significand = decimalDigitValue(*text);
    if (significand > 9) {
        return kOfAnotherKind;
    }
    const char* p = text + 1;
    unsigned digit;
    if (*p != '.') {
        if (significand == 0 && decimalDigitValue(*p) <= 9) {
            return kOfAnotherKind;  // octal
        }
        for (; (digit = decimalDigitValue(*p)) <= 9; ++p) {
            significand = significand * 10 + digit;
        }
        if (p - text > kMaxDigits || isLetter(*p)) {  // an exponent, hexadecimal
            return kOfAnotherKind;
        }
        if (*p != '.') {
            return {p, false, static_cast<int64_t>(significand),
                    static_cast<double>(static_cast<int64_t>(significand))};
        }
    }
    const auto integer = static_cast<int64_t>(significand);
    const char* const point = p++;
    for (uint64_t eight; decimalDigitValue(p[7]) <= 9 && p - text <= kMaxDigits && readEightDigits(p, eight); p += 8) {
        significand = significand * 100000000 + eight;
    }
    for (; (digit = decimalDigitValue(*p)) <= 9; ++p) {
        significand = significand * 10 + digit;
    }
    if (isLetter(*p)) {
        return kOfAnotherKind;
    }
    const ptrdiff_t places = p - point - 1;
    if (p - text <= kMaxExactDigits + 1) {
        return {p, true, integer, static_cast<double>(static_cast<int64_t>(significand)) / kExactTenTo[places]};
    }
    if (p - text > kMaxDigits + 1) {
        return kOfAnotherKind;
    }
    return {p, true, integer, decimalFraction(significand, static_cast<int>(places))};
}

}  // namespace ZKHAL
