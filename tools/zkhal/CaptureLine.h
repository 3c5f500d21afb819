// A line of a capture: a report, and perhaps a time before it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zkhal {

struct CaptureLine {
    bool hasTime = false;
    double seconds = 0;
    std::vector<uint8_t> bytes;  // one or two packets of 20
};

// 40 or 80 hex digits, blanks left out, are the report; a number before them is its time. False, with the reason, for
// anything else.
bool readCaptureLine(const std::string& line, CaptureLine& capture, std::string& problem);

}  // namespace zkhal
