// What goes out of a session, and what comes in.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "Host/Capture.h"
#include "Host/Hub.h"
#include "Host/RobotChannels.h"
#include "Host/RobotSession.h"

namespace Host {

namespace {

constexpr size_t kMostWaiting = 4096;  // packets
constexpr size_t kMostAsked = 256;
constexpr size_t kMostSteered = 4096;  // bytes of a document

// "volume" above 1 is not sent: the robot stays as loud as it is.
constexpr char kStopDriving[] =
    R"({"211":{"left_cm_s":0,"right_cm_s":0},"208":{"angular_deg_s":0},"209":{"angular_deg_s":0},)"
    R"("300":{"file":"STOPSOUND","volume":2}})";
constexpr char kStopSounding[] = R"({"300":{"file":"STOPSOUND","volume":2}})";

}  // namespace

// ---- What goes out ---------------------------------------------------------------------------------------------

Error RobotSession::translate(const char* json, HALPacket_t* packets, size_t& count)
{
    char findings[4096];
    if (ZKTranslatorTranslate(mTranslator.get(), json, packets, &count, findings, sizeof findings) == 0) {
        return {ErrorCode::BadDocument, findings[0] != '\0' ? findings : "it cannot be translated", ""};
    }
    return {};
}

Error RobotSession::whyNotSent(bool hasChannel) const
{
    if (!isReady() || mIsWished) {
        return {ErrorCode::NotConnected, "the robot is not connected", ""};
    }
    return hasChannel ? Error() : Error{ErrorCode::NotSupported, "this robot has no characteristic for that", ""};
}

Error RobotSession::send(const char* json)
{
    if (Error error = whyNotSent(mTakesCommands)) {
        return error;
    }
    if (mQueue.size() + ZK_MAX_COMMAND_PACKETS > kMostWaiting) {
        return {ErrorCode::TooMuch, "thousands of packets are waiting already", "wait until some have gone out"};
    }
    HALPacket_t packets[ZK_MAX_COMMAND_PACKETS];
    size_t count = 0;
    const Error error = translate(json, packets, count);
    if (!error) {
        queuePackets(kCommandControl, packets, count);
    }
    return error;
}

Error RobotSession::steer(const char* json)
{
    if (Error error = whyNotSent(mTakesCommands)) {
        return error;
    }
    // Checked now, so that a mistake is told to whom it belongs; translated when it goes out.
    static thread_local char findings[4096];
    if (ZKCheckCommandDocument(json, mInfo.type, findings, sizeof findings) == ZK_CHECK_REFUSED) {
        return {ErrorCode::BadDocument, findings, ""};
    }
    if (std::strlen(json) > kMostSteered) {
        return {ErrorCode::TooMuch, "a document for steering has at most 4096 bytes", ""};
    }
    mSteer = json;
    pump();
    return {};
}

void RobotSession::stop()
{
    mQueue.clear();
    mSteer.clear();
    if (isReady() && mTakesCommands) {
        send(mInfo.type == ZK_ROBOT_PELL ? kStopSounding : kStopDriving);
    }
}

void RobotSession::queuePackets(const char* channel, const HALPacket_t* packets, size_t count)
{
    for (size_t i = 0; i < count; ++i) {
        Outgoing outgoing = {channel, static_cast<uint8_t>(std::min<uint32_t>(packets[i].length, HAL_PACKET_SIZE)), {}};
        std::memcpy(outgoing.bytes, packets[i].data, outgoing.length);
        mQueue.push_back(outgoing);
    }
    pump();
}

// Whoever is told of a packet may send more, or end it all: by then the packet is off the queue.
void RobotSession::pump()
{
    if (mIsPumping) {
        return;
    }
    struct Pumping {
        bool& flag;
        explicit Pumping(bool& isPumping) : flag(isPumping)
        {
            flag = true;
        }
        ~Pumping()
        {
            flag = false;
        }
    } const pumping(mIsPumping);
    for (;;) {
        // One steering document at a time is on its way: what comes meanwhile replaces what waits.
        if (isReady() && mQueue.empty() && !mSteer.empty() && mWriting == 0) {
            const std::string json = std::exchange(mSteer, {});
            HALPacket_t packets[ZK_MAX_COMMAND_PACKETS];
            size_t count = 0;
            if (!translate(json.c_str(), packets, count)) {
                queuePackets(kCommandControl, packets, count);
            }
        }
        if (!isReady() || mQueue.empty() || mWriting >= mHub.transport().writeWindow()) {
            return;
        }
        const Outgoing next = mQueue.front();
        if (!mHub.transport().write(mRobot, next.channel, next.bytes, next.length)) {
            return;
        }
        mQueue.pop_front();
        ++mWriting;
        tellPacket(true, next.channel, next.bytes, next.length);
    }
}

void RobotSession::tellPacket(bool isSent, const char* channel, const uint8_t* data, size_t length)
{
    if (record != nullptr) {
        record(
            captureLine(mHub.now(), isSent ? CaptureKind::Written : CaptureKind::Notified, channel, data, length, ""));
    }
    if (mListener != nullptr) {
        mListener->onPacket(*this, isSent, channel, data, length);
    }
}

void RobotSession::onWritten()
{
    mWriting -= mWriting > 0 ? 1 : 0;
    pump();
}

// ---- The shell -------------------------------------------------------------------------------------------------

Error RobotSession::ask(const std::string& command, double timeoutSeconds, AskId& id)
{
    id = 0;
    if (Error error = whyNotSent(mHasShell)) {
        return error;
    }
    if (command.empty() || command.find('\0') != std::string::npos) {
        return {ErrorCode::BadDocument, command.empty() ? "the command is empty" : "a zero byte is no text", ""};
    }
    if (!(timeoutSeconds > 0) || !std::isfinite(timeoutSeconds)) {
        return {ErrorCode::BadDocument, "a time-out is a number of seconds above 0", ""};
    }
    if (mAsked.size() >= kMostAsked) {
        return {ErrorCode::TooMuch, "hundreds of commands are waiting already", "wait until some are answered"};
    }
    id = ++mHub.mLastAsk;
    mAsked.push_back({id, command});
    ZKTick();  // time-outs count from the last tick, which is long ago where nobody polled
    ZKEnqueueShellCommand(mId.c_str(), command.c_str(), timeoutSeconds);
    return {};
}

void RobotSession::onShellPackets(const char* channel, const HALPacket_t** packets, size_t count)
{
    const bool isControl = isSameTextIgnoringCase(channel, kShellControl);
    for (size_t i = 0; i < count && isControl; ++i) {
        queuePackets(kShellControl, packets[i], 1);
    }
}

void RobotSession::onShellEnd(const char* command, const char* answer, const Error& error)
{
    if (mAsked.empty() || mAsked.front().command != command) {
        return;
    }
    const Asked asked = std::move(mAsked.front());
    mAsked.pop_front();
    if (mListener != nullptr) {
        mListener->onAnswer(*this, asked.id, asked.command, answer, error);
    }
}

// ---- What comes in ---------------------------------------------------------------------------------------------

void RobotSession::onNotification(const char* channel, const uint8_t* data, size_t length)
{
    if (!isReady()) {
        return;
    }
    tellPacket(false, channel, data, length);
    if (!isReady()) {
        return;  // ended from inside
    }
    const bool isFirst = std::strcmp(channel, kSensorPacket1) == 0;
    if (isFirst || std::strcmp(channel, kSensorPacket2) == 0) {
        takeSensorPacket(isFirst, data, length);
    } else if (ZKIsKnownRobot(mId.c_str()) && ZKAcceptsChannel(channel)) {
        ZKReceivedData(mId.c_str(), channel, reinterpret_cast<const char*>(data), length);
    }
}

// Both packets of a report carry its number. One whose partner is lost is decoded alone when it is the first.
void RobotSession::takeSensorPacket(bool isFirst, const uint8_t* data, size_t length)
{
    if (length == 0) {
        return;
    }
    HALPacket_t packet = {};
    packet.length = static_cast<uint32_t>(std::min<size_t>(length, HAL_PACKET_SIZE));
    std::memcpy(packet.data, data, packet.length);
    const auto number = [](const HALPacket_t& each) { return each.data[0] >> 4; };
    if (isFirst) {
        if (mFirst.length > 0 && number(packet) != number(mFirst)) {
            report(&mFirst, 1);
        }
        mFirst = packet;
    } else if (mFirst.length > 0 && number(packet) == number(mFirst)) {
        const HALPacket_t both[] = {mFirst, packet};
        mFirst.length = 0;
        report(both, 2);
    }
}

void RobotSession::report(const HALPacket_t* packets, size_t count)
{
    char json[ZK_MAX_REPORT_SIZE];
    const size_t size = ZKTranslatorDecode(mTranslator.get(), packets, count, json, sizeof json);
    ++mReports;
    if (mListener != nullptr && size > 0) {
        mListener->onReport(*this, mHub.now(), json, size - 1);
    }
}

}  // namespace Host
