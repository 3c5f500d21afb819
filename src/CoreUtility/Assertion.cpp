#include "CoreUtility/Assertion.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "ZKHAL/Diagnostics.h"

namespace {

std::atomic<ZKAssertionHandler> gHandler{nullptr};

}  // namespace

void ZKSetAssertionHandler(ZKAssertionHandler handler)
{
    gHandler = handler;
}

void ZKHAL::assertionFailed(const char* condition, const char* function, const char* file, int line)
{
    std::fflush(stdout);
    std::fflush(stderr);
    std::fprintf(stderr, "Assertion failed: (%s), function %s, file %s, line %d.\n", condition, function, file, line);
    std::fflush(stderr);
    if (ZKAssertionHandler handler = gHandler) {
        handler(condition, function, file, line);
    }
    std::abort();
}
