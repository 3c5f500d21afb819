// Random numbers that are the same on every machine.
#pragma once

#include <cstdint>

namespace Simulator {

class SeededRandom {
public:
    explicit SeededRandom(uint64_t seed) : mState(seed) {}

    // The SplitMix64 generator of Steele, Lea and Flood.
    uint64_t next()
    {
        mState += 0x9E3779B97F4A7C15u;
        uint64_t z = mState;
        z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9u;
        z = (z ^ z >> 27) * 0x94D049BB133111EBu;
        return z ^ z >> 31;
    }
    // 0 to limit - 1; limit is above 0.
    uint64_t below(uint64_t limit)
    {
        return next() % limit;
    }
    // -spread to spread.
    int noise(int spread)
    {
        return static_cast<int>(below(2 * static_cast<uint64_t>(spread) + 1)) - spread;
    }
    // 0 inclusive to 1 exclusive.
    double unit()
    {
        return static_cast<double>(next() >> 11) / 9007199254740992.0;
    }

private:
    uint64_t mState;
};

}  // namespace Simulator
