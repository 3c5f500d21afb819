// The seam behind which both clocks stand. Everything that needs the time reads it here.
#pragma once

#include <cstdint>

namespace ZKHAL {

struct WallTime {
    int64_t seconds;       // since 1970
    int32_t microseconds;  // 0 to 999999
};

WallTime wallTime();
uint64_t monotonicNanoseconds();

}  // namespace ZKHAL
