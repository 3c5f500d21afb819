// Changes the sample rate of 16-bit sound by any ratio.
#pragma once

#include <cstdint>
#include <vector>

#include "ZKHAL/ZKExport.h"

/**
 * Linear interpolation in fixed point, on blocks of 4096 samples. The two filter modes that the flags name are not
 * there: asking for one makes resample() fail.
 *
 * The place where it reads its input is one for the whole process: only one conversion may run at a time.
 */
class ZK_API aflibConverter {
public:
    aflibConverter(bool high_quality, bool linear_interpolation, bool filter_interpolation);
    ~aflibConverter();
    aflibConverter(const aflibConverter&) = delete;
    aflibConverter& operator=(const aflibConverter&) = delete;

    /**
     * Begins a conversion, with silence before it.
     * factor     output rate / input rate
     * channels   1 and more
     * volume     for the filter modes; linear interpolation leaves the volume alone
     */
    void initialize(double factor, int channels, double volume);

    /**
     * Converts on from where the last call stopped.
     * inCount    in: samples of each channel in `in`; out: how many of them this call has used up. Reading goes on
     *            behind what earlier calls since initialize() have read, so `in` always is the whole input so far.
     * outCount   room for so many samples of each channel
     * in, out    channel c begins at c * inCount, and at c * outCount
     *
     * Returns how many samples of each channel were written: outCount, or less when the input is at its end. -1, with
     * a message, for a filter mode, and without one before initialize() and for a factor at which a block of 4096
     * samples gives no output.
     *
     * The last sample of the input is interpolated with what stands behind it in the block: silence in the first
     * block, an old sample later on.
     */
    int resample(int& inCount, int outCount, const int16_t* in, int16_t* out);

    /** Releases the blocks; initialize() makes new ones. */
    void deleteMemory();

private:
    bool fill(int inCount, const int16_t* in);
    int interpolate(uint32_t end, uint32_t step, int most, int outCount, int written, int16_t* out);
    int moveToFront();

    bool mHighQuality, mLinearInterpolation, mFilterInterpolation;
    double mFactor = 1;
    int mChannels = 0;
    bool mInitial = false;
    double mVolume = 1;
    uint32_t mTime = 0;  // the place of the next output in the block, with 15 fractional bits
    int mFilled = 0;     // samples in the block, its history included
    std::vector<std::vector<int16_t>> mBlocks;
};
