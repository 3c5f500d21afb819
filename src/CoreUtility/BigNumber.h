// Whole numbers of any size that reals of double precision can ask for: what a decimal rounds to is then a comparison.
#pragma once

#include <cstddef>
#include <cstdint>

#include "CoreUtility/Bits.h"

namespace ZKHAL {

class BigNumber {
public:
    explicit BigNumber(uint64_t value)
    {
        for (; value != 0; value >>= 32) {
            mDigits[mCount++] = static_cast<uint32_t>(value & 0xFFFFFFFF);
        }
    }

    bool isZero() const
    {
        return mCount == 0;
    }

    // Not of zero.
    int bitLength() const
    {
        return static_cast<int>(mCount) * 32 + 32 - countLeadingZeros(mDigits[mCount - 1]);
    }

    void multiplyAndAdd(uint32_t factor, uint32_t term)
    {
        uint64_t carry = term;
        for (size_t i = 0; i < mCount; ++i) {
            carry += uint64_t{mDigits[i]} * factor;
            mDigits[i] = static_cast<uint32_t>(carry & 0xFFFFFFFF);
            carry >>= 32;
        }
        if (carry != 0) {
            mDigits[mCount++] = static_cast<uint32_t>(carry);
        }
    }

    void multiplyByTenTo(int power)
    {
        for (; power >= 9; power -= 9) {
            multiplyAndAdd(1000000000, 0);
        }
        for (; power > 0; --power) {
            multiplyAndAdd(10, 0);
        }
    }

    void shiftLeft(int bits)
    {
        if (mCount == 0 || bits == 0) {
            return;
        }
        const auto whole = static_cast<size_t>(bits / 32);
        const int part = bits % 32;
        uint32_t above = 0;
        for (size_t i = mCount; i-- > 0;) {
            const uint64_t moved = uint64_t{mDigits[i]} << part;
            mDigits[i + whole + 1] = above | static_cast<uint32_t>(moved >> 32);
            above = static_cast<uint32_t>(moved & 0xFFFFFFFF);
        }
        mDigits[whole] = above;
        for (size_t i = 0; i < whole; ++i) {
            mDigits[i] = 0;
        }
        mCount += whole + 1;
        trim();
    }

    // Less than 0, 0, more than 0: as this number compares with the other.
    int compare(const BigNumber& other) const
    {
        if (mCount != other.mCount) {
            return mCount < other.mCount ? -1 : 1;
        }
        for (size_t i = mCount; i-- > 0;) {
            if (mDigits[i] != other.mDigits[i]) {
                return mDigits[i] < other.mDigits[i] ? -1 : 1;
            }
        }
        return 0;
    }

    // other is not more than this.
    void subtract(const BigNumber& other)
    {
        uint64_t borrow = 0;
        for (size_t i = 0; i < mCount; ++i) {
            const uint64_t taken = (i < other.mCount ? other.mDigits[i] : 0) + borrow;
            borrow = mDigits[i] < taken ? 1 : 0;
            mDigits[i] = static_cast<uint32_t>((mDigits[i] - taken) & 0xFFFFFFFF);
        }
        trim();
    }

    // Returns the remainder.
    uint32_t divide(uint32_t divisor)
    {
        uint64_t rest = 0;
        for (size_t i = mCount; i-- > 0;) {
            rest = rest << 32 | mDigits[i];
            mDigits[i] = static_cast<uint32_t>(rest / divisor);
            rest %= divisor;
        }
        trim();
        return static_cast<uint32_t>(rest);
    }

private:
    void trim()
    {
        while (mCount > 0 && mDigits[mCount - 1] == 0) {
            --mCount;
        }
    }

    // 10^1111 and a few bits: a denominator of the least double, written with 780 digits.
    static constexpr size_t kMostDigits = 120;

    uint32_t mDigits[kMostDigits];  // the lowest first; of mCount
    size_t mCount = 0;
};

// The first bits of numerator / denominator, which is below 2, rounded to the nearest, ties to even.
inline uint64_t roundedQuotient(BigNumber& numerator, const BigNumber& denominator, int bits)
{
    uint64_t quotient = 0;
    for (int i = 0; i < bits; ++i) {
        quotient <<= 1;
        if (numerator.compare(denominator) >= 0) {
            numerator.subtract(denominator);
            ++quotient;
        }
        numerator.shiftLeft(1);
    }
    const int aboveHalf = numerator.compare(denominator);
    const bool up = aboveHalf > 0 || (aboveHalf == 0 && quotient % 2 != 0);
    return up ? quotient + 1 : quotient;
}

}  // namespace ZKHAL
