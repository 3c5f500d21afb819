// One ADTS frame for every block of samples.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace ZKHAL {

/**
 * An AAC encoder of the robot's kind: MPEG-2, low complexity, short blocks only, ADTS. libfaac looks ahead: it
 * withholds its first three frames, and gives them when it is flushed. With short blocks alone a frame depends on
 * nothing behind its block, so these are the very frames that an encoder without look-ahead would give.
 */
class FrameEncoder {
public:
    /** bitRate 0: quality decides. What libfaac refuses gives an encoder without frames. */
    FrameEncoder(unsigned long sampleRate, unsigned channels, unsigned bitRate, unsigned quality);

    /** Takes each frame; false ends the run. */
    using Sink = std::function<bool(const uint8_t* frame, size_t size)>;

    /** Encodes count samples from the first block on; once for each object. */
    void run(const int16_t* samples, size_t count, const Sink& sink);

private:
    struct Closer {
        void operator()(void* encoder) const;
    };
    std::unique_ptr<void, Closer> mEncoder;
    size_t mBlock = 0;  // samples
    std::vector<uint8_t> mFrame;
};

}  // namespace ZKHAL
