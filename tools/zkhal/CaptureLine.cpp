#include "CaptureLine.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <utility>

#include "CoreUtility/FormatText.h"
#include "HexText.h"
#include "ZKHAL/ZKHAL.h"

namespace zkhal {

namespace {

constexpr char kBlanks[] = " \t\r\n";
constexpr char kHexDigits[] = "0123456789abcdefABCDEF";
constexpr char kFirstPackets[] = "AF230003", kSecondPackets[] = "AF230006";  // characteristics
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

// "T KIND REST" of a session's recording; KIND is one of * < >.
struct SessionLine {
    double seconds;
    char kind;
    std::string rest;
};

bool readSessionLine(const std::string& line, SessionLine& out)
{
    const size_t begin = std::min(line.find_first_not_of(kBlanks), line.size());
    const size_t end = endOfToken(line, begin);
    const size_t kind = line.find_first_not_of(kBlanks, end);
    if (kind == std::string::npos || std::string("*<>").find(line[kind]) == std::string::npos ||
        endOfToken(line, kind) != kind + 1) {
        return false;
    }
    out.kind = line[kind];
    out.rest = line.substr(std::min(line.find_first_not_of(kBlanks, kind + 1), line.size()));
    return readNumber(line.substr(begin, end - begin), out.seconds) && out.seconds >= 0 && out.seconds < kMostSeconds;
}

unsigned numberOf(const CaptureLine& packet)
{
    return packet.bytes[0] >> 4u;
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

bool CaptureReader::read(const std::string& line, std::vector<CaptureLine>& reports, std::string& problem)
{
    reports.clear();
    SessionLine session;
    if (!readSessionLine(line, session)) {
        reports.resize(1);
        const bool isReport = readCaptureLine(line, reports[0], problem);
        reports.resize(isReport ? 1 : 0);
        return isReport;
    }
    if (session.kind == '*' && session.rest.compare(0, 4, "lost") == 0) {
        finish(reports);
        return true;
    }
    const bool isFirst = session.rest.compare(0, std::size(kFirstPackets) - 1, kFirstPackets) == 0;
    const bool isSecond = session.rest.compare(0, std::size(kSecondPackets) - 1, kSecondPackets) == 0;
    if (session.kind != '<' || (!isFirst && !isSecond)) {
        return true;  // written, from the shell, or about the connection
    }
    CaptureLine packet;
    if (!readPackets(session.rest.substr(endOfToken(session.rest, 0)), packet.bytes, problem)) {
        return false;
    }
    if (packet.bytes.size() != HAL_PACKET_SIZE) {
        problem = "a sensor packet has 20 bytes, not " + counted(packet.bytes.size(), "byte");
        return false;
    }
    packet.hasTime = true;
    packet.seconds = session.seconds;
    const CaptureLine& other = isFirst ? mSecond : mFirst;
    const bool isPair = !other.bytes.empty() && numberOf(other) == numberOf(packet);
    if (isSecond && !isPair) {
        mSecond = packet;
        return true;
    }
    CaptureLine first = isFirst ? packet : mFirst;
    if (isFirst && !mFirst.bytes.empty() && (isPair || numberOf(mFirst) != numberOf(packet))) {
        reports.push_back(mFirst);  // whose second packet never came
    }
    if (isPair) {
        const std::vector<uint8_t>& second = isFirst ? mSecond.bytes : packet.bytes;
        first.bytes.insert(first.bytes.end(), second.begin(), second.end());
        reports.push_back(first);
        first.bytes.clear();
    }
    mFirst = first;
    mSecond.bytes.clear();
    for (CaptureLine& report : reports) {
        report.seconds = session.seconds;  // when it is known to be all there is
    }
    return true;
}

void CaptureReader::finish(std::vector<CaptureLine>& reports)
{
    reports.clear();
    if (!mFirst.bytes.empty()) {
        reports.push_back(std::move(mFirst));
    }
    mFirst.bytes.clear();
}

}  // namespace zkhal
