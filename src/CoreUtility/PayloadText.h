// A text that is built once and then read: numbers and short pieces appended to storage that is used again. This is
// where all numbers become text; none depends on a locale.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "CoreUtility/Bits.h"
#include "ZKHAL/ZKExport.h"

namespace ZKHAL {

// The digits of a byte and a comma behind them, stored at once, and how many digits there are.
struct ByteText {
    char text[4];
    uint32_t digits;
};
inline constexpr std::array<ByteText, 256> kByteTexts = [] {
    std::array<ByteText, 256> texts{};
    for (unsigned value = 0; value < 256; ++value) {
        ByteText& text = texts[value];
        if (value >= 100) {
            text.text[text.digits++] = static_cast<char>('0' + value / 100);
        }
        if (value >= 10) {
            text.text[text.digits++] = static_cast<char>('0' + value / 10 % 10);
        }
        text.text[text.digits++] = static_cast<char>('0' + value % 10);
        text.text[text.digits] = ',';
    }
    return texts;
}();

// The numbers 000 to 999 as digits in the bytes of a word, the first in the lowest.
inline constexpr std::array<uint32_t, 1000> kThreeDigits = [] {
    std::array<uint32_t, 1000> texts{};
    for (uint32_t number = 0; number < texts.size(); ++number) {
        texts[number] = 0x303030 | number / 100 | number / 10 % 10 << 8 | number % 10 << 16;
    }
    return texts;
}();

class ZK_API PayloadText {  // the stream forms of the packetizers are compiled into hosts
public:
    // Room for size more bytes; their count is added by the caller.
    char* reserve(size_t size)
    {
        if (mText.size() - mLength < size) {
            enlarge(size);
        }
        return mText.data() + mLength;
    }
    void grow(size_t size)
    {
        mLength += size;
    }

    void append(char c)
    {
        *reserve(1) = c;
        ++mLength;
    }
    void append(const char* text, size_t length)
    {
        std::memcpy(reserve(length), text, length);
        mLength += length;
    }
    template <size_t kSize>
    void append(const char (&literal)[kSize])
    {
        std::memcpy(reserve(kSize - 1), literal, kSize - 1);
        mLength += kSize - 1;
    }
    void appendUnsigned(uint64_t value)
    {
        char* out = reserve(kMostOfNumber);
        grow(static_cast<size_t>(writeUnsigned(out, value) - out));
    }
    void appendSigned(int64_t value)
    {
        char* out = reserve(kMostOfNumber);
        grow(static_cast<size_t>(writeSigned(out, value) - out));
    }
    void appendReal(double value)
    {
        char* out = reserve(kMostOfNumber);
        grow(static_cast<size_t>(writeReal(out, value) - out));
    }
    void appendFixed(float value)
    {
        char* out = reserve(kMostOfFixed);
        grow(static_cast<size_t>(writeFixed(out, value) - out));
    }
    void appendBytes(const uint8_t* bytes, size_t count)
    {
        char* out = reserve(kMostOfByte * count + 2);
        grow(static_cast<size_t>(writeBytes(out, bytes, count) - out));
    }

    // The same at a position with room for kMostOfNumber characters; each returns the position behind.
    static char* writeUnsigned(char* out, uint64_t value)
    {
        if (value >= 1000 && value < 10000) {  // as component ids are
            *out++ = static_cast<char>('0' + value / 1000);
            storeLittle<3>(out, kThreeDigits[static_cast<size_t>(value % 1000)]);
            return out + 3;
        }
        if (value >= 256) {
            return writeLong(out, value);
        }
        const ByteText& text = kByteTexts[static_cast<size_t>(value)];
        std::memcpy(out, text.text, sizeof text.text);
        return out + text.digits;
    }
    static char* writeSigned(char* out, int64_t value)
    {
        if (value < 0) {
            *out++ = '-';
        }
        return writeUnsigned(out,
                             value < 0 ? uint64_t{0} - static_cast<uint64_t>(value) : static_cast<uint64_t>(value));
    }
    // As std::printf's %g writes it in the "C" locale: six significant digits.
    static char* writeReal(char* out, double value);
    // The same as its %.4f, with room for kMostOfFixed.
    static char* writeFixed(char* out, float value);
    // [1,2,255], at most kMostOfByte characters a byte and two more.
    static char* writeBytes(char* out, const uint8_t* bytes, size_t count)
    {
        *out++ = '[';
        for (size_t i = 0; i < count; ++i) {
            const ByteText& text = kByteTexts[bytes[i]];
            std::memcpy(out, text.text, sizeof text.text);
            out += text.digits + 1;
        }
        out -= count > 0 ? 1 : 0;  // the comma behind the last
        *out++ = ']';
        return out;
    }

    static constexpr size_t kMostOfNumber = 40;
    static constexpr size_t kMostOfFixed = 48;  // single precision has 39 digits before the point
    static constexpr size_t kMostOfByte = 4;

    const char* data() const
    {
        return mText.data();
    }
    size_t length() const
    {
        return mLength;
    }
    void clear()
    {
        mLength = 0;
        if (mText.size() > kKept) {
            mText.clear();
            mText.shrink_to_fit();
        }
    }

private:
    void enlarge(size_t size);
    static char* writeLong(char* out, uint64_t value);

    static constexpr size_t kKept = 64 * 1024;

    std::string mText;  // its size is the room that there is
    size_t mLength = 0;
};

}  // namespace ZKHAL
