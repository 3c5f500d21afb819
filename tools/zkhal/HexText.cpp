#include "HexText.h"

#include "Simulator/CommandReader.h"
#include "ZKHAL/Utilities.h"

namespace zkhal {

namespace {

int digitValue(char c)
{
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

}  // namespace

std::string hexText(const uint8_t* bytes, size_t length)
{
    std::string text;
    for (size_t i = 0; i < length; ++i) {
        char digits[3];
        ZKHexStringFromBytes(bytes + i, 1, digits);
        text += i == 0 ? "" : " ";
        text += digits;
    }
    return text;
}

std::string counted(size_t count, const std::string& noun)
{
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

bool readHex(const std::string& text, std::vector<uint8_t>& bytes, std::string& problem)
{
    int high = -1;
    for (const char c : text) {
        if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
            if (high >= 0) {
                break;
            }
            continue;
        }
        const int digit = digitValue(c);
        if (digit < 0) {
            const auto byte = static_cast<uint8_t>(c);
            problem = (byte > 0x20 && byte < 0x7F ? std::string("'") + c + "'" : "byte " + hexText(&byte, 1)) +
                      " is no hex digit";
            return false;
        }
        if (high < 0) {
            high = digit;
        } else {
            bytes.push_back(static_cast<uint8_t>(high << 4 | digit));
            high = -1;
        }
    }
    if (high >= 0) {
        problem = "a byte has two hex digits";
        return false;
    }
    return true;
}

std::string packetInWords(const uint8_t* bytes, size_t length, bool& complete)
{
    const Simulator::PacketReading reading = Simulator::readCommands(bytes, length);
    std::string lines;
    for (const Simulator::RobotCommand& command : reading.commands) {
        lines += "    " + command.inWords() + '\n';
    }
    complete = reading.problem.empty();
    if (!complete) {
        lines += "    unread: " + hexText(bytes + reading.problemAt, length - reading.problemAt) + " (" +
                 reading.problem + ")\n";
    }
    return lines;
}

}  // namespace zkhal
