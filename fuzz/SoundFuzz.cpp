// Any bytes as samples, rates and calls of the converter, and as a sound file.
#include <cstdlib>
#include <cstring>
#include <vector>

#include "CoreUtility/Sound/aflibConverter.h"
#include "CoreUtility/Sound/ZKSound.h"
#include "Simulator/SoundFileReader.h"
#include "ZKHAL/ZKHAL.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    ZKSetMessageSink([](void*, int, const char*) {}, nullptr);
    const Simulator::SoundFileReading reading = Simulator::readSoundFile(data, size);
    if (reading.frames.size() * 7 > size) {
        std::abort();
    }
    uint16_t rates[2] = {};
    double factor = 0;
    if (size < sizeof rates + sizeof factor) {
        return 0;
    }
    std::memcpy(rates, data, sizeof rates);
    std::memcpy(&factor, data + sizeof rates, sizeof factor);
    const size_t at = sizeof rates + sizeof factor;
    std::vector<int16_t> in((size - at) / 2), out;
    if (!in.empty()) {
        std::memcpy(in.data(), data + at, in.size() * 2);
    }
    if (rates[0] > 0 && rates[1] / rates[0] < 1000) {
        ZKSoundResample(in, out, rates[0], rates[1]);
    }
    ZKSoundNormalize(in, rates[0] % 8u, factor, factor);
    aflibConverter converter(false, true, false);
    converter.initialize(factor, 1 + rates[0] % 2, 1);
    std::vector<int16_t> pieces(2000);
    for (int call = 0; call < 5; ++call) {
        const int half = static_cast<int>(in.size() / 2);
        int used = half;
        const int written = converter.resample(used, 1 + rates[1] % 1000, in.data(), pieces.data());
        if (written > 1 + rates[1] % 1000 || used < 0 || used > half) {
            std::abort();
        }
    }
    return 0;
}
