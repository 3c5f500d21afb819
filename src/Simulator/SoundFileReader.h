// The robot's side of sound files: their header and their frames.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Simulator {

struct SoundFileReading {
    unsigned rate = 0;           // of the header, Hz
    unsigned adtsRate = 0;       // of the first frame, Hz
    size_t streamLength = 0;     // as the header says
    std::vector<size_t> frames;  // the size of each whole frame, with its ADTS header
    std::vector<std::string> problems;

    double seconds() const;
};

// Any bytes.
SoundFileReading readSoundFile(const uint8_t* data, size_t size);

}  // namespace Simulator
