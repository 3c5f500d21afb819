// Lines of a capture: reports with a time before them or without, or all that crossed the air in a session.
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

// Reads lines of both kinds. A session's recording has a line for each packet, such as `1.033333 < AF230003 HEX`; both
// packets of a report carry one number, and either may be lost.
class CaptureReader {
public:
    enum class Line { Report, Nothing, Bad };

    // The report that this line makes whole, if it does.
    Line read(const std::string& line, CaptureLine& report, std::string& problem);
    // The packet whose other half never came, at the end of all lines.
    Line finish(CaptureLine& report);

private:
    CaptureLine mFirst;  // bytes are empty when there is none
};

}  // namespace zkhal
