#include "Simulator/RobotShell.h"

#include <algorithm>
#include <utility>

#include "HAL/MessagePacketizers/ShellFrame.h"

namespace Simulator {

namespace {

constexpr size_t kLongestLine = 512;
constexpr char kAddress[] = "A ";  // before each framed command
constexpr char kFramedEnd = 0x03, kPlainEnd = '\n';
constexpr char kStart = '>';  // before the text of a framed answer

}  // namespace

std::vector<std::string> RobotShell::hear(const uint8_t* data, size_t length)
{
    std::vector<std::string> lines;
    size_t at = 0;
    if (mIsFramed) {
        if (length == 0 || data[0] != HAL::shellHeader(HAL::kShellDefaultAddress, true)) {
            ++mTextLost;
            return lines;
        }
        at = HAL::kShellHeaderBytes;
    }
    for (; at < length; ++at) {
        if (data[at] != '\n') {
            mLineIsTooLong = mLineIsTooLong || mLine.size() >= kLongestLine;
            if (!mLineIsTooLong) {
                mLine += static_cast<char>(data[at]);
            }
            continue;
        }
        if (mLineIsTooLong) {
            ++mTextLost;
        } else {
            const bool isAddressed = mIsFramed && mLine.compare(0, sizeof kAddress - 1, kAddress) == 0;
            lines.push_back(mLine.substr(isAddressed ? sizeof kAddress - 1 : 0));
        }
        forgetLine();
    }
    return lines;
}

void RobotShell::forgetLine()
{
    mLine.clear();
    mLineIsTooLong = false;
}

std::vector<std::string> RobotShell::packetsOf(const std::string& answer) const
{
    const char end = mIsFramed ? kFramedEnd : kPlainEnd;
    std::string text = mIsFramed ? kStart + answer : answer;
    std::replace(text.begin(), text.end(), end, '?');
    text += end;
    std::vector<HALPacket_t> packets;
    const auto header = mIsFramed ? std::optional(HAL::shellHeader(HAL::kShellDefaultAddress, true)) : std::nullopt;
    HAL::appendShellPackets(packets, header, text.data(), text.size());
    std::vector<std::string> notifications;
    for (const HALPacket_t& packet : packets) {
        notifications.emplace_back(reinterpret_cast<const char*>(packet.data), packet.length);
    }
    return notifications;
}

void RobotShell::setAnswer(const std::string& command, std::optional<std::string> answer)
{
    mAnswers[command] = std::move(answer);
}

const std::optional<std::string>* RobotShell::ownAnswer(const std::string& command) const
{
    const auto found = mAnswers.find(command);
    return found != mAnswers.end() ? &found->second : nullptr;
}

}  // namespace Simulator
