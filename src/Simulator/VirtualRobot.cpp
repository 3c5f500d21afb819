#include "Simulator/VirtualRobot.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "CoreUtility/FormatText.h"
#include "CoreUtility/Numbers.h"
#include "CoreUtility/Text.h"
#include "CppEngine/AdvertisementData.h"
#include "CppEngine/AdvertisementLayout.h"
#include "CppEngine/Robot.h"
#include "HAL/MessagePacketizers/SensorLayout.h"
#include "HAL/RobotHardware/RobotHW.h"
#include "Simulator/VirtualRobotDetails.h"

namespace Simulator {

namespace {

using namespace HAL;

constexpr int64_t kSecond_ns = 1000000000;
constexpr double kStepSeconds = 1.0 / kStepsPerSecond;
constexpr double kLongestAdvance = 3600;
constexpr double kTopPan = 180, kTopTilt = 90;  // degrees/s
constexpr double kTiltSpeed = 90;               // degrees/s, by hand
constexpr int64_t kAnswerDelay_ns = kSecond_ns / 20;
constexpr size_t kMostNotifications = 4096, kMostEvents = 1000, kMostClaps = 64, kMostAnswers = 64;
constexpr uint8_t kFirmware[] = {1, 4, 2}, kResources = 3;  // major, minor, sub-minor

void putBits(uint8_t* record, Kestrel::Bits at, unsigned value)
{
    record[at.byte] = static_cast<uint8_t>(record[at.byte] | (value & ((1u << at.count) - 1)) << at.shift);
}

// What comes from a caller's hands may be any number: one that is not finite changes nothing.
double sane(double value, double otherwise = 0)
{
    return std::isfinite(value) ? std::clamp(value, -1e6, 1e6) : otherwise;
}

double approached(double now, double target, double step)
{
    return now + std::clamp(target - now, -step, step);
}

}  // namespace

HALPacket_t packetOf(const Notification& notification)
{
    HALPacket_t packet = {};
    packet.length = static_cast<uint32_t>(std::min<size_t>(notification.data.size(), HAL_PACKET_SIZE));
    std::memcpy(packet.data, notification.data.data(), packet.length);
    return packet;
}

// Which characteristics a robot has, and what a write to one does.
struct VirtualRobot::Channel {
    const std::string* uuid;
    Written written;
    bool isOnEveryRobot;  // or on those with commands only
};
const VirtualRobot::Channel VirtualRobot::kChannels[] = {
    {&Kestrel::gChannelShellControl, Written::Shell, true},
    {&Kestrel::gChannelShellPacket, Written::Never, true},
    {&Kestrel::gChannelCommandControl, Written::Command, false},
    {&Kestrel::gChannelSensorPacket1, Written::Never, false},
    {&Kestrel::gChannelSensorPacket2, Written::Never, false},
    {&Kestrel::gChannelFileTransferControl, Written::File, false},
    {&Kestrel::gChannelFileTransferPacket, Written::File, false},
};

// ---- The robot -------------------------------------------------------------------------------------------------

std::unique_ptr<VirtualRobot> VirtualRobot::create(uint32_t robotType, uint64_t seed)
{
    const RobotModel* model = findModel(robotType);
    return model != nullptr ? std::unique_ptr<VirtualRobot>(new VirtualRobot(*model, seed)) : nullptr;
}

VirtualRobot::VirtualRobot(const RobotModel& model, uint64_t seed)
    : mModel(model),
      mChassis(mRoom),
      mPan(model.head.panLow, model.head.panHigh, kTopPan),
      mTilt(model.head.tiltLow, model.head.tiltHigh, kTopTilt),
      mShell(model.type != ZK_ROBOT_RUSK),
      mRandom(seed),
      mBattery(model.fullBattery)
{
    for (uint8_t& byte : mUniqueId) {
        byte = static_cast<uint8_t>(mRandom.below(256));
    }
    for (uint8_t& byte : mSerial) {
        byte = static_cast<uint8_t>(mRandom.below(256));
    }
    if (model.type == ZK_ROBOT_RUSK) {  // a number, a week and a year, from which its serial number is made
        mUniqueId[1] = static_cast<uint8_t>((1 + mUniqueId[1] % 52) << 1 | (mUniqueId[0] & 1));
        mUniqueId[2] = static_cast<uint8_t>(15 + mUniqueId[2] % 10);
    }
    setText(mState.name, model.name);
    mState.volume = 50;
    updateState();
}

std::vector<uint8_t> VirtualRobot::manufacturerData() const
{
    using namespace Kestrel;
    std::vector<uint8_t> data(kManufacturerBytes, 0);
    uint8_t* const record = data.data();
    record[kFamilyAt] = mModel.family;
    for (size_t i = 0; i < 3; ++i) {
        record[kVersionAt + 2 - i] = kFirmware[i];
        record[kIdAt + i] = mUniqueId[i];
    }
    record[kResourceAt] = kResources;
    const bool isAnyPressed = std::find(std::begin(mButtons), std::end(mButtons), true) != std::end(mButtons);
    if (mModel.type == ZK_ROBOT_RUSK) {
        putBits(record, kRuskIsApplication, 1);
        putBits(record, kRuskChargeMode, mIsCharging ? 1 : 0);
        putBits(record, kRuskIndicator, mBattery);
        record[kRuskLetterAt] = static_cast<uint8_t>('A' + mSerial[0] % 26);
        record[kRuskTailAt] = mSerial[1];
        record[kRuskTailAt + 1] = mSerial[2];
    } else {
        putBits(record, kMode, kModeApplication);
        putBits(record, kFlagB, isAnyPressed ? 1 : 0);
        putBits(record, kColorV1, mState.personalityColor);
        const bool isQuiet = mState.personalityAnimation == kQuietAnimation;
        putBits(record, kQuiet, isQuiet ? 1 : 0);
        putBits(record, kAnimationV2, isQuiet ? 1 : mState.personalityAnimation);
        if (mModel.type == ZK_ROBOT_QUILL) {
            record[kShellColorAt] = 1;
            record[kAvatarAt] = mState.avatar;
            putBits(record, kQuillChargeMode, mIsCharging ? 1 : 0);
            putBits(record, kQuillIndicator, mBattery);
        } else {
            putBits(record, kOrvikIndicator, mBattery);
        }
        putBits(record, kOrvikCharging, mIsCharging ? 1 : 0);
    }
    const std::string name = mState.name;
    if (name.size() > kLocalNameBytes) {
        const std::string rest = name.substr(kLocalNameBytes, kNameRestBytes);
        std::memcpy(record + kNameRestAt, rest.data(), rest.size());
    }
    return data;
}

std::string VirtualRobot::localName() const
{
    return std::string(mState.name).substr(0, Kestrel::kLocalNameBytes);
}

const char* VirtualRobot::service()
{
    return RobotHW::serviceIds[0];
}

std::vector<const char*> VirtualRobot::characteristics() const
{
    std::vector<const char*> uuids;
    for (const Channel& channel : kChannels) {
        if (channel.isOnEveryRobot || mModel.hasCommands) {
            uuids.push_back(channel.uuid->c_str());
        }
    }
    return uuids;
}

VirtualRobot::Written VirtualRobot::writtenAt(const char* uuid) const
{
    for (const Channel& channel : kChannels) {
        if (ZKHAL::isSameTextIgnoringCase(uuid, channel.uuid->c_str()) &&
            (channel.isOnEveryRobot || mModel.hasCommands)) {
            return channel.written;
        }
    }
    return Written::Never;
}

bool VirtualRobot::takesWrites(const char* channel) const
{
    return writtenAt(ZKHAL::orEmpty(channel)) != Written::Never;
}

bool VirtualRobot::write(const char* channel, const uint8_t* data, size_t length)
{
    const char* const uuid = ZKHAL::orEmpty(channel);
    const Written written = writtenAt(uuid);
    const size_t present = data != nullptr ? length : 0;
    if (written == Written::Command) {
        const PacketReading reading = readCommands(data, present);
        for (const RobotCommand& command : reading.commands) {
            obey(command);
        }
        if (!reading.problem.empty() || present == 0) {
            complain(mState.packetsUnreadable,
                     "unreadable packet: " + (present == 0 ? "it is empty" : reading.problem));
        }
    } else if (written == Written::Shell) {
        hearShell(data, present);
    } else if (written == Written::File) {
        complain(mState.fileWrites, "a write to its file transfer, which keeps nothing");
    } else {
        complain(mState.wrongWrites,
                 "a write to a characteristic that takes none: " + ZKHAL::printable(std::string(uuid).substr(0, 60)));
    }
    updateState();
    return written != Written::Never;
}

// ---- Shell -----------------------------------------------------------------------------------------------------

void VirtualRobot::hearShell(const uint8_t* data, size_t length)
{
    for (const std::string& line : mShell.hear(data, length)) {
        ++mState.shellLines;
        const std::string shown = "shell command \"" + ZKHAL::printable(line) + "\"";
        const auto* own = mShell.ownAnswer(line);
        const ShellText answer = own != nullptr ? *own : answerTo(line);
        tell(answer ? shown : shown + ", which it does not answer");
        if (answer && mAnswers.size() == kMostAnswers) {
            complain(mState.commandsIgnored, "too many shell commands at once");
        } else if (answer) {
            mAnswers.push_back({mNow_ns + kAnswerDelay_ns, mShell.packetsOf(*answer)});
        }
    }
    if (mShell.textLost() != mState.shellTextLost) {
        complain(mState.shellTextLost, "a shell packet without a frame, or a line that is too long");
        mState.shellTextLost = mShell.textLost();
    }
}

// A command line begins with the name of a verb; `rest` is what follows the blank behind it.
struct VirtualRobot::ShellVerb {
    const char* name;
    ShellText (*answer)(const VirtualRobot& robot, const std::string& rest);
};

const VirtualRobot::ShellVerb VirtualRobot::kShellVerbs[] = {
    {"HELP", [](const VirtualRobot&, const std::string&) -> ShellText { return shellVerbNames(); }},
    {"NAME", [](const VirtualRobot& robot, const std::string&) -> ShellText { return robot.mState.name; }},
    {"BATT",
     [](const VirtualRobot& robot, const std::string&) -> ShellText {
         return std::to_string(robot.mBattery) + (robot.mIsCharging ? " charging" : "");
     }},
    {"POSE",
     [](const VirtualRobot& robot, const std::string&) -> ShellText {
         const ZKVirtualRobotState& state = robot.mState;
         return ZKHAL::plainNumber(state.odometryX) + " " + ZKHAL::plainNumber(state.odometryY) + " " +
                ZKHAL::plainNumber(state.odometryHeading);
     }},
    {"UP",
     [](const VirtualRobot& robot, const std::string&) -> ShellText {
         return std::to_string(robot.mNow_ns / kSecond_ns) + " s";
     }},
    {"ECHO", [](const VirtualRobot&, const std::string& rest) -> ShellText { return rest; }},
    {"SLEEP", [](const VirtualRobot&, const std::string&) -> ShellText { return std::nullopt; }},
    {"DUMP SND VER.EP1", [](const VirtualRobot&, const std::string&) -> ShellText { return "EP1 3_12_7"; }},
};

std::string VirtualRobot::shellVerbNames()
{
    std::string names;
    for (const ShellVerb& verb : kShellVerbs) {
        names += (names.empty() ? "" : " ") + std::string(verb.name);
    }
    return names;
}

VirtualRobot::ShellText VirtualRobot::answerTo(const std::string& line) const
{
    for (const ShellVerb& verb : kShellVerbs) {
        const size_t length = std::strlen(verb.name);
        if (line.compare(0, length, verb.name) == 0 && (line.size() == length || line[length] == ' ')) {
            return verb.answer(*this, line.substr(std::min(length + 1, line.size())));
        }
    }
    return "?" + line.substr(0, line.find(' '));
}

void VirtualRobot::setAnswer(const char* command, const char* answer)
{
    mShell.setAnswer(ZKHAL::orEmpty(command), answer != nullptr ? ShellText(answer) : std::nullopt);
}

// ---- Time ------------------------------------------------------------------------------------------------------

void VirtualRobot::advance(double seconds)
{
    if (!(seconds > 0)) {
        return;
    }
    const double passed_ns = std::min(seconds, kLongestAdvance) * static_cast<double>(kSecond_ns) + mRest_ns;
    mNow_ns += ZKHAL::truncate(passed_ns);
    mRest_ns = passed_ns - std::floor(passed_ns);
    constexpr int64_t kSlack_ns = 1000;  // thirtieths of a second do not add up to seconds
    while ((mSteps + 1) * kSecond_ns / kStepsPerSecond <= mNow_ns + kSlack_ns) {
        ++mSteps;
        step();
    }
    updateState();
}

void VirtualRobot::step()
{
    mChassis.advance(kStepSeconds, !mState.isLifted);
    mPan.advance(kStepSeconds);
    mTilt.advance(kStepSeconds);
    const double roll = approached(mRoll, mRollTarget, kTiltSpeed * kStepSeconds);
    const double pitch = approached(mPitch, mPitchTarget, kTiltSpeed * kStepSeconds);
    mRollRate = (roll - mRoll) / kStepSeconds;
    mPitchRate = (pitch - mPitch) / kStepSeconds;
    mRoll = roll;
    mPitch = pitch;
    mSoundLeft = std::max(0.0, mSoundLeft - kStepSeconds);
    mAnimationLeft = std::max(0.0, mAnimationLeft - kStepSeconds);
    if (mModel.hasCommands) {
        sense();
    }
    const int64_t now_ns = mSteps * kSecond_ns / kStepsPerSecond;
    for (; !mAnswers.empty() && mAnswers.front().due_ns <= now_ns; mAnswers.pop_front()) {
        for (const std::string& packet : mAnswers.front().packets) {
            notify(Kestrel::gChannelShellPacket.c_str(), {packet.data(), packet.size()});
        }
    }
}

// ---- What goes out ---------------------------------------------------------------------------------------------

void VirtualRobot::notify(const char* channel, const PacketBytes& data)
{
    if (mNotifications.size() == kMostNotifications) {
        mNotifications.pop();
        ++mState.notificationsLost;
    }
    mNotifications.push({channel, data});
}

bool VirtualRobot::nextNotification(Notification& notification)
{
    if (mNotifications.empty()) {
        return false;
    }
    notification = mNotifications.front();
    mNotifications.pop();
    return true;
}

void VirtualRobot::tell(std::string words)
{
    constexpr size_t kLongest = 600;
    words.resize(std::min(words.size(), kLongest));
    if (mEvents.size() == kMostEvents) {
        mEvents.pop_front();
    }
    mEvents.push_back({static_cast<double>(mNow_ns) / static_cast<double>(kSecond_ns), std::move(words)});
}

void VirtualRobot::complain(uint32_t& counter, std::string words)
{
    ++counter;
    setText(mState.problem, words);
    tell(std::move(words));
}

std::vector<RobotEvent> VirtualRobot::takeEvents()
{
    std::vector<RobotEvent> events(std::make_move_iterator(mEvents.begin()), std::make_move_iterator(mEvents.end()));
    mEvents.clear();
    return events;
}

void VirtualRobot::handleDisconnect()
{
    mChassis.stop();
    mPan.stop();
    mTilt.stop();
    mShell.forgetLine();
    mAnswers.clear();
    mNotifications.clear();
    mPings.clear();
    updateState();
}

void VirtualRobot::updateState()
{
    const auto centimetres = [](int64_t micrometres) { return static_cast<double>(micrometres) / 1e4; };
    const auto degrees = [](int64_t microradians) {
        return static_cast<double>(withinHalfATurn(microradians)) / 1e6 / kDegree;
    };
    const Pose &place = mChassis.place(), &odometry = mChassis.odometry();
    mState.seconds = static_cast<double>(mNow_ns) / static_cast<double>(kSecond_ns);
    mState.x = centimetres(place.x);
    mState.y = centimetres(place.y);
    mState.heading = degrees(place.heading);
    mState.odometryX = centimetres(odometry.x);
    mState.odometryY = centimetres(odometry.y);
    mState.odometryHeading = degrees(odometry.heading);
    mState.leftTravel = centimetres(mChassis.leftTravel());
    mState.rightTravel = centimetres(mChassis.rightTravel());
    mState.pan = mPan.degrees();
    mState.tilt = mTilt.degrees();
    mState.roll = mRoll;
    mState.pitch = mPitch;
    mState.isDriving = mChassis.isDriving();
    mState.isStalled = mChassis.isStalled();
    mState.posesReached = ZKHAL::low8(mChassis.posesReached());
    mState.isSounding = mSoundLeft > 0;
    mState.isAnimating = mAnimationLeft > 0;
}

// ---- Hands -----------------------------------------------------------------------------------------------------

void VirtualRobot::moveByHand(double x_cm, double y_cm, double headingDegrees)
{
    mChassis.moveTo(poseOf(sane(x_cm, mState.x), sane(y_cm, mState.y), sane(headingDegrees, mState.heading) * kDegree),
                    mModel.hasWheels && !mState.isLifted);
    updateState();
}

void VirtualRobot::turnHead(double panDegrees, double tiltDegrees)
{
    mPan.turnTo(sane(panDegrees, mState.pan));
    mTilt.turnTo(sane(tiltDegrees, mState.tilt));
    updateState();
}

void VirtualRobot::lift(bool isLifted)
{
    mState.isLifted = isLifted;
}

void VirtualRobot::tilt(double rollDegrees, double pitchDegrees)
{
    mRollTarget = sane(rollDegrees, mRollTarget);
    mPitchTarget = sane(pitchDegrees, mPitchTarget);
}

void VirtualRobot::clap(double directionDegrees)
{
    if (mClaps.size() < kMostClaps) {
        mClaps.push_back(sane(directionDegrees));
    }
}

void VirtualRobot::press(int button, bool isPressed)
{
    if (button >= 0 && button < kButtonCount) {
        mButtons[button] = isPressed;
    }
}

void VirtualRobot::setBattery(unsigned indicator, bool isCharging)
{
    const unsigned most = mModel.type == ZK_ROBOT_RUSK ? 3 : mModel.type == ZK_ROBOT_QUILL ? 7 : 31;
    mBattery = std::min(indicator, most);
    mIsCharging = isCharging;
}

}  // namespace Simulator
