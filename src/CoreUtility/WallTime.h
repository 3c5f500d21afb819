// A point of the wall clock's time.
#pragma once

#include <cstdint>

namespace ZKHAL {

struct WallTime {
    int64_t seconds;       // since 1970
    int32_t microseconds;  // 0 to 999999
};

}  // namespace ZKHAL
