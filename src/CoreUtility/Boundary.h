// Nothing throws through a C function. What can be thrown inside is the lack of memory, and what a host's C++ sink
// throws.
#pragma once

#include <exception>

#include "CoreUtility/Messages.h"

namespace ZKHAL {

// Runs body; a caught exception is reported on stderr and gives `fallback`.
template <class Result, class Body>
Result guarded(const char* function, Result fallback, Body body) noexcept
{
    try {
        return body();
    } catch (const std::exception& problem) {
        try {
            printErr("error: %s: %s\n", function, problem.what());
        } catch (...) {  // no memory for the message either
        }
    } catch (...) {
    }
    return fallback;
}

template <class Body>
void guarded(const char* function, Body body) noexcept
{
    guarded(function, 0, [&] {
        body();
        return 0;
    });
}

}  // namespace ZKHAL
