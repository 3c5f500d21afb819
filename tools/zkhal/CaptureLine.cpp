#include "CaptureLine.h"

#include <algorithm>
#include <charconv>

#include "CoreUtility/FormatText.h"
#include "HexText.h"
#include "ZKHAL/ZKHAL.h"

namespace zkhal {

namespace {

constexpr char kBlanks[] = " \t\r\n";
constexpr char kHexDigits[] = "0123456789abcdefABCDEF";
constexpr double kMostSeconds = 1e9;  // microseconds are counted from there in 64 bits

bool isReportSize(size_t bytes)
{
    return bytes == HAL_PACKET_SIZE || bytes == 2 * HAL_PACKET_SIZE;
}

size_t endOfToken(const std::string& text, size_t begin)
{
    return std::min(text.find_first_of(kBlanks, begin), text.size());
}

bool isReport(std::string text)
{
    text.erase(std::remove_if(text.begin(), text.end(),
                              [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }),
               text.end());
    return text.size() % 2 == 0 && isReportSize(text.size() / 2) &&
           text.find_first_not_of(kHexDigits) == std::string::npos;
}

bool readNumber(const std::string& text, double& number)
{
    const char* const textEnd = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), textEnd, number);
    return error == std::errc() && end == textEnd;
}

bool readPackets(const std::string& text, std::vector<uint8_t>& bytes, std::string& problem)
{
    if (!readHex(text, bytes, problem)) {
        return false;
    }
    if (!isReportSize(bytes.size())) {
        problem = "a report is one or two packets of 20 bytes, not " + counted(bytes.size(), "byte");
        return false;
    }
    return true;
}

}  // namespace

bool readCaptureLine(const std::string& line, CaptureLine& capture, std::string& problem)
{
    capture = CaptureLine();
    const size_t begin = std::min(line.find_first_not_of(kBlanks), line.size());
    const std::string first = line.substr(begin, endOfToken(line, begin) - begin);
    const std::string rest = line.substr(begin + first.size());
    const size_t next = std::min(rest.find_first_not_of(kBlanks), rest.size());
    const size_t nextSize = endOfToken(rest, next) - next;
    const bool isTime = readNumber(first, capture.seconds) && capture.seconds >= 0 && capture.seconds < kMostSeconds;

    // A short number before a long run of digits is a time, although it may fill up a run that is cut off.
    constexpr size_t kRun = 8;
    const bool isOdd = isTime && first.size() < kRun && nextSize >= kRun;
    if (isReport(line) && !isOdd) {
        return readPackets(line, capture.bytes, problem);
    }
    const bool isBeforeReport = isReport(rest);
    if (isBeforeReport && !isTime) {
        problem = "\"" + ZKHAL::printable(first) + "\" is no time: seconds from 0 up, below 1000000000";
        return false;
    }
    // Without a report behind it, a number is a time if it does not look like the bytes beside it.
    const bool isLikeNext = first.size() == nextSize && first.find_first_not_of(kHexDigits) == std::string::npos;
    capture.hasTime = isBeforeReport || (isTime && nextSize > 0 && !isLikeNext);
    return readPackets(capture.hasTime ? rest : line, capture.bytes, problem);
}

}  // namespace zkhal
