// Sounds for the robot: to mono, to its rate, to its level, to its file.
#pragma once

#include <cstdint>
#include <vector>

#include "ZKHAL/ZKExport.h"

constexpr uint16_t kRobotSoundRate = 16000;  // Hz
constexpr float kRobotSoundBits = 2.0f;      // for each sample
constexpr double kRobotSoundPeak = 0.99;     // of full scale
constexpr double kRobotSoundGain = 5.0;      // at most, to reach it

/**
 * Makes a sound file of samples of any rate; appends it to `encoded`. dataIn is left alone.
 * toRate        16000: that is what the file says
 * numChannels   1, or 2 for pairs of left and right, which come out as their mean and in reverse order of time, on
 *               purpose. Any other number, and an odd one of samples in pairs, stops the process.
 * False, with a warning, for no samples.
 */
ZK_API bool ZKSoundProcess(std::vector<int16_t>& dataIn, std::vector<unsigned char>& encoded, uint16_t fromRate,
                           uint16_t toRate, uint8_t numChannels);

/**
 * Scales the samples from startIndex on, so that their peak is at targetPeak of full scale, but at most by maxGain.
 * A sample of -32768 does not count as a peak. What goes beyond 16 bits wraps.
 */
ZK_API void ZKSoundNormalize(std::vector<int16_t>& samples, uint32_t startIndex, double targetPeak, double maxGain);

/** To 0.99 of full scale, at most five times louder; then appends the sound file. */
ZK_API bool ZKSoundNormalizeAndEncode(std::vector<int16_t>& samples, std::vector<unsigned char>& encoded);

/**
 * By linear interpolation; dataOut is replaced. False without samples (with a warning), for a rate of 0, for a
 * ratio too small for any output of a block, and for more than 2^30 samples. What the interpolation does not reach at
 * the end is silent.
 */
ZK_API bool ZKSoundResample(std::vector<int16_t>& dataIn, std::vector<int16_t>& dataOut, uint16_t fromRate,
                            uint16_t toRate);
