// A minute of speech: the search against ten full runs of the same encoder, the converter against libsamplerate.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <benchmark/benchmark.h>
#include <samplerate.h>

#include "Bench.h"
#include "CoreUtility/Sound/aflibConverter.h"
#include "CoreUtility/Sound/NuSoundEncode.h"
#include "CoreUtility/Sound/ZKSound.h"

namespace bench {

namespace {

using Samples = std::vector<int16_t>;

// Spoken by espeak-ng at 22050 Hz, said again until a minute is full.
Samples speech()
{
    constexpr uint16_t kSpokenRate = 22050;
    constexpr size_t kWavHeader = 44;
    Samples spoken;
    std::FILE* pipe = popen(
        "espeak-ng --stdout 'Good morning, class. My name is Orvik. I drive squares, I light up, "
        "and I listen. Who wants to write the first program today?'",
        "r");
    std::vector<char> bytes(1 << 22);
    const size_t size = pipe != nullptr ? std::fread(bytes.data(), 1, bytes.size(), pipe) : 0;
    if (pipe == nullptr || pclose(pipe) != 0 || size <= kWavHeader) {
        std::fputs("the benchmarks of sound need espeak-ng\n", stderr);
        std::exit(1);
    }
    spoken.resize((size - kWavHeader) / sizeof(int16_t));
    std::memcpy(spoken.data(), bytes.data() + kWavHeader, spoken.size() * sizeof(int16_t));
    Samples robot, minute;
    ZKSoundResample(spoken, robot, kSpokenRate, kRobotSoundRate);
    while (minute.size() < kSoundSeconds * kRobotSoundRate) {
        minute.insert(minute.end(), robot.begin(), robot.end());
    }
    minute.resize(kSoundSeconds * kRobotSoundRate);
    return minute;
}

const Samples& minuteOfSpeech()
{
    static const Samples samples = speech();
    return samples;
}

void search(benchmark::State& state)
{
    std::vector<unsigned char> file;
    for (auto _ : state) {
        file.clear();
        NuSoundEncode(minuteOfSpeech(), file, kRobotSoundRate, kRobotSoundBits);
    }
}

void tenRuns(benchmark::State& state)
{
    std::vector<int16_t> padded(minuteOfSpeech().size() + 1024, 0);
    std::copy(minuteOfSpeech().begin(), minuteOfSpeech().end(), padded.begin() + 450);
    const auto count = static_cast<uint32_t>(padded.size());
    const auto budget = (count - 700) / 4;
    std::vector<unsigned char> stream, searched;
    for (auto _ : state) {
        int hi = 512, lo = 1, q = 256;
        for (int round = 0; round < 9; ++round) {
            const int size = Subband_Encode(0, static_cast<uint16_t>(q), padded.data(), 8000, 1, count, nullptr);
            (static_cast<uint32_t>(size) <= budget ? lo : hi) = q;
            q = (hi + lo) / 2;
        }
        stream.clear();
        Subband_Encode(0, static_cast<uint16_t>(q), padded.data(), 8000, 1, count, &stream);
    }
    NuSoundEncode(minuteOfSpeech(), searched, kRobotSoundRate, kRobotSoundBits);
    if (!std::equal(stream.begin(), stream.end(), searched.begin() + static_cast<std::ptrdiff_t>(kSoundHeader),
                    searched.end())) {
        state.SkipWithError("the search gives other bytes than ten full runs");
    }
}

void convert(benchmark::State& state, double factor)
{
    const Samples& in = minuteOfSpeech();
    Samples out(static_cast<size_t>(static_cast<double>(in.size()) * factor));
    aflibConverter converter(false, true, false);
    for (auto _ : state) {
        converter.initialize(factor, 1, 1.0);
        int used = static_cast<int>(in.size());
        benchmark::DoNotOptimize(converter.resample(used, static_cast<int>(out.size()), in.data(), out.data()));
    }
}

// From 16-bit samples to 16-bit samples too, with libsamplerate's own conversions.
void convertReference(benchmark::State& state, double factor)
{
    const Samples& in = minuteOfSpeech();
    std::vector<float> floatIn(in.size()), floatOut(static_cast<size_t>(static_cast<double>(in.size()) * factor) + 1);
    Samples out(floatOut.size());
    for (auto _ : state) {
        src_short_to_float_array(in.data(), floatIn.data(), static_cast<int>(in.size()));
        SRC_DATA data = {};
        data.data_in = floatIn.data();
        data.data_out = floatOut.data();
        data.input_frames = static_cast<long>(floatIn.size());
        data.output_frames = static_cast<long>(floatOut.size());
        data.src_ratio = factor;
        if (src_simple(&data, SRC_LINEAR, 1) != 0) {
            state.SkipWithError("libsamplerate failed");
        }
        src_float_to_short_array(floatOut.data(), out.data(), static_cast<int>(data.output_frames_gen));
        benchmark::DoNotOptimize(out.data());
    }
}

}  // namespace

void addSoundBenchmarks()
{
    benchmark::RegisterBenchmark("sound/search", search)->Iterations(1);
    benchmark::RegisterBenchmark("sound/ten runs", tenRuns)->Iterations(1);
    for (const Conversion& each : kConversions) {
        const double factor = static_cast<double>(each.to) / each.from;
        benchmark::RegisterBenchmark((std::string("convert/") + each.name).c_str(), convert, factor);
        benchmark::RegisterBenchmark((std::string("libsamplerate/") + each.name).c_str(), convertReference, factor);
    }
}

}  // namespace bench
