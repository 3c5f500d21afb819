// How tests see that the process ends.
#pragma once

#include <gtest/gtest.h>

namespace support {

// In a fresh process; under an emulator, where no program can start itself, in a forked one.
inline void useSafeDeathTests()
{
#if defined(ZKHAL_EMULATED)
    ::testing::FLAGS_gtest_death_test_style = "fast";
#else
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
#endif
}

}  // namespace support
