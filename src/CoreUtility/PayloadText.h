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
    // A pair's key: a comma unless it is the first, quotes, a colon.
    template <size_t kSize>
    void appendKey(const char (&key)[kSize], bool isFirst)
    {
        constexpr size_t kLength = kSize - 1;
        char* out = reserve(kLength + 4);
        *out = ',';
        out += isFirst ? 0 : 1;
        *out++ = '"';
        std::memcpy(out, key, kLength);
        std::memcpy(out + kLength, "\":", 2);
        mLength += kLength + (isFirst ? 3 : 4);
    }
    void appendUnsigned(uint64_t value);
    // [1,2,255]
    void appendBytes(const uint8_t* bytes, size_t count);
    void appendSigned(int64_t value);
    // As std::printf's %g writes it in the "C" locale: six significant digits.
    void appendReal(double value);

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
