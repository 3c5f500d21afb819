#include "CppEngine/RobotActionManagerShell.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <optional>
#include <utility>

#include "CoreUtility/Assertion.h"
#include "CoreUtility/Text.h"
#include "CppEngine/Channels.h"
#include "CppEngine/EngineCall.h"
#include "HAL/MessagePacketizers/ShellFrame.h"
#include "ZKHAL/Engine.h"
#include "ZKHAL/ZKRobotType.h"

namespace Kestrel {

namespace {

constexpr char kFramedTerminator = 0x03, kPlainTerminator = '\n';
constexpr char kVersionCommand[] = "DUMP SND VER.EP1";
constexpr char kUnknownVersion[] = "1.0.0";

bool isFramed(const AdvertisementData& advertisement)
{
    return advertisement.robotType != ZK_ROBOT_RUSK;
}

bool endsLine(const std::string& text)
{
    return !text.empty() && text.back() == '\n';
}

// The first "digits_digits_digits" of a text, with dots. By hand: the robots' texts are longer than a recursive search
// has stack for.
std::optional<std::string> firstVersion(const std::string& text)
{
    const auto endOfDigits = [&](size_t at) {
        while (at < text.size() && ZKHAL::isDigit(text[at])) {
            ++at;
        }
        return at;
    };
    for (size_t at = 0; at < text.size(); ++at) {
        if (!ZKHAL::isDigit(text[at])) {
            continue;
        }
        const size_t begin = at;
        size_t end = at = endOfDigits(begin);
        int numbers = 1;
        while (numbers < 3 && end < text.size() && text[end] == '_' && endOfDigits(end + 1) > end + 1) {
            end = endOfDigits(end + 1);
            ++numbers;
        }
        if (numbers == 3) {
            std::string version = text.substr(begin, end - begin);
            for (char& c : version) {
                c = c == '_' ? '.' : c;
            }
            return version;
        }
    }
    return std::nullopt;
}

}  // namespace

// One call of the manager. When the last one returns, a manager that has been replaced meanwhile may be done.
class RobotActionManagerShell::Call {
public:
    explicit Call(RobotActionManagerShell& manager) : mManager(manager)
    {
        ++mManager.mCalls;
    }
    ~Call()
    {
        if (--mManager.mCalls == 0 && mManager.mRobot != nullptr) {
            mManager.mRobot->releaseIfReplaced(&mManager);
        }
    }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

private:
    EngineCall mEngineCall;
    RobotActionManagerShell& mManager;
};

RobotActionManagerShell::RobotActionManagerShell(ActionHost* robot) : RobotActionManagerAbstract(robot) {}

RobotActionManagerShell::~RobotActionManagerShell()
{
    _forgetTimeout();
}

void RobotActionManagerShell::enqueueCommand(const std::string* command, double timeoutSeconds,
                                             const AdvertisementData& advertisement)
{
    const Call call(*this);
    if (command == nullptr || command->empty()) {
        ZKLogW("attempt to enqueue null or empty shell command.");
        return;
    }
    mQueuedCommands.push_back(
        {*command, timeoutSeconds, std::numeric_limits<double>::quiet_NaN(), isFramed(advertisement)});
    _attemptToSendNextCommand();
}

unsigned RobotActionManagerShell::pendingCommandCount() const
{
    return static_cast<unsigned>(mQueuedCommands.size());
}

std::string RobotActionManagerShell::_getNormalizedQueuedCommand() const
{
    const Command_t& head = mQueuedCommands.front();
    std::string text = head.framed ? "A " : "";
    text += head.command;
    if (!endsLine(text)) {
        text += '\n';
    }
    return text;
}

void RobotActionManagerShell::_attemptToSendNextCommand()
{
    if (mIsSending) {
        return;  // the loop further down the stack sends it: answers that arrive inside of sending do not pile up there
    }
    struct Sending {
        explicit Sending(bool& isSending) : flag(isSending)
        {
            flag = true;
        }
        ~Sending()
        {
            flag = false;
        }
        Sending(const Sending&) = delete;
        Sending& operator=(const Sending&) = delete;
        bool& flag;
    };
    const Sending sending(mIsSending);
    while (mCurrentOutstandingCommand.empty() && !mQueuedCommands.empty()) {
        _sendHead();
    }
}

void RobotActionManagerShell::_sendHead()
{
    const bool framed = mQueuedCommands.front().framed;
    const double timeout = mQueuedCommands.front().timeout;
    mCurrentOutstandingCommand = _getNormalizedQueuedCommand();
    const uint64_t ticket = ++mTicket;
    const std::vector<HALPacket_t> packets = _createPacketsFromCurrentOutstandingCommand(framed);
    {
        const std::string name = mRobot->name(), text = mCurrentOutstandingCommand;
        ZKLogD("%s sending shell command %s", name.c_str(), text.c_str());
    }
    if (ticket != mTicket) {
        return;
    }
    ZK_ASSERT(this->mTimeoutTimerID == TimerManager::sInvalidTimerID);
    TimerManager* const timers = ZKGetTimerManager();
    const TimerID id = timers->newTimer(*this, timeout);
    if (ticket != mTicket) {
        timers->forgetTimer(id);
        return;
    }
    mTimeoutTimerID = id;
    mTimeoutManager = timers->lifetime();
    mTimeoutWillCome = id != TimerManager::sInvalidTimerID && std::isfinite(timeout);
    mQueuedCommands.front().sent = timers->getCurrentSecond();
    mSentTicket = ticket;
    mRobot->transmitPackets(&gChannelShellControl, &packets);
}

std::vector<HALPacket_t> RobotActionManagerShell::_createPacketsFromCurrentOutstandingCommand(bool framed) const
{
    const auto header = framed ? std::optional(HAL::shellHeader(HAL::kShellDefaultAddress, true)) : std::nullopt;
    std::vector<HALPacket_t> packets;
    HAL::appendShellPackets(packets, header, mCurrentOutstandingCommand.data(), mCurrentOutstandingCommand.size());
    return packets;
}

void RobotActionManagerShell::receivedData(const std::string*, const char* data, size_t length,
                                           const AdvertisementData& advertisement)
{
    const Call call(*this);
    if (mQueuedCommands.empty() || data == nullptr || length == 0) {
        return;
    }
    // Before the command at hand goes out, and while the host is being told its end, there is nothing to answer.
    if (mSentTicket != mTicket || mEndingTicket == mTicket) {
        return;
    }
    const bool framed = isFramed(advertisement);
    const bool isLast = _isLastResponsePacket(data, length, framed ? kFramedTerminator : kPlainTerminator);
    const uint64_t ticket = mTicket;
    _keepReceived(data, length);
    if (isLast && ticket == mTicket) {
        _completeOutstandingCommand(framed);
    }
}

bool RobotActionManagerShell::_isLastResponsePacket(const char* data, size_t length, char terminator)
{
    return std::memchr(data, terminator, length) != nullptr;
}

void RobotActionManagerShell::_keepReceived(const char* data, size_t length)
{
    const size_t room = kMaxAnswerBytes - mReceivedBytes.size();
    const size_t kept = mAnswerIsCut ? 0 : length < room ? length : room;
    if (kept > 0) {
        mReceivedBytes.append(data, kept);
        mReceivedEnds.push_back(static_cast<uint32_t>(mReceivedBytes.size()));
    }
    if (kept < length && !mAnswerIsCut) {
        mAnswerIsCut = true;
        const std::string command = mQueuedCommands.front().command;
        ZKLogW("answer to \"%s\" is longer than %d bytes, the rest is dropped.", command.c_str(),
               static_cast<int>(kMaxAnswerBytes));
    }
}

void RobotActionManagerShell::_completeOutstandingCommand(bool framed)
{
    const uint64_t ticket = mTicket;
    mEndingTicket = ticket;
    _cancelTimeout();
    if (ticket != mTicket) {
        return;
    }
    const std::string command = mQueuedCommands.front().command;
    std::string answer = _createResponseFromReceivedPackets(framed);
    _normalizeResponse(command, answer);
    ZK_ASSERT(_getNormalizedQueuedCommand().compare(this->mCurrentOutstandingCommand) == 0);
    const double dt = ZKGetTimerManager()->getCurrentSecond() - mQueuedCommands.front().sent;
    ZKLogD("ZKDidCompleteShellCommand. dt = %5.3f, calling from receive data for %s", dt, command.c_str());
    if (ticket == mTicket) {
        _end([&] { ZKDidCompleteShellCommand(mRobot->uuId(), command.c_str(), answer.c_str()); });
    }
}

std::string RobotActionManagerShell::_createResponseFromReceivedPackets(bool framed) const
{
    if (!framed) {
        return mReceivedBytes;
    }
    std::string answer;
    answer.reserve(mReceivedBytes.size());
    size_t packetBegin = 0;
    for (size_t i = 0; i < mReceivedEnds.size(); ++i) {
        // The first notification has one byte more before its text, the last its final byte behind it (unless that
        // was cut off): never a byte of an earlier one.
        const size_t begin = packetBegin + HAL::kShellHeaderBytes + (i == 0 ? 1 : 0);
        const bool isLast = i + 1 == mReceivedEnds.size() && !mAnswerIsCut;
        const size_t end = mReceivedEnds[i] - (isLast ? 1 : 0);
        if (begin < end) {
            answer.append(mReceivedBytes, begin, end - begin);
        }
        packetBegin = mReceivedEnds[i];
    }
    return answer;
}

void RobotActionManagerShell::_normalizeResponse(const std::string& command, std::string& answer)
{
    if (command == kVersionCommand) {
        answer = firstVersion(answer).value_or(kUnknownVersion);
    }
    if (endsLine(answer)) {
        answer.pop_back();
    }
}

void RobotActionManagerShell::onTimer(TimerID id)
{
    const Call call(*this);
    ZK_ASSERT(this->mQueuedCommands.size() > 0);
    if (mCurrentOutstandingCommand.empty()) {
        return;  // nothing is in flight yet that could time out
    }
    const uint64_t ticket = mTicket;
    const bool hasGoneOff = _hasGoneOff(id);  // before the line, whose callback may move time
    {
        const Command_t head = mQueuedCommands.front();
        ZKLogW("Timing out command. Cmd:\"%s\" dT:%.3fs Timeout:%.3fs", head.command.c_str(),
               ZKGetTimerManager()->getCurrentSecond() - head.sent, head.timeout);
    }
    if (ticket != mTicket || mEndingTicket == ticket) {
        return;
    }
    if (hasGoneOff) {
        _takeTimeout();
    } else {
        _forgetTimeout();  // called by someone else: the timer is still armed, and must not come for a later command
    }
    _failOutstandingCommand(ZK_ERROR_TIMEOUT, "timeout");
}

// Whether the timers call, with the time-out of the command in flight: such a one leaves them at the end of their pass.
bool RobotActionManagerShell::_hasGoneOff(TimerID id) const
{
    const auto armedAt = mTimeoutManager.lock();
    const Command_t& head = mQueuedCommands.front();
    return armedAt != nullptr && (*armedAt)->isFiring() && id == mTimeoutTimerID &&
           head.sent + head.timeout <= (*armedAt)->getCurrentSecond();
}

void RobotActionManagerShell::_failOutstandingCommand(ZKErrorCode code, const char* message)
{
    ZK_ASSERT(!mCurrentOutstandingCommand.empty());
    ZK_ASSERT(this->mQueuedCommands.size() > 0);
    mEndingTicket = mTicket;
    const std::string command = mQueuedCommands.front().command;
    _end([&] { ZKDidFailShellCommand(mRobot->uuId(), command.c_str(), code, message); });
}

template <class Tell>
void RobotActionManagerShell::_end(Tell tell)
{
    const uint64_t ticket = mTicket;
    tell();
    if (ticket == mTicket) {
        _cleanupOutstandingCommandAndSendNext();
    }
}

void RobotActionManagerShell::_cleanupOutstandingCommandAndSendNext()
{
    ZK_ASSERT(this->mQueuedCommands.size() > 0);
    mQueuedCommands.pop_front();
    _clearReceived();
    mCurrentOutstandingCommand.clear();
    ++mTicket;
    _attemptToSendNextCommand();
}

// A long answer does not stay resident.
void RobotActionManagerShell::_clearReceived()
{
    constexpr size_t kKept = 4096;
    mAnswerIsCut = false;
    if (mReceivedBytes.capacity() > kKept) {
        std::string().swap(mReceivedBytes);
        std::vector<uint32_t>().swap(mReceivedEnds);
    }
    mReceivedBytes.clear();
    mReceivedEnds.clear();
}

void RobotActionManagerShell::reset()
{
    const Call call(*this);
    _dropCommands();
    _cancelTimeout();
}

void RobotActionManagerShell::dropEverything()
{
    _dropCommands();
    _forgetTimeout();
}

void RobotActionManagerShell::leaveRobot()
{
    dropEverything();
    mRobot = nullptr;
}

void RobotActionManagerShell::_dropCommands()
{
    mQueuedCommands.clear();
    mCurrentOutstandingCommand.clear();
    _clearReceived();
    ++mTicket;
}

bool RobotActionManagerShell::canStillAct() const
{
    return mCalls > 0 || (mTimeoutWillCome && !mTimeoutManager.expired());
}

// The id is taken away first: what the timers log may make the host send the next command.
void RobotActionManagerShell::_cancelTimeout()
{
    const auto armedAt = mTimeoutManager.lock();
    const TimerID id = _takeTimeout();
    if (armedAt != nullptr) {
        (*armedAt)->cancelTimer(id);
    } else {
        ZKGetTimerManager()->cancelTimer(TimerManager::sInvalidTimerID);
    }
}

void RobotActionManagerShell::_forgetTimeout()
{
    const auto armedAt = mTimeoutManager.lock();
    const TimerID id = _takeTimeout();
    if (armedAt != nullptr) {
        (*armedAt)->forgetTimer(id);
    }
}

TimerID RobotActionManagerShell::_takeTimeout()
{
    mTimeoutWillCome = false;
    mTimeoutManager.reset();
    return std::exchange(mTimeoutTimerID, TimerManager::sInvalidTimerID);
}

}  // namespace Kestrel
