#include "CoreUtility/PayloadText.h"

#include <charconv>
#include <cmath>

namespace ZKHAL {

namespace {

constexpr double kTenTo[] = {1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9};

// Two digits at a time.
constexpr char kPairs[] =
    "000102030405060708091011121314151617181920212223242526272829303132333435363738394041424344454647484950515253545556"
    "57"
    "585960616263646566676869707172737475767778798081828384858687888990919293949596979899";

// value, below a million, as six digits in the bytes of a word, the first in the lowest.
uint64_t sixDigits(uint32_t value)
{
    const auto pair = [](uint32_t number) {
        uint16_t digits;
        std::memcpy(&digits, kPairs + 2 * number, sizeof digits);
        return uint64_t{digits};
    };
    return pair(value / 10000) | pair(value / 100 % 100) << 16 | pair(value % 100) << 32;
}

// Positive values from 0.0001 up to a million, which %g writes without an exponent. Null when the sixth digit is too
// close to a tie to be rounded in double precision.
char* writePlain(char* out, double value)
{
    int whole = 0;  // digits before the point; 0 and below: zeros behind it
    if (value >= 1) {
        whole = 1 + (value >= 10) + (value >= 100) + (value >= 1000) + (value >= 10000) + (value >= 100000);
    } else {
        whole = -((value < 0.1) + (value < 0.01) + (value < 0.001));
    }
    const double scaled = value * kTenTo[6 - whole];
    auto digits = static_cast<uint32_t>(scaled);
    const double rest = scaled - digits;
    constexpr double kDoubt = 1e-6;  // far more than the product can be wrong by
    if (rest > 0.5 - kDoubt && rest < 0.5 + kDoubt) {
        return nullptr;
    }
    digits += rest > 0.5 ? 1 : 0;
    if (digits >= 1000000) {  // 9.999999 becomes 10
        digits = 100000;
        ++whole;
        if (whole > 6) {
            return nullptr;
        }
    }
    // Put together in a word and stored at once: a store in pieces would have to be waited for.
    constexpr uint64_t kZeros = 0x303030303030;
    const uint64_t six = sixDigits(digits);
    const int length = 8 - __builtin_clzll(six ^ kZeros) / 8;  // without the zeros at the end
    if (whole <= 0) {
        std::memcpy(out, "0.000", 5);
        out += 2 - whole;
        std::memcpy(out, &six, sizeof six);
        return out + length;
    }
    if (length <= whole) {
        std::memcpy(out, &six, sizeof six);
        return out + whole;
    }
    const uint64_t before = (uint64_t{1} << 8 * whole) - 1;
    const uint64_t pointed = (six & before) | uint64_t{'.'} << 8 * whole | (six & ~before) << 8;
    std::memcpy(out, &pointed, sizeof pointed);
    return out + length + 1;
}

}  // namespace

void PayloadText::enlarge(size_t size)
{
    mText.resize((mLength + size) * 2);
}

char* PayloadText::writeLong(char* out, uint64_t value)
{
    if (value >= 1000 && value < 10000) {  // as component ids are
        std::memcpy(out, kPairs + 2 * (value / 100), 2);
        std::memcpy(out + 2, kPairs + 2 * (value % 100), 2);
        return out + 4;
    }
    return std::to_chars(out, out + kMostOfNumber, value).ptr;
}

char* PayloadText::writeReal(char* const begin, double value)
{
    char* out = begin;
    if (std::signbit(value)) {
        *out++ = '-';
        value = -value;
    }
    char* end = nullptr;
    if (value == 0) {
        *out = '0';
        end = out + 1;
    } else if (value >= 0.0001 && value < 999999) {
        end = writePlain(out, value);
    }
    return end != nullptr ? end : std::to_chars(out, begin + kMostOfNumber, value, std::chars_format::general, 6).ptr;
}

}  // namespace ZKHAL
