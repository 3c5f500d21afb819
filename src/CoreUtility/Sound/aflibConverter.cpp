#include "CoreUtility/Sound/aflibConverter.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "CoreUtility/Messages.h"

namespace {

constexpr int kBlock = 4096;      // samples, of which the first are history
constexpr int kAllocated = 4352;  // more than is ever filled
constexpr int kHistory = 10;
constexpr int kPhaseBits = 15;
constexpr uint32_t kOne = 1 << kPhaseBits;  // sample
constexpr uint32_t kFraction = kOne - 1;

// Where the input is read next: one place for the whole process.
int framecount = 0;

// Outputs that a block may give; 0 or less where the ratio is too small for any.
double outputRoom(double factor)
{
    return std::trunc(kBlock * factor) - 2 * kHistory * factor;
}

}  // namespace

aflibConverter::aflibConverter(bool high_quality, bool linear_interpolation, bool filter_interpolation)
    : mHighQuality(high_quality), mLinearInterpolation(linear_interpolation), mFilterInterpolation(filter_interpolation)
{
}

aflibConverter::~aflibConverter() = default;

void aflibConverter::deleteMemory()
{
    mBlocks.clear();
}

void aflibConverter::initialize(double factor, int channels, double volume)
{
    deleteMemory();
    mFactor = factor;
    mChannels = channels;
    mVolume = volume;
    mInitial = true;
    mBlocks.assign(static_cast<size_t>(std::max(channels, 0)), std::vector<int16_t>(kAllocated, 0));
}

int aflibConverter::resample(int& inCount, int outCount, const int16_t* in, int16_t* out)
{
    if (!mLinearInterpolation) {
        ZKHAL::printOut("error: aflibConverter has linear interpolation only, no %s filter%s\n",
                        mHighQuality ? "large" : "small", mFilterInterpolation ? " with interpolation" : "");
        return -1;
    }
    const double room = outputRoom(mFactor);
    if (mBlocks.empty() || !(room >= 1) || std::isinf(room)) {
        return -1;
    }
    if (mInitial) {
        framecount = 0;
        mTime = kHistory * kOne;
        mFilled = kHistory;
    }
    const auto step = static_cast<uint32_t>(32768 / mFactor + 0.5);
    const int most = static_cast<int>(std::min(room, 1e9));
    int written = 0, used = 0;
    while (written < outCount) {
        const bool isLast = fill(inCount, in);
        // What a full block may interpolate, or less where the input ends before.
        const auto end = static_cast<uint32_t>(std::min(mFilled, kBlock - kHistory));
        if (isLast && mTime >> kPhaseBits >= static_cast<uint32_t>(mFilled)) {
            break;
        }
        written += interpolate(end, step, std::min(most, outCount - written), outCount, written, out);
        used += moveToFront();
    }
    inCount = std::min(used, inCount);
    mInitial = false;
    return written;
}

// Fills the block; whether the input is used up.
bool aflibConverter::fill(int inCount, const int16_t* in)
{
    const int count = std::clamp(inCount - framecount, 0, kBlock - mFilled);
    for (size_t channel = 0; channel < mBlocks.size() && count > 0; ++channel) {
        const int16_t* from = in + channel * static_cast<size_t>(inCount) + framecount;
        std::copy_n(from, count, mBlocks[channel].begin() + mFilled);
    }
    mFilled += count;
    framecount += count;
    return framecount >= inCount;
}

// Up to `most` outputs of each channel, before the position `end`.
int aflibConverter::interpolate(uint32_t end, uint32_t step, int most, int outCount, int written, int16_t* out)
{
    const uint32_t endTime = end << kPhaseBits;
    const uint32_t left = mTime < endTime ? endTime - mTime : 0;
    const uint32_t inBlock = step > 0 ? left / step + (left % step != 0 ? 1 : 0) : left > 0 ? ~uint32_t{0} : 0;
    const int count = static_cast<int>(std::min(inBlock, static_cast<uint32_t>(most)));
    for (size_t channel = 0; channel < mBlocks.size(); ++channel) {
        const int16_t* const x = mBlocks[channel].data();
        int16_t* const y = out + channel * static_cast<size_t>(outCount) + written;
        uint32_t time = mTime;
        for (int k = 0; k < count; ++k, time += step) {
            const int16_t* const at = x + (time >> kPhaseBits);
            const auto f = static_cast<int32_t>(time & kFraction);
            // (1 - f) of one and f of the next, rounded: never beyond the two, so within 16 bits.
            const int32_t v = at[0] * static_cast<int32_t>(kOne) + f * (at[1] - at[0]);
            y[k] = static_cast<int16_t>((v + 16384) >> kPhaseBits);
        }
    }
    mTime += static_cast<uint32_t>(count) * step;
    return count;
}

// What is still to be read goes to the front, behind its history. How many samples are used up.
int aflibConverter::moveToFront()
{
    const int used = std::min(static_cast<int>(mTime >> kPhaseBits), mFilled) - kHistory;
    for (std::vector<int16_t>& block : mBlocks) {
        std::memmove(block.data(), block.data() + used, static_cast<size_t>(mFilled - used) * sizeof(int16_t));
    }
    mFilled -= used;
    mTime -= static_cast<uint32_t>(used) << kPhaseBits;
    return used;
}
