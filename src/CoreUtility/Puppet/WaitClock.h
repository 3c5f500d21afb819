// The waits of an animation.
#pragma once

#include <cstdint>

namespace ZKAnimConvert {

// Whole milliseconds, with what was cut off carried on, so that the file does not drift against the document. Single
// precision.
class WaitClock {
public:
    // The wait of a frame that lasts so many seconds; false when it is too long to be written.
    bool add(float seconds, int64_t& wait);

private:
    float mAccumulatedMs = 0;
    int64_t mEmittedMs = 0;
};

}  // namespace ZKAnimConvert
