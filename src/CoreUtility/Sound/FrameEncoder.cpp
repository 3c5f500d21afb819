#include "CoreUtility/Sound/FrameEncoder.h"

#include <algorithm>
#include <cstring>

#include <faac.h>

namespace ZKHAL {

namespace {

constexpr int kLookAhead = 3;  // frames
constexpr unsigned kAdts = 1;

}  // namespace

void FrameEncoder::Closer::operator()(void* encoder) const
{
    faacEncClose(encoder);
}

FrameEncoder::FrameEncoder(unsigned long sampleRate, unsigned channels, unsigned bitRate, unsigned quality)
{
    if (sampleRate == 0 || channels == 0) {
        return;
    }
    unsigned long inputSamples = 0, maxOutputBytes = 0;
    mEncoder.reset(faacEncOpen(sampleRate, channels, &inputSamples, &maxOutputBytes));
    if (mEncoder == nullptr) {
        return;
    }
    faacEncConfigurationPtr configuration = faacEncGetCurrentConfiguration(mEncoder.get());
    configuration->mpegVersion = MPEG2;
    configuration->aacObjectType = LOW;
    configuration->allowMidside = 0;
    configuration->useTns = 0;
    configuration->shortctl = SHORTCTL_NOLONG;
    configuration->bitRate = bitRate / channels;  // its own default would switch to rate control
    configuration->bandWidth = 0;                 // from the quality
    if (quality > 0) {
        configuration->quantqual = quality;
    }
    configuration->outputFormat = kAdts;
    configuration->inputFormat = FAAC_INPUT_16BIT;
    if (faacEncSetConfiguration(mEncoder.get(), configuration) == 0 || inputSamples == 0 || maxOutputBytes == 0) {
        mEncoder.reset();
        return;
    }
    mBlock = inputSamples;
    mFrame.resize(maxOutputBytes);
}

void FrameEncoder::run(const int16_t* samples, size_t count, const Sink& sink)
{
    if (mEncoder == nullptr) {
        return;
    }
    const size_t frames = (count + mBlock - 1) / mBlock;
    std::vector<int32_t> input(mBlock / 2 + 1);  // libfaac's type for any input
    size_t at = 0;
    int empty = 0;
    for (size_t taken = 0; taken < frames;) {
        const size_t length = std::min(count - at, mBlock);
        if (length > 0) {
            std::memcpy(input.data(), samples + at, length * sizeof(int16_t));
        }
        at += length;
        const int bytes = faacEncEncode(mEncoder.get(), input.data(), static_cast<unsigned>(length), mFrame.data(),
                                        static_cast<unsigned>(mFrame.size()));
        if (bytes < 0 || (bytes == 0 && ++empty > kLookAhead)) {
            return;
        }
        if (bytes > 0) {
            ++taken;
            if (!sink(mFrame.data(), static_cast<size_t>(bytes))) {
                return;
            }
        }
    }
}

}  // namespace ZKHAL
