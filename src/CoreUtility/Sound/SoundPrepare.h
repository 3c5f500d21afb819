// The part of the sound pipeline before the encoder.
#pragma once

#include <cstdint>
#include <vector>

// The samples of ZKSoundProcess() before they are encoded. False when the rates cannot be converted.
bool ZKSoundPrepare(const std::vector<int16_t>& dataIn, std::vector<int16_t>& prepared, uint16_t fromRate,
                    uint16_t toRate, uint8_t numChannels);
