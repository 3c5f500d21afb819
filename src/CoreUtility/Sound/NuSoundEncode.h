// The robot's sound file: a header of nine bytes, then AAC in ADTS frames.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "ZKHAL/ZKExport.h"

// The header. While the stream is made it is three bytes longer.
constexpr uint8_t kSoundTag[] = {0x2F, 0x00};
constexpr size_t kSoundRateAt = 2;    // 2 bytes, low byte first
constexpr size_t kSoundLengthAt = 4;  // 4 bytes, low byte first: of the stream
constexpr size_t kSoundMarkAt = 8;    // FF
constexpr size_t kSoundHeader = 9;

/** How far an encoding has come, from 0 to 1, and with which quality it ended. */
struct SoundEncodeReport {
    std::function<void(double part)> progress;
    int16_t quality = 0;
};

/**
 * Appends a sound file to out, which normally is empty: the places of the header count from its begin in any case.
 * samples         mono
 * sampleRate      written into the header, Hz; the stream itself says 8000
 * bitsPerSample   the stream is made as good as fits into about so many
 * Always true; an encoder that cannot be opened makes a file with an empty stream.
 */
ZK_API bool NuSoundEncode(const std::vector<int16_t>& samples, std::vector<unsigned char>& out, uint16_t sampleRate,
                          float bitsPerSample);
ZK_API bool NuSoundEncode(const std::vector<int16_t>& samples, std::vector<unsigned char>& out, uint16_t sampleRate,
                          float bitsPerSample, SoundEncodeReport& report);

/**
 * Appends the stream of the best quality, 1 to 511, that fits (sampleCount - 700) / sampleRate * targetBitRate / 8
 * bytes, by bisection in nine rounds. Returns its size.
 */
ZK_API int Subband_EncodeByBitRate(uint16_t targetBitRate, const int16_t* samples, int16_t sampleRate, uint8_t channels,
                                   uint32_t sampleCount, std::vector<unsigned char>& out, int16_t& chosenQuality);

/**
 * One run of the encoder. bitRate 0: quality decides; out may be null to count only. Returns the size of the stream, 0
 * for an encoder that cannot be opened.
 */
ZK_API int Subband_Encode(uint16_t bitRate, uint16_t quality, const int16_t* samples, int16_t sampleRate,
                          uint8_t channels, uint32_t sampleCount, std::vector<unsigned char>* out);
