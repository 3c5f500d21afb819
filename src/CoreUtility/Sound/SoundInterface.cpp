// The C functions of sound preparation.
#include "ZKHAL/Sound.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "CoreUtility/Boundary.h"
#include "CoreUtility/Sound/NuSoundEncode.h"
#include "CoreUtility/Sound/SoundPrepare.h"
#include "CoreUtility/Sound/ZKSound.h"

namespace {

using Samples = std::vector<int16_t>;

Samples copyOf(const int16_t* samples, size_t count)
{
    return samples != nullptr ? Samples(samples, samples + count) : Samples();
}

// The bytes of a result in memory that ZKSoundFree() releases.
template <class Element>
ZKSoundResult handOut(const std::vector<Element>& result, Element** out, size_t* count)
{
    auto* const memory = static_cast<Element*>(std::malloc(std::max<size_t>(result.size() * sizeof(Element), 1)));
    if (memory == nullptr) {
        return ZK_SOUND_NO_MEMORY;
    }
    if (!result.empty()) {
        std::memcpy(memory, result.data(), result.size() * sizeof(Element));
    }
    if (out != nullptr) {
        *out = memory;
    } else {
        std::free(memory);
    }
    if (count != nullptr) {
        *count = result.size();
    }
    return ZK_SOUND_OK;
}

template <class Element>
void clear(Element** out, size_t* count)
{
    if (out != nullptr) {
        *out = nullptr;
    }
    if (count != nullptr) {
        *count = 0;
    }
}

}  // namespace

ZKSoundResult ZKSoundProcessSamples(const int16_t* samples, size_t count, uint16_t fromRate, uint16_t toRate,
                                    uint8_t numChannels, uint8_t** file, size_t* fileSize)
{
    clear(file, fileSize);
    return ZKHAL::guarded(__func__, ZK_SOUND_NO_MEMORY, [&] {
        Samples input = copyOf(samples, count), prepared;
        std::vector<unsigned char> encoded;
        if (input.empty()) {
            ZKSoundProcess(input, encoded, fromRate, toRate, numChannels);  // for its warning
            return ZK_SOUND_EMPTY;
        }
        if (numChannels != 1 && numChannels != 2) {
            return ZK_SOUND_BAD_CHANNELS;
        }
        if (numChannels == 2 && input.size() % 2 != 0) {
            return ZK_SOUND_ODD_STEREO;
        }
        if (!ZKSoundPrepare(input, prepared, fromRate, toRate, numChannels)) {
            return ZK_SOUND_BAD_RATE;
        }
        NuSoundEncode(prepared, encoded, kRobotSoundRate, kRobotSoundBits);
        return handOut(encoded, file, fileSize);
    });
}

ZKSoundResult ZKSoundNormalizeSamples(int16_t* samples, size_t count, uint32_t startIndex, double targetPeak,
                                      double maxGain)
{
    return ZKHAL::guarded(__func__, ZK_SOUND_NO_MEMORY, [&] {
        Samples scaled = copyOf(samples, count);
        ZKSoundNormalize(scaled, startIndex, targetPeak, maxGain);
        std::copy(scaled.begin(), scaled.end(), samples);
        return scaled.empty() ? ZK_SOUND_EMPTY : startIndex >= count ? ZK_SOUND_BAD_START : ZK_SOUND_OK;
    });
}

ZKSoundResult ZKSoundNormalizeAndEncodeSamples(int16_t* samples, size_t count, uint8_t** file, size_t* fileSize)
{
    clear(file, fileSize);
    return ZKHAL::guarded(__func__, ZK_SOUND_NO_MEMORY, [&] {
        Samples scaled = copyOf(samples, count);
        std::vector<unsigned char> encoded;
        ZKSoundNormalizeAndEncode(scaled, encoded);
        std::copy(scaled.begin(), scaled.end(), samples);
        return handOut(encoded, file, fileSize);
    });
}

ZKSoundResult ZKSoundResampleSamples(const int16_t* samples, size_t count, uint16_t fromRate, uint16_t toRate,
                                     int16_t** out, size_t* outCount)
{
    clear(out, outCount);
    return ZKHAL::guarded(__func__, ZK_SOUND_NO_MEMORY, [&] {
        Samples input = copyOf(samples, count), result;
        if (ZKSoundResample(input, result, fromRate, toRate)) {
            return handOut(result, out, outCount);
        }
        return input.empty() ? ZK_SOUND_EMPTY : ZK_SOUND_BAD_RATE;
    });
}

void ZKSoundFree(void* memory)
{
    std::free(memory);
}
