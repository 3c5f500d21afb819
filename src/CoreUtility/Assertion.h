// Fatal assertions. They hold in every build: a robot must not move on data that broke an invariant.
#pragma once

namespace ZKHAL {

// Flushes stdout and stderr, prints the condition on stderr, calls the installed handler, then aborts.
[[noreturn]] void assertionFailed(const char* condition, const char* function, const char* file, int line);

}  // namespace ZKHAL

// The text that is printed is the expression as written at the call site.
#define ZK_ASSERT(condition) \
    ((condition) ? static_cast<void>(0) : ::ZKHAL::assertionFailed(#condition, __func__, __FILE__, __LINE__))
