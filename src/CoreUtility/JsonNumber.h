// Numbers as the JSON reader takes them: the C library's conversions, without its locale.
#pragma once

#include <cstdint>

namespace ZKHAL {

struct JsonNumber {
    const char* end;   // after the number; null when there is none
    bool isReal;       // a point, "e" or "E" followed the integer
    int64_t integer;   // as strtoll with base 0 reads it, saturated
    double real;       // as strtod reads it; an integer converted
};

// text begins with a minus sign or a digit and is NUL-terminated.
JsonNumber readJsonNumber(const char* text);

}  // namespace ZKHAL
