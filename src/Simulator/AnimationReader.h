// The robot's side of animation files: bytes back into frames.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "ZKHAL/HALPacket.h"

namespace Simulator {

struct AnimationFrame {
    std::vector<HALPacket_t> packets;
    unsigned wait_ms = 0;  // before the next frame
};

struct AnimationReading {
    std::vector<AnimationFrame> frames;
    std::string problem;  // why reading stopped before the end, "" if it did not
    size_t problemAt = 0;
};

// Any bytes. What was read before a problem stays, packets without a wait behind them as a last frame.
AnimationReading readAnimation(const uint8_t* data, size_t size);

}  // namespace Simulator
