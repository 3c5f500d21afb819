// Sounds: the converter against a plain model, the level, the file and its frames, and what a decoder hears.
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>

#include <gtest/gtest.h>

#include "CoreUtility/Sound/aflibConverter.h"
#include "CoreUtility/Sound/NuSoundEncode.h"
#include "CoreUtility/Sound/ZKSound.h"
#include "Simulator/SoundFileReader.h"
#include "support/DeathTests.h"
#include "support/Support.h"

namespace {

using Samples = std::vector<int16_t>;
using Bytes = std::vector<unsigned char>;

Samples noise(size_t count, uint64_t seed = 1, int amplitude = 32768)
{
    support::Random random(seed);
    Samples samples(count);
    for (int16_t& sample : samples) {
        sample = static_cast<int16_t>(random.below(2 * amplitude) - amplitude);
    }
    return samples;
}

Samples tone(size_t count, double from_Hz, double to_Hz, double rate, double level = 0.5)
{
    Samples samples(count);
    double phase = 0;
    for (size_t i = 0; i < count; ++i) {
        samples[i] = static_cast<int16_t>(32767 * level * std::sin(phase));
        phase += 2 * 3.14159265358979 *
                 (from_Hz + (to_Hz - from_Hz) * static_cast<double>(i) / static_cast<double>(count)) / rate;
    }
    return samples;
}

Samples converted(const Samples& in, double factor, size_t count)
{
    aflibConverter converter(false, true, false);
    converter.initialize(factor, 1, 1.0);
    Samples out(count, 0x55);
    int used = static_cast<int>(in.size());
    const int written = converter.resample(used, static_cast<int>(count), in.data(), out.data());
    EXPECT_LE(used, static_cast<int>(in.size()));
    out.resize(written < 0 ? 0 : static_cast<size_t>(written));
    return out;
}

// Over the whole sound, without blocks. Behind its end stands what the block held there before: a multiple of 4076
// samples earlier where outputs take up whole blocks.
Samples model(const Samples& in, double factor, size_t count)
{
    const auto step = static_cast<uint64_t>(32768 / factor + 0.5);
    Samples out;
    for (uint64_t time = 0; out.size() < count && time >> 15 < in.size(); time += step) {
        const size_t i = time >> 15;
        const auto f = static_cast<int64_t>(time & 0x7FFF);
        const int64_t next = i + 1 < in.size() ? in[i + 1] : in.size() > 4076 ? in[in.size() - 4076] : 0;
        out.push_back(static_cast<int16_t>(((32768 - f) * in[i] + f * next + 16384) >> 15));
    }
    return out;
}

TEST(SoundTest, TheConverterAgainstAPlainModel)
{
    for (const size_t size :
         {1u, 2u, 10u, 1000u, 4075u, 4076u, 4077u, 4085u, 4086u, 4087u, 4096u, 8152u, 8162u, 20000u}) {
        const Samples in = noise(size, size);
        for (const double factor : {1.0, 2.0, 0.5, 16000.0 / 44100, 16000.0 / 22050, 3.7, 0.013, 7.25}) {
            SCOPED_TRACE(std::to_string(size) + " samples, factor " + std::to_string(factor));
            const auto count = static_cast<size_t>(static_cast<double>(size) * factor);
            Samples expected = model(in, factor, count), got = converted(in, factor, count);
            ASSERT_EQ(got.size(), expected.size());
            // The last interval is with what the block held before, which the model knows for factor 1 and 2.
            if (factor != 1 && factor != 2 && !got.empty()) {
                const auto step = static_cast<size_t>(32768 / factor + 0.5);
                got.resize(std::min(got.size(), ((size - 1) * 32768 + step - 1) / step));
                expected.resize(got.size());
            }
            ASSERT_EQ(got, expected);
        }
    }
    const Samples in = {1000, -2000, 3000, 32767};
    EXPECT_EQ(converted(in, 2, 8), (Samples{1000, -500, -2000, 500, 3000, 17884, 32767, 16384}));
    EXPECT_EQ(converted(in, 1, 4), in);
    EXPECT_EQ(converted(in, 0.5, 2), (Samples{1000, 3000}));
    EXPECT_EQ(converted(in, 2, 3).size(), 3u);
}

TEST(SoundTest, ConvertingInPieces)
{
    const Samples in = noise(30000);
    for (const double factor : {2.0, 0.37}) {
        const auto count = static_cast<size_t>(30000 * factor) - 2;
        const Samples whole = converted(in, factor, count);
        aflibConverter converter(false, true, false);
        converter.initialize(factor, 1, 1.0);
        Samples pieces;
        int consumed = 0;
        for (int wanted : {1, 5, 4000, 4076, 9999, 100000}) {
            Samples piece(static_cast<size_t>(wanted));
            int used = static_cast<int>(in.size());
            const int left = static_cast<int>(count - pieces.size());
            const int written = converter.resample(used, std::min(wanted, left), in.data(), piece.data());
            ASSERT_GE(written, 0);
            consumed += used;
            pieces.insert(pieces.end(), piece.begin(), piece.begin() + written);
        }
        EXPECT_EQ(pieces, whole) << factor;
        EXPECT_NEAR(consumed, 30000, 12);
    }
    // Two channels, block by block behind each other, as two of one.
    const Samples left = noise(5000, 3), right = noise(5000, 4);
    Samples both = left;
    both.insert(both.end(), right.begin(), right.end());
    aflibConverter converter(false, true, false);
    converter.initialize(1.5, 2, 1.0);
    Samples out(2 * 7400);
    int used = 5000;
    ASSERT_EQ(converter.resample(used, 7400, both.data(), out.data()), 7400);
    EXPECT_EQ(Samples(out.begin(), out.begin() + 7400), converted(left, 1.5, 7400));
    EXPECT_EQ(Samples(out.begin() + 7400, out.end()), converted(right, 1.5, 7400));
}

TEST(SoundTest, WhatTheConverterRefuses)
{
    support::Printed printed;
    const Samples in = noise(100);
    Samples out(10);
    int used = 100;
    aflibConverter filter(true, false, true);
    filter.initialize(2, 1, 1);
    EXPECT_EQ(filter.resample(used, 10, in.data(), out.data()), -1);
    EXPECT_EQ(printed.take(),
              "error: aflibConverter has linear interpolation only, no large filter with interpolation\n");
    aflibConverter converter(false, true, false);
    EXPECT_EQ(converter.resample(used, 10, in.data(), out.data()), -1) << "before initialize()";
    for (const double factor : {0.0, -1.0, 1e-5, 1.0 / 4097, static_cast<double>(NAN), static_cast<double>(INFINITY)}) {
        converter.initialize(factor, 1, 1);
        EXPECT_EQ(converter.resample(used, 10, in.data(), out.data()), -1) << factor;
    }
    converter.initialize(1, 0, 1);
    EXPECT_EQ(converter.resample(used, 10, in.data(), out.data()), -1);
    converter.initialize(65535, 1, 1);
    EXPECT_EQ(converter.resample(used, 10, in.data(), out.data()), 10);
}

TEST(SoundTest, Resampling)
{
    support::Printed printed;
    const struct {
        size_t count;
        uint16_t from, to;
        bool succeeds;
        size_t result;
    } cases[] = {
        {1000, 8000, 16000, true, 2000}, {1000, 44100, 16000, true, 362}, {1000, 16000, 16000, true, 1000},
        {1, 44100, 16000, true, 0},      {3, 1, 65535, true, 196605},     {1000, 0, 16000, false, 0},
        {1000, 16000, 0, false, 0},      {1000, 65535, 1, false, 0},      {0, 8000, 16000, false, 0},
        {16777217, 3, 1, true, 5592405},  // in single precision
    };
    for (const auto& c : cases) {
        Samples in = noise(c.count), out = {7};
        EXPECT_EQ(ZKSoundResample(in, out, c.from, c.to), c.succeeds) << c.from << " to " << c.to;
        EXPECT_EQ(out.size(), c.succeeds ? c.result : 1) << c.from << " to " << c.to;
        EXPECT_EQ(printed.take(),
                  c.count > 0
                      ? ""
                      : "WARNING: bool ZKSoundResample(std::vector<int16_t> &, std::vector<int16_t> &, unsigned "
                        "short, unsigned short) Input has 0 bytes.\n");
    }
}

TEST(SoundTest, Normalizing)
{
    support::Printed printed;
    const struct {
        Samples in;
        uint32_t start;
        double peak, gain;
        Samples out;
    } cases[] = {
        {{0, 16383, -8192}, 0, 0.99, 5, {0, 32439, -16220}},
        {{1, -2, 3}, 0, 0.99, 5, {5, -10, 15}},
        {{100, 50, 200}, 1, 0.5, 1000, {100, 4095, 16383}},
        {{0, 0}, 0, 0.99, 5, {0, 0}},
        {{-32768, 100}, 0, 0.5, 4, {0, 400}},  // which does not count as a peak, and wraps: -131072
        {{-32768, -32768}, 0, 0.5, 4, {-32768, -32768}},
        {{1000, -1000}, 0, -0.5, 5, {-16383, 16383}},
        {{1000}, 0, NAN, 5, {0}},
        {{32767}, 0, 1e300, 1e300, {-1}},
    };
    for (const auto& c : cases) {
        Samples samples = c.in;
        ZKSoundNormalize(samples, c.start, c.peak, c.gain);
        EXPECT_EQ(samples, c.out) << c.in[0] << " " << c.peak;
    }
    Samples samples = {1, 2}, none;
    EXPECT_EQ(printed.take(), "");
    ZKSoundNormalize(samples, 2, 0.99, 5);
    ZKSoundNormalize(none, 0, 0.99, 5);
    const std::string signature = "void ZKSoundNormalize(std::vector<int16_t> &, unsigned int, double, double)";
    EXPECT_EQ(printed.take(),
              "WARNING: " + signature + " Invalid start Index: 2\nWARNING: " + signature + " Input has 0 bytes.\n");
}

TEST(SoundTest, FilesAndTheirFrames)
{
    support::Printed printed;
    const struct {
        const char* what;
        Samples samples;
        int quality;  // 0: any
    } cases[] = {
        {"nothing", {}, 511},
        {"one sample", {12345}, 0},
        {"silence", Samples(16000, 0), 511},
        {"noise", noise(20000), 0},
        {"a whisper", noise(20000, 2, 20), 0},
        {"a sweep", tone(48000, 100, 3000, 16000), 0},
        {"exactly a block less the silence", tone(2048 - 1024, 400, 400, 16000), 0},
    };
    for (const auto& c : cases) {
        Bytes file;
        SoundEncodeReport report;
        EXPECT_TRUE(NuSoundEncode(c.samples, file, 16000, 2.0f, report));
        EXPECT_EQ(support::hex(file.data(), 4), "2F 00 80 3E") << c.what;
        const auto reading = Simulator::readSoundFile(file.data(), file.size());
        EXPECT_EQ(reading.problems, std::vector<std::string>()) << c.what;
        EXPECT_EQ(reading.frames.size(), (c.samples.size() + 1024 + 1023) / 1024) << c.what;
        EXPECT_EQ(reading.streamLength, file.size() - 9) << c.what;
        EXPECT_EQ(reading.adtsRate, 8000u);
        if (c.samples.size() > 700) {
            EXPECT_LE(reading.streamLength, (c.samples.size() + 324) / 4) << c.what;
        }
        EXPECT_TRUE(report.quality >= 1 && report.quality <= 511) << c.what;
        if (c.quality != 0) {
            EXPECT_EQ(report.quality, c.quality) << c.what;
        }
    }
    // Behind bytes that are there already, the length stands at the begin all the same.
    Bytes behind = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13}, alone;
    NuSoundEncode({1}, behind, 16000, 2);
    NuSoundEncode({1}, alone, 16000, 2);
    EXPECT_EQ(behind.size(), alone.size() + 13);
    EXPECT_EQ(behind[4] | behind[5] << 8, static_cast<int>(alone.size() - 9 + 13));
    EXPECT_EQ(support::hex(behind.data() + 8, 6), "0C 0D 2F 00 80 3E");
    // Budgets that wrap, so that everything fits; and none at all.
    Bytes high, none;
    SoundEncodeReport best, worst;
    NuSoundEncode(noise(3000), high, 44100, 2, best);
    NuSoundEncode(noise(3000), none, 0, 2, worst);
    EXPECT_EQ(best.quality, 511);
    EXPECT_EQ(worst.quality, 1);
    EXPECT_EQ(Subband_Encode(0, 100, noise(3000).data(), -1, 1, 3000, nullptr), 0) << "no encoder, no bytes";
    EXPECT_EQ(Subband_Encode(0, 100, noise(3000).data(), 8000, 0, 3000, nullptr), 0);

    // Damage is told.
    Bytes good;
    NuSoundEncode(tone(5000, 300, 300, 16000), good, 16000, 2);
    for (const size_t size : {0u, 8u, 9u, 20u, 100u}) {
        EXPECT_FALSE(Simulator::readSoundFile(good.data(), size).problems.empty()) << size;
    }
    support::Random random(1);
    for (int i = 0; i < 2000; ++i) {
        Bytes bad = good;
        bad[random.next() % bad.size()] ^= static_cast<unsigned char>(1 + random.below(255));
        Simulator::readSoundFile(bad.data(), random.next() % (bad.size() + 1));
    }
}

// The same search, every run to its end and the last one again.
TEST(SoundTest, TheSearchGivesTheBytesOfTenFullRuns)
{
    for (const Samples& sound : {tone(30000, 80, 3400, 16000), noise(9000), noise(9000, 5, 300), Samples(5000, 1),
                                 tone(700, 500, 500, 16000), noise(3)}) {
        Samples padded(sound.size() + 1024, 0);
        std::copy(sound.begin(), sound.end(), padded.begin() + 450);
        const auto count = static_cast<uint32_t>(padded.size());
        const auto budget =
            static_cast<uint32_t>(static_cast<int64_t>(static_cast<double>(count - 700) / 16000 * 32000 / 8));
        int hi = 512, lo = 1, q = 256;
        for (int round = 0; round < 9; ++round) {
            const int size = Subband_Encode(0, static_cast<uint16_t>(q), padded.data(), 8000, 1, count, nullptr);
            (static_cast<uint32_t>(size) <= budget ? lo : hi) = q;
            q = (hi + lo) / 2;
        }
        Bytes expected, got;
        int16_t quality = 0;
        const int size = Subband_Encode(0, static_cast<uint16_t>(q), padded.data(), 8000, 1, count, &expected);
        EXPECT_EQ(Subband_EncodeByBitRate(32000, padded.data(), 16000, 1, count, got, quality), size);
        EXPECT_EQ(quality, q);
        EXPECT_TRUE(got == expected);
    }
}

TEST(SoundTest, ProcessingMixesAndReverses)
{
    support::Printed printed;
    Samples stereo = {1, 3, 10, 20, -3, -4}, mono = {-3, 15, 2};
    Bytes fromStereo, fromMono;
    EXPECT_TRUE(ZKSoundProcess(stereo, fromStereo, 16000, 16000, 2));
    EXPECT_TRUE(ZKSoundProcess(mono, fromMono, 16000, 16000, 1));
    EXPECT_EQ(fromStereo, fromMono) << "the mean toward zero, in reverse order";
    EXPECT_EQ(stereo.size(), 6u);
    Samples slow = tone(4000, 300, 300, 8000), fast;
    Bytes direct, inSteps;
    ZKSoundResample(slow, fast, 8000, 16000);
    EXPECT_TRUE(ZKSoundProcess(fast, inSteps, 16000, 16000, 1));
    EXPECT_TRUE(ZKSoundProcess(slow, direct, 8000, 16000, 1));
    EXPECT_EQ(direct, inSteps);
    Samples none;
    EXPECT_FALSE(ZKSoundProcess(none, direct, 8000, 16000, 9));
    EXPECT_EQ(printed.take(),
              "WARNING: bool ZKSoundProcess(std::vector<int16_t> &, std::vector<unsigned char> &, unsigned short, "
              "unsigned short, unsigned char) Input has 0 bytes.\n");
    EXPECT_TRUE(ZKSoundNormalizeAndEncode(none, direct));
    printed.take();
    support::useSafeDeathTests();
    EXPECT_DEATH(ZKSoundProcess(mono, direct, 8000, 16000, 3), "numChannels == 1");
    EXPECT_DEATH(ZKSoundProcess(mono, direct, 8000, 16000, 2), "\\(dataIn\\.size\\(\\)%2 == 0\\)");
    EXPECT_DEATH(ZKSoundProcess(mono, direct, 0, 16000, 1), "resampleResult");

    // The flat functions give the same, and codes where the others stop the process.
    uint8_t* file = nullptr;
    size_t size = 0;
    EXPECT_EQ(ZKSoundProcessSamples(stereo.data(), 6, 16000, 16000, 2, &file, &size), ZK_SOUND_OK);
    EXPECT_EQ(Bytes(file, file + size), fromStereo);
    ZKSoundFree(file);
    const Samples muchTooLong(70000);
    const struct {
        const int16_t* samples;
        size_t count;
        uint16_t from;
        uint8_t channels;
        ZKSoundResult result;
    } cases[] = {
        {nullptr, 5, 16000, 1, ZK_SOUND_EMPTY},
        {stereo.data(), 0, 16000, 3, ZK_SOUND_EMPTY},
        {stereo.data(), 6, 16000, 3, ZK_SOUND_BAD_CHANNELS},
        {stereo.data(), 6, 16000, 0, ZK_SOUND_BAD_CHANNELS},
        {stereo.data(), 5, 16000, 2, ZK_SOUND_ODD_STEREO},
        {stereo.data(), 6, 0, 2, ZK_SOUND_BAD_RATE},
        {muchTooLong.data(), muchTooLong.size(), 1, 1, ZK_SOUND_BAD_RATE},  // more than 2^30 samples
    };
    for (const auto& c : cases) {
        EXPECT_EQ(ZKSoundProcessSamples(c.samples, c.count, c.from, 16000, c.channels, &file, &size), c.result);
        EXPECT_EQ(file, nullptr);
        EXPECT_EQ(size, 0u);
    }
    int16_t* out = nullptr;
    EXPECT_EQ(ZKSoundResampleSamples(slow.data(), slow.size(), 8000, 16000, &out, &size), ZK_SOUND_OK);
    EXPECT_EQ(Samples(out, out + size), fast);
    ZKSoundFree(out);
    EXPECT_EQ(ZKSoundNormalizeSamples(mono.data(), 3, 3, 0.99, 5), ZK_SOUND_BAD_START);
    EXPECT_EQ(ZKSoundNormalizeSamples(mono.data(), 3, 0, 0.99, 5), ZK_SOUND_OK);
    EXPECT_EQ(mono, (Samples{-15, 75, 10}));
    EXPECT_EQ(ZKSoundNormalizeAndEncodeSamples(nullptr, 0, &file, &size), ZK_SOUND_OK);
    EXPECT_EQ(Simulator::readSoundFile(file, size).frames.size(), 1u);
    ZKSoundFree(file);
}

// faad, to which the stream is one of 8000 Hz: it must hear the sound, after the delay of both.
TEST(SoundTest, AStandardDecoderHearsTheSound)
{
    if (std::system("command -v faad >/dev/null") != 0) {
        GTEST_SKIP() << "faad is not installed";
    }
    const std::string base = ::testing::TempDir() + "zkhal_sound";
    const Samples sound = tone(40000, 100, 4000, 16000, 0.7);  // up to half of what 8000 Hz carry
    Bytes file;
    NuSoundEncode(sound, file, 16000, 2);
    std::ofstream(base + ".aac", std::ios::binary)
        .write(reinterpret_cast<const char*>(file.data()) + kSoundHeader,
               static_cast<std::streamsize>(file.size() - kSoundHeader));
    ASSERT_EQ(std::system(("faad -q -f 2 -o " + base + ".pcm " + base + ".aac").c_str()), 0);
    std::ifstream stream(base + ".pcm", std::ios::binary);
    const std::string raw((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    // It makes two channels of 16000 Hz of them.
    Samples heard(raw.size() / 2);
    std::memcpy(heard.data(), raw.data(), heard.size() * 2);
    EXPECT_EQ(heard.size(), Simulator::readSoundFile(file.data(), file.size()).frames.size() * 1024 * 4 - 4096)
        << "all frames but the first, which starts it";
    double best = 0;
    for (size_t lag = 0; lag < 8192; ++lag) {
        double xy = 0, xx = 0, yy = 0;
        for (size_t i = 0; i < 30000; ++i) {
            const double x = sound[i], y = heard[(2 * i + lag) * 2];
            xy += x * y;
            xx += x * x;
            yy += y * y;
        }
        best = std::max(best, xy / std::sqrt(xx * yy + 1));
    }
    EXPECT_GT(best, 0.9);
    std::remove((base + ".aac").c_str());
    std::remove((base + ".pcm").c_str());
}

}  // namespace
