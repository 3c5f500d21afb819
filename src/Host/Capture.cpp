#include "Host/Capture.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "ZKHAL/HALPacket.h"
#include "ZKHAL/Utilities.h"

namespace Host {

namespace {

constexpr char kBlanks[] = " \t\r";
constexpr char kUuidRest[] = "-879D-6186-1F49-DECA0E85D9C1";
constexpr char kSensor1[] = "AF230003", kSensor2[] = "AF230006";
constexpr size_t kPrefix = 8;  // digits of a UUID
constexpr double kReportSeconds = 1.0 / 30;
constexpr double kLatest = 1e9;

int digitValue(char c)
{
    return c >= '0' && c <= '9'   ? c - '0'
           : c >= 'a' && c <= 'f' ? c - 'a' + 10
           : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                  : -1;
}

bool readHex(const std::string& text, std::vector<uint8_t>& bytes)
{
    bytes.clear();
    int high = -1;
    for (const char c : text) {
        if (std::strchr(kBlanks, c) != nullptr) {
            continue;
        }
        const int digit = digitValue(c);
        if (digit < 0) {
            return false;
        }
        if (high < 0) {
            high = digit;
        } else {
            bytes.push_back(static_cast<uint8_t>(high << 4 | digit));
            high = -1;
        }
    }
    return high < 0;
}

std::string hexOf(const uint8_t* data, size_t length)
{
    std::string text(2 * length + 1, '\0');
    ZKHexStringFromBytes(data, length, text.data());
    text.pop_back();
    return text;
}

// A decimal without an exponent, as captures have them; -1 for anything else.
double readTime(const std::string& text)
{
    double value = 0, scale = 0;
    bool hasDigit = false;
    for (const char c : text) {
        if (c == '.' && scale == 0) {
            scale = 1;
        } else if (c >= '0' && c <= '9') {
            hasDigit = true;
            value = value * 10 + (c - '0');
            scale *= 10;
        } else {
            return -1;
        }
        if (value > 1e18) {
            return -1;
        }
    }
    value = scale > 1 ? value / scale : value;
    return hasDigit && value < kLatest ? value : -1;
}

// The next word of a line, which is taken off it.
std::string takeWord(std::string& line)
{
    const size_t begin = std::min(line.find_first_not_of(kBlanks), line.size());
    const size_t end = std::min(line.find_first_of(kBlanks, begin), line.size());
    const std::string word = line.substr(begin, end - begin);
    line.erase(0, std::min(line.find_first_not_of(kBlanks, end), line.size()));
    return word;
}

std::string withoutControls(std::string text)
{
    for (char& c : text) {
        const auto byte = static_cast<unsigned char>(c);
        c = byte < 0x20 || byte == 0x7F ? '?' : c;
    }
    return text;
}

class Reader {
public:
    // What is wrong with the line; null if nothing.
    const char* read(std::string line)
    {
        std::string rest = line;
        const std::string first = takeWord(rest);
        std::string afterSign = rest;
        const std::string sign = takeWord(afterSign);
        const double time = readTime(first);
        if (sign == "<" || sign == ">" || sign == "*") {
            if (time < 0) {
                return "a line begins with its time in seconds";
            }
            if (!events.empty() && time < events.back().seconds) {
                return "time runs backwards";
            }
            return sign == "*" ? readEvent(time, afterSign) : readPacket(time, sign == "<", afterSign);
        }
        return readReport(line, time, rest);
    }

    std::vector<CaptureEvent> events;

private:
    const char* readPacket(double time, bool isNotified, std::string& rest)
    {
        const std::string prefix = takeWord(rest);
        std::vector<uint8_t> bytes;
        if (!readHex(prefix, bytes) || prefix.size() != kPrefix) {
            return "the eight digits are missing that the characteristic begins with";
        }
        if (!readHex(rest, bytes)) {
            return "its bytes are no pairs of hex digits";
        }
        add(time, isNotified ? CaptureKind::Notified : CaptureKind::Written, prefix, bytes);
        return nullptr;
    }

    const char* readEvent(double time, std::string& rest)
    {
        const std::string what = takeWord(rest);
        if (what == "connected") {
            events.push_back({time, CaptureKind::Connected, "", {}, ""});
            return nullptr;
        }
        if (what == "lost") {
            events.push_back({time, CaptureKind::Lost, "", {}, withoutControls(rest)});
            return nullptr;
        }
        std::vector<uint8_t> bytes;
        const size_t quote = rest.find('"'), end = rest.rfind('"');
        if (what != "advertisement" || !readHex(rest.substr(0, quote), bytes) || quote == end) {
            return "it is no advertisement, \"connected\" or \"lost\"";
        }
        events.push_back({time, CaptureKind::Advertisement, "", bytes, rest.substr(quote + 1, end - quote - 1)});
        return nullptr;
    }

    // 40 or 80 digits, with a time before them or without.
    const char* readReport(const std::string& line, double time, const std::string& rest)
    {
        const auto isReport = [](const std::vector<uint8_t>& bytes) {
            return bytes.size() == HAL_PACKET_SIZE || bytes.size() == 2 * HAL_PACKET_SIZE;
        };
        std::vector<uint8_t> bytes;
        if (!readHex(line, bytes) || !isReport(bytes)) {
            if (time < 0 || !readHex(rest, bytes) || !isReport(bytes)) {
                return "it is no report of 40 or 80 hex digits, and no line of a capture";
            }
            mNext = time;
        }
        if (!events.empty() && mNext < events.back().seconds) {
            return "time runs backwards";
        }
        for (size_t at = 0; at < bytes.size(); at += HAL_PACKET_SIZE) {
            const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(at);
            add(mNext, CaptureKind::Notified, at == 0 ? kSensor1 : kSensor2, {begin, begin + HAL_PACKET_SIZE});
        }
        mNext += kReportSeconds;
        return nullptr;
    }

    void add(double time, CaptureKind kind, const std::string& prefix, std::vector<uint8_t> bytes)
    {
        events.push_back({time, kind, canonicalUuid(prefix + kUuidRest), std::move(bytes), ""});
    }

    double mNext = 0;
};

}  // namespace

std::vector<CaptureEvent> readCapture(const std::string& text, std::string& error)
{
    error.clear();
    Reader reader;
    size_t number = 1;
    constexpr char kByteOrderMark[] = "\xEF\xBB\xBF";
    for (size_t begin = text.compare(0, 3, kByteOrderMark) == 0 ? 3 : 0; begin < text.size() && error.empty();
         ++number) {
        const size_t end = std::min(text.find('\n', begin), text.size());
        const std::string line = text.substr(begin, end - begin);
        begin = end + 1;
        if (line.find_first_not_of(kBlanks) == std::string::npos || line[0] == '#') {
            continue;
        }
        if (const char* problem = reader.read(line)) {
            error = std::to_string(number) + ": " + problem;
        }
    }
    return std::move(reader.events);
}

std::string captureLine(double seconds, CaptureKind kind, const char* channel, const uint8_t* data, size_t length,
                        const std::string& text)
{
    const auto micro = static_cast<int64_t>(std::llround(seconds * 1e6));
    std::string fraction = std::to_string(micro % 1000000);
    fraction.insert(0, 6 - fraction.size(), '0');
    std::string line = std::to_string(micro / 1000000) + '.' + fraction;
    switch (kind) {
        case CaptureKind::Advertisement:
            line += " * advertisement " + hexOf(data, length) + " \"" + withoutControls(text) + '"';
            break;
        case CaptureKind::Connected:
            line += " * connected";
            break;
        case CaptureKind::Notified:
        case CaptureKind::Written:
            line += (kind == CaptureKind::Notified ? " < " : " > ") + std::string(channel, kPrefix) + ' ' +
                    hexOf(data, length);
            break;
        case CaptureKind::Lost:
            line += " * lost " + withoutControls(text);
            break;
    }
    return line + '\n';
}

}  // namespace Host
