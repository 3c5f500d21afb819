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
// packets of a report carry one number, either may be lost, and the second may come first. It makes the reports that a
// session makes.
class CaptureReader {
public:
    // The reports that this line makes whole, none to two. False, with the reason, for a line that is neither.
    bool read(const std::string& line, std::vector<CaptureLine>& reports, std::string& problem);
    // The packet whose other half never came, at the end of all lines.
    void finish(std::vector<CaptureLine>& reports);

private:
    CaptureLine mFirst, mSecond;  // bytes are empty when there is none
};

}  // namespace zkhal
