// A text that is built once and then read: numbers and short pieces appended to storage that is used again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace ZKHAL {

class PayloadText {
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
    void appendBytes(const uint8_t* bytes, size_t count)
    {
        char* out = reserve(kMostOfByte * count + 2);
        grow(static_cast<size_t>(writeBytes(out, bytes, count) - out));
    }

    // The same at a position with room for kMostOfNumber characters; each returns the position behind.
    static char* writeUnsigned(char* out, uint64_t value);
    static char* writeSigned(char* out, int64_t value);
    // As std::printf's %g writes it in the "C" locale: six significant digits.
    static char* writeReal(char* out, double value);
    // [1,2,255], at most kMostOfByte characters a byte and two more.
    static char* writeBytes(char* out, const uint8_t* bytes, size_t count);

    static constexpr size_t kMostOfNumber = 40;
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

    static constexpr size_t kKept = 64 * 1024;

    std::string mText;  // its size is the room that there is
    size_t mLength = 0;
};

}  // namespace ZKHAL
