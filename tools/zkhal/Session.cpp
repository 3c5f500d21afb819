#include "Session.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "Channels.h"
#include "CoreUtility/FormatText.h"
#include "HexText.h"
#include "OutputFile.h"

namespace zkhal {

namespace {

constexpr char kRobotId[] = "virtual";
constexpr int64_t kTick_us = 15000;
constexpr int64_t kRetry_us = 1000000;
constexpr int64_t kEpoch_s = 1700000000;  // any: only differences count

std::string inHex(const Simulator::PacketBytes& bytes)
{
    return hexText(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
}

}  // namespace

Session::Session(uint32_t robotType, uint64_t seed, const Simulator::Faults& faults, Teller tell)
    : mRobot(Simulator::VirtualRobot::create(robotType, seed)),
      mLink(*mRobot, faults, seed),
      mTell(std::move(tell)),
      mTranslator(ZKTranslatorCreate(robotType), ZKTranslatorDestroy)
{
    ZKClock clock = {};
    clock.user = this;
    clock.wallTime = [](void* user, int64_t* seconds, int32_t* microseconds) {
        const int64_t now = static_cast<Session*>(user)->mNow_us;
        *seconds = kEpoch_s + now / 1000000;
        *microseconds = static_cast<int32_t>(now % 1000000);
    };
    ZKSetClock(&clock);
    const ZKHostCallbacks callbacks = {sizeof callbacks, this, transmit, completed, failed, logged};
    ZKSetHostCallbacks(&callbacks);
    ZKSetMessageSink(
        [](void* user, int, const char* text) {
            std::string words = text;
            words.erase(words.find_last_not_of('\n') + 1);
            auto& session = *static_cast<Session*>(user);
            session.mTell(session.seconds(), "host", ZKHAL::printable(words));
        },
        this);
    ZKTick();
}

Session::~Session()
{
    ZKForgetRobot(kRobotId);
    sendMessagesToStderr();
    ZKSetHostCallbacks(nullptr);
    ZKSetClock(nullptr);
}

bool Session::connect()
{
    const std::vector<uint8_t> data = mRobot->manufacturerData();
    const std::string name = mRobot->localName();
    ZKProcessScan(kRobotId, reinterpret_cast<const char*>(data.data()), data.size(), name.data(), name.size());
    ZKRobotInfo info = {};
    info.size = sizeof info;
    ZKGetRobotInfo(kRobotId, &info);
    const uint8_t* version = info.firmwareVersion;
    mTell(seconds(), "host",
          "finds \"" + std::string(info.name) + "\" (" + info.uniqueId + "), type " + std::to_string(info.type) +
              ", firmware " + std::to_string(version[0]) + "." + std::to_string(version[1]) + "." +
              std::to_string(version[2]) + ", battery level " + std::to_string(info.batteryLevel));
    mLink.connect();
    const char* services[] = {Simulator::VirtualRobot::service()};
    std::vector<const char*> channels = mRobot->characteristics();
    const bool isGood =
        ZKValidateEndPoints(kRobotId, services, 1) && ZKValidateChannels(kRobotId, channels.data(), channels.size());
    mTell(seconds(), "host",
          isGood ? "connects: service and " + std::to_string(channels.size()) + " characteristics are valid"
                 : "does not know these services and characteristics");
    mIsConnected = isGood;
    return isGood;
}

void Session::disconnect()
{
    mLink.disconnect();
    lose("disconnects");
}

void Session::lose(const char* words)
{
    mIsConnected = false;
    mFirst.length = 0;
    mTell(seconds(), "host", words);
    if (!mHasEnded) {
        mTell(seconds(), "host", "drops the command that is not answered yet");
        mHasEnded = true;
    }
    ZKHandleDisconnect(kRobotId);
    ZKTranslatorHandleDisconnect(mTranslator.get());
}

void Session::send(const std::string& json)
{
    if (!mIsConnected) {
        mTell(seconds(), "host", "is not connected: nothing is sent");
        return;
    }
    HALPacket_t packets[ZK_MAX_COMMAND_PACKETS];
    size_t count = 0;
    char why[400];
    if (ZKTranslatorTranslate(mTranslator.get(), json.c_str(), packets, &count, why, sizeof why) == 0) {
        mTell(seconds(), "host", why);
        return;
    }
    for (size_t i = 0; i < count; ++i) {
        mLink.write(kCommandControl, packets[i].data, packets[i].length);
    }
}

bool Session::ask(const std::string& command, double timeout, std::string& answer)
{
    constexpr double kPatience = 1;  // beyond the time-out, and for a connection
    for (int64_t start_us = mNow_us; !mIsConnected && mNow_us < start_us + 2 * kRetry_us;) {
        tick();
    }
    mHasEnded = mIsAnswered = false;
    const double start = seconds();
    ZKEnqueueShellCommand(kRobotId, command.c_str(), timeout);
    while (!mHasEnded && seconds() < start + timeout + kPatience) {
        tick();
    }
    answer = mAnswer;
    return mIsAnswered;
}

void Session::run(double seconds)
{
    const int64_t end = mNow_us + static_cast<int64_t>(seconds * 1e6);
    while (mNow_us < end) {
        tick();
    }
}

void Session::tick()
{
    mNow_us += kTick_us;
    mLink.advance(static_cast<double>(kTick_us) / 1e6);
    tellRobot();
    Simulator::Notification notification;
    while (mLink.nextNotification(notification)) {
        receive(notification);
    }
    ZKTick();
    if (mIsConnected && !mLink.isConnected()) {
        lose("has lost the connection");
        mRetryAt_us = mNow_us + kRetry_us;
    } else if (!mIsConnected && mRetryAt_us != 0 && mNow_us >= mRetryAt_us) {
        mRetryAt_us = 0;
        connect();
    }
}

void Session::tellRobot()
{
    for (const Simulator::RobotEvent& event : mRobot->takeEvents()) {
        if (showsRobot) {
            mTell(event.seconds, "robot", event.words);
        }
    }
}

void Session::receive(const Simulator::Notification& notification)
{
    const bool isFirst = std::strcmp(notification.channel, kSensorPacket1) == 0;
    if (isFirst || std::strcmp(notification.channel, kSensorPacket2) == 0) {
        takeSensorPacket(isFirst, Simulator::packetOf(notification));
    } else if (std::strcmp(notification.channel, kShellPacket) == 0 && showsBytes) {
        mTell(seconds(), "in", inHex(notification.data));
    }
    if (ZKIsKnownRobot(kRobotId) && ZKAcceptsChannel(notification.channel)) {
        ZKReceivedData(kRobotId, notification.channel, notification.data.data(), notification.data.size());
    }
}

// Both packets of a report carry its number. One whose partner is lost is decoded alone when it is the first.
void Session::takeSensorPacket(bool isFirst, const HALPacket_t& packet)
{
    if (packet.length == 0) {
        return;
    }
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

void Session::report(const HALPacket_t* packets, size_t count)
{
    ++mReports;
    char json[ZK_MAX_REPORT_SIZE];
    ZKTranslatorDecode(mTranslator.get(), packets, count, json, sizeof json);
    if (onReport != nullptr) {
        onReport(seconds(), json);
    }
}

void Session::transmit(void* user, const char*, const char* channel, const HALPacket_t** packets, size_t count)
{
    auto& session = *static_cast<Session*>(user);
    for (size_t i = 0; i < count; ++i) {
        if (session.showsBytes) {
            session.mTell(session.seconds(), "out", hexText(packets[i]->data, packets[i]->length));
        }
        session.mLink.write(channel, packets[i]->data, packets[i]->length);
    }
}

void Session::completed(void* user, const char*, const char* command, const char* answer)
{
    auto& session = *static_cast<Session*>(user);
    session.mHasEnded = session.mIsAnswered = true;
    session.mAnswer = answer;
    session.mTell(session.seconds(), "host",
                  "\"" + std::string(command) + "\" is answered: \"" + ZKHAL::printable(answer) + "\"");
}

void Session::failed(void* user, const char*, const char* command, ZKErrorCode, const char* message)
{
    auto& session = *static_cast<Session*>(user);
    session.mHasEnded = true;
    session.mTell(session.seconds(), "host", "\"" + std::string(command) + "\" has failed: " + message);
}

void Session::logged(void* user, ZKLogSeverity severity, const char* text)
{
    auto& session = *static_cast<Session*>(user);
    if (severity == ZK_LOG_ERROR) {
        session.mTell(session.seconds(), "host", text);
    }
}

}  // namespace zkhal
