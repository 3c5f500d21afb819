// The seam behind which both clocks stand. Everything that needs the time reads it here.
#pragma once

#include <cstdint>

#include "CoreUtility/WallTime.h"

namespace ZKHAL {

WallTime wallTime();
uint64_t monotonicNanoseconds();

}  // namespace ZKHAL
