#include "CoreUtility/Sound/NuSoundEncode.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "CoreUtility/Numbers.h"
#include "CoreUtility/Sound/FrameEncoder.h"

namespace {

using Bytes = std::vector<unsigned char>;

constexpr size_t kSilenceBefore = 450, kSilence = 1024;  // samples, in all
constexpr size_t kMarksWhileEncoding = 4;                // bytes of FF, of which one stays
constexpr int16_t kEncoderRate = 8000;                   // whatever rate the samples have, on purpose
constexpr uint8_t kEncoderChannels = 1;
constexpr uint32_t kUnpaidSamples = 700;  // of the silence
constexpr int kRounds = 9;
constexpr size_t kNoLimit = ~size_t{0};

// A run that ends as soon as it is larger than the limit.
size_t encode(uint16_t bitRate, uint16_t quality, const int16_t* samples, int16_t sampleRate, uint8_t channels,
              uint32_t sampleCount, Bytes* out, size_t limit, const std::function<void(double)>& progress)
{
    if (sampleRate <= 0 || samples == nullptr) {
        return 0;
    }
    ZKHAL::FrameEncoder encoder(static_cast<unsigned long>(sampleRate), channels, bitRate, quality);
    constexpr double kFrame = 1024;
    size_t total = 0, frames = 0;
    encoder.run(samples, sampleCount, [&](const uint8_t* frame, size_t size) {
        total += size;
        if (out != nullptr) {
            out->insert(out->end(), frame, frame + size);
        }
        if (progress != nullptr) {
            progress(std::min(1.0, static_cast<double>(++frames) * kFrame / sampleCount));
        }
        return total <= limit;
    });
    return total;
}

// Low 32 bits, as sizes are compared with it.
uint32_t budgetOf(uint32_t sampleCount, int16_t sampleRate, uint16_t targetBitRate)
{
    if (sampleRate == 0) {
        return 0;
    }
    const uint32_t paid = sampleCount - kUnpaidSamples;  // below 700 it wraps, and everything fits
    return ZKHAL::low32(ZKHAL::truncate(static_cast<double>(paid) / sampleRate * targetBitRate / 8));
}

int search(uint16_t targetBitRate, const int16_t* samples, int16_t sampleRate, uint32_t sampleCount, Bytes& out,
           SoundEncodeReport& report)
{
    const uint32_t budget = budgetOf(sampleCount, sampleRate, targetBitRate);
    int16_t hi = 512, lo = 1, q = 256;
    Bytes best, trial;
    int16_t bestQuality = 0;
    for (int round = 0; round < kRounds; ++round) {
        trial.clear();
        const size_t size = encode(0, static_cast<uint16_t>(q), samples, kEncoderRate, kEncoderChannels, sampleCount,
                                   &trial, budget, [&](double part) {
                                       if (report.progress != nullptr) {
                                           report.progress((round + part) / (kRounds + 1));
                                       }
                                   });
        if (size <= budget) {
            lo = q;
            bestQuality = q;
            best.swap(trial);
        } else {
            hi = q;
        }
        q = static_cast<int16_t>((hi + lo) / 2);
    }
    // The search ends on what it accepted last, which needs no further run; or on 1, which it did not accept.
    if (q != bestQuality) {
        best.clear();
        encode(0, static_cast<uint16_t>(q), samples, kEncoderRate, kEncoderChannels, sampleCount, &best, kNoLimit,
               nullptr);
    }
    out.insert(out.end(), best.begin(), best.end());
    report.quality = q;
    if (report.progress != nullptr) {
        report.progress(1);
    }
    return static_cast<int>(best.size());
}

void putLittle(Bytes& bytes, size_t at, uint32_t value, size_t count)
{
    for (size_t i = 0; i < count; ++i) {
        bytes[at + i] = static_cast<unsigned char>(value >> 8 * i & 0xFF);
    }
}

}  // namespace

int Subband_Encode(uint16_t bitRate, uint16_t quality, const int16_t* samples, int16_t sampleRate, uint8_t channels,
                   uint32_t sampleCount, Bytes* out)
{
    return static_cast<int>(
        encode(bitRate, quality, samples, sampleRate, channels, sampleCount, out, kNoLimit, nullptr));
}

int Subband_EncodeByBitRate(uint16_t targetBitRate, const int16_t* samples, int16_t sampleRate, uint8_t,
                            uint32_t sampleCount, Bytes& out, int16_t& chosenQuality)
{
    SoundEncodeReport report;
    const int size = search(targetBitRate, samples, sampleRate, sampleCount, out, report);
    chosenQuality = report.quality;
    return size;
}

bool NuSoundEncode(const std::vector<int16_t>& samples, Bytes& out, uint16_t sampleRate, float bitsPerSample)
{
    SoundEncodeReport report;
    return NuSoundEncode(samples, out, sampleRate, bitsPerSample, report);
}

bool NuSoundEncode(const std::vector<int16_t>& samples, Bytes& out, uint16_t sampleRate, float bitsPerSample,
                   SoundEncodeReport& report)
{
    // The header, which is completed when the stream is there.
    const size_t begin = out.size();
    out.insert(out.end(), std::begin(kSoundTag), std::end(kSoundTag));
    out.resize(begin + kSoundMarkAt, 0);
    out.resize(begin + kSoundMarkAt + kMarksWhileEncoding, 0xFF);
    putLittle(out, begin + kSoundRateAt, sampleRate, 2);
    putLittle(out, begin + kSoundLengthAt, static_cast<uint32_t>(samples.size()), 4);

    std::vector<int16_t> padded(samples.size() + kSilence, 0);
    std::copy(samples.begin(), samples.end(), padded.begin() + kSilenceBefore);
    const float bitRate = static_cast<float>(sampleRate) * bitsPerSample;
    search(ZKHAL::low16(ZKHAL::truncate(static_cast<double>(bitRate))), padded.data(), static_cast<int16_t>(sampleRate),
           static_cast<uint32_t>(padded.size()), out, report);

    // From the begin of the array, whatever it held before.
    const size_t length = out.size() - (kSoundMarkAt + kMarksWhileEncoding);
    putLittle(out, kSoundLengthAt, static_cast<uint32_t>(length), 4);
    const auto mark = out.begin() + static_cast<std::ptrdiff_t>(kSoundMarkAt);
    out.erase(mark, mark + static_cast<std::ptrdiff_t>(kMarksWhileEncoding - 1));
    return true;
}
