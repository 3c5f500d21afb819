#include "Simulator/SoundFileReader.h"

#include "CoreUtility/Sound/NuSoundEncode.h"
#include "CoreUtility/Sound/ZKSound.h"

namespace Simulator {

namespace {

std::string countedBytes(size_t count)
{
    return std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

constexpr uint8_t kMark = 0xFF;

constexpr size_t kAdtsHeader = 7;
constexpr double kFrameSamples = 1024;
constexpr unsigned kAdtsRates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                   22050, 16000, 12000, 11025, 8000,  7350};
constexpr size_t kAdtsRateCount = sizeof kAdtsRates / sizeof kAdtsRates[0];

}  // namespace

double SoundFileReading::seconds() const
{
    return rate > 0 ? static_cast<double>(frames.size()) * kFrameSamples / rate : 0;
}

SoundFileReading readSoundFile(const uint8_t* data, size_t size)
{
    SoundFileReading reading;
    const auto problem = [&](const std::string& words) { reading.problems.push_back(words); };
    if (size < kSoundHeader) {
        problem("it has " + countedBytes(size) + ", less than a header");
        return reading;
    }
    if (data[0] != kSoundTag[0] || data[1] != kSoundTag[1]) {
        problem("it does not begin with 2F 00");
    }
    reading.rate = data[kSoundRateAt] | static_cast<unsigned>(data[kSoundRateAt + 1]) << 8;
    if (reading.rate != kRobotSoundRate) {
        problem("its header says " + std::to_string(reading.rate) + " Hz, robots expect " +
                std::to_string(kRobotSoundRate));
    }
    for (size_t i = 0; i < 4; ++i) {
        reading.streamLength |= static_cast<size_t>(data[kSoundLengthAt + i]) << 8 * i;
    }
    if (reading.streamLength != size - kSoundHeader) {
        problem("its header tells of " + countedBytes(reading.streamLength) + " behind it, there are " +
                std::to_string(size - kSoundHeader));
    }
    if (data[kSoundMarkAt] != kMark) {
        problem("byte 8 is not FF");
    }
    bool isStrange = false;
    for (size_t at = kSoundHeader; at < size;) {
        const size_t left = size - at;
        const uint8_t* const frame = data + at;
        const std::string place =
            "frame " + std::to_string(reading.frames.size() + 1) + ", at byte " + std::to_string(at) + ", ";
        if (left < kAdtsHeader) {
            problem(place + "is cut off");
            break;
        }
        // Twelve bits of sync; the rate in bits 2 to 5 of byte 2; the length in 13 bits over bytes 3 to 5.
        if (frame[0] != 0xFF || (frame[1] & 0xF6) != 0xF0) {
            problem(place + "does not begin with an ADTS sync word");
            break;
        }
        const size_t length = static_cast<size_t>(frame[3] & 3) << 11 | static_cast<size_t>(frame[4]) << 3 |
                              static_cast<size_t>(frame[5]) >> 5;
        if (length < kAdtsHeader || length > left) {
            problem(place + (length < kAdtsHeader ? "has an impossible length" : "is cut off"));
            break;
        }
        const size_t rate = frame[2] >> 2 & 0x0F;
        if (reading.frames.empty() && rate < kAdtsRateCount) {
            reading.adtsRate = kAdtsRates[rate];
        }
        // MPEG-2 without a checksum, low complexity, 8000 Hz, one channel.
        const bool isOfRobots = (frame[1] & 0x0F) == 0x09 && frame[2] == 0x6C && (frame[3] & 0xC0) == 0x40;
        if (!isOfRobots && (reading.frames.empty() || !isStrange)) {
            problem(place + "is not of the robots' kind: MPEG-2, low complexity, 8000 Hz, one channel");
            isStrange = true;
        }
        reading.frames.push_back(length);
        at += length;
    }
    if (reading.frames.empty()) {
        problem("it has no frames");
    }
    return reading;
}

}  // namespace Simulator
