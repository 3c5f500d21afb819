/*
 * Sounds for the robot: 16-bit samples become the robot's sound file (docs/sound-files.md). The library can be built
 * without this: ZKHAL_HAS_SOUND then is 0, and there is nothing here.
 *
 * - A sound is an array of signed 16-bit samples; a null one counts as empty.
 * - Results that the library allocates are released with ZKSoundFree(). After a failure they are null and 0.
 * - One call at a time in the process: the resampler keeps its place in one for all.
 * - Warnings are printed on stdout (see ZKSetMessageSink).
 */
#ifndef ZKHAL_SOUND_H
#define ZKHAL_SOUND_H

#include <stddef.h>
#include <stdint.h>

#include "ZKHAL/ZKExport.h"
#include "ZKHAL/ZKVersion.h"

#if ZKHAL_HAS_SOUND

ZK_EXTERN_C_BEGIN

typedef enum ZKSoundResult {
    ZK_SOUND_OK = 0,
    ZK_SOUND_EMPTY = 1,        /* there are no samples */
    ZK_SOUND_BAD_CHANNELS = 2, /* neither one channel nor two */
    ZK_SOUND_ODD_STEREO = 3,   /* two channels, and an odd number of samples */
    ZK_SOUND_BAD_RATE =
        4, /* a rate of 0 that is to be converted, a ratio too small, or a result of more than 2^30 samples */
    ZK_SOUND_BAD_START = 5, /* a start behind the last sample */
    ZK_SOUND_NO_MEMORY = 6
} ZKSoundResult;

/**
 * Makes a sound file: to mono, to another rate, encoded. As loud as it is: see ZKSoundNormalizeSamples().
 * numChannels        1, or 2 for pairs of left and right, which come out as their mean and in reverse order of time, on
 *                    purpose: mix to mono yourself to keep the order.
 * toRate             16000 Hz: that is what the file says.
 * file, fileSize     receive the file
 */
ZK_API ZKSoundResult ZKSoundProcessSamples(const int16_t* samples, size_t count, uint16_t fromRate, uint16_t toRate,
                                           uint8_t numChannels, uint8_t** file, size_t* fileSize);

/**
 * Scales the samples from startIndex on in place, so that their peak is at targetPeak (a part of full scale), but at
 * most by maxGain. What goes beyond 16 bits wraps.
 */
ZK_API ZKSoundResult ZKSoundNormalizeSamples(int16_t* samples, size_t count, uint32_t startIndex, double targetPeak,
                                             double maxGain);

/** Scales the samples in place to 0.99 of full scale, at most five times louder, and makes a sound file of them, which
 * are taken as mono of 16000 Hz. Without samples a file of silence, with a warning. */
ZK_API ZKSoundResult ZKSoundNormalizeAndEncodeSamples(int16_t* samples, size_t count, uint8_t** file, size_t* fileSize);

/** Another rate, by linear interpolation. out, outCount receive count * toRate / fromRate samples. */
ZK_API ZKSoundResult ZKSoundResampleSamples(const int16_t* samples, size_t count, uint16_t fromRate, uint16_t toRate,
                                            int16_t** out, size_t* outCount);

/** Releases what one of these functions has allocated; null is allowed. */
ZK_API void ZKSoundFree(void* memory);

ZK_EXTERN_C_END

#endif
#endif
