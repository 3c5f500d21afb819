#include "Simulator/VirtualRobot.h"

#include <algorithm>
#include <array>
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
#include "HAL/RobotHardware/Reflectance.h"
#include "HAL/RobotHardware/RobotHW.h"
#include "HAL/RobotMessages/CommandBytes.h"
#include "Simulator/Trigonometry.h"

namespace Simulator {

namespace {

using namespace HAL;

constexpr int kStepsPerSecond = 30;
constexpr int64_t kSecond_ns = 1000000000;
constexpr double kStepSeconds = 1.0 / kStepsPerSecond;
constexpr double kLongestAdvance = 3600;
constexpr double kTopPan = 180, kTopTilt = 90;  // degrees/s
constexpr double kTiltSpeed = 90;               // degrees/s, by hand
constexpr double kSoundSeconds = 1, kAnimationSeconds = 2;
constexpr int64_t kAnswerDelay_ns = kSecond_ns / 20;
constexpr size_t kMostNotifications = 4096, kMostEvents = 1000, kMostClaps = 64, kMostPings = 64, kMostAnswers = 64;
constexpr int kBatteryEvery = kStepsPerSecond;  // reports
constexpr double kWheelTicksPerCm = 1200 / (ZKHAL::kPi * 7.85);
constexpr int kFrontSensorAngle = 25;  // degrees to each side
constexpr double kDegree = ZKHAL::kPi / 180;
constexpr uint8_t kFirmware[] = {1, 4, 2}, kResources = 3;  // major, minor, sub-minor

// Which characteristics a robot has, and what a write to one does.
enum class Written { Never, Command, Shell, File };
struct Channel {
    const std::string* uuid;
    Written written;
    bool isOnEveryRobot;  // or on those with commands only
};
constexpr Channel kChannels[] = {
    {&Kestrel::gChannelShellControl, Written::Shell, true},
    {&Kestrel::gChannelShellPacket, Written::Never, true},
    {&Kestrel::gChannelCommandControl, Written::Command, false},
    {&Kestrel::gChannelSensorPacket1, Written::Never, false},
    {&Kestrel::gChannelSensorPacket2, Written::Never, false},
    {&Kestrel::gChannelFileTransferControl, Written::File, false},
    {&Kestrel::gChannelFileTransferPacket, Written::File, false},
};

void putBits(uint8_t* record, Kestrel::Bits at, unsigned value)
{
    record[at.byte] = static_cast<uint8_t>(record[at.byte] | (value & ((1u << at.count) - 1)) << at.shift);
}

int rounded(double value)
{
    return static_cast<int>(ZKHAL::roundHalfAway(value));
}

int limitedTo12Bits(double value)
{
    return rounded(std::clamp(value, -2047.0, 2047.0));
}

uint8_t byteOf(const RobotCommand& command, const char* field)
{
    return static_cast<uint8_t>(command.raw(field) & 0xFF);
}

// What comes from a caller's hands may be any number: one that is not finite changes nothing.
double sane(double value, double otherwise = 0)
{
    return std::isfinite(value) ? std::clamp(value, -1e6, 1e6) : otherwise;
}

// Sets of families, by the bit of their number.
enum Families : unsigned { kOrvik = 1 << 1, kPell = 1 << 2, kQuill = 1 << 3, kWheeled = kOrvik | kQuill };
constexpr unsigned kAll = kWheeled | kPell;  // that take commands

template <size_t kSize>
void setText(char (&field)[kSize], const std::string& text)
{
    ZKHAL::copyToField(field, kSize, text.data(), text.size());
}

// Microradians. A turn is no whole number of them: the rest is carried along, not added up.
int64_t withinHalfATurn(int64_t heading)
{
    constexpr double kTurn = ZKHAL::kTwoPi * 1e6;
    const double turns = std::round(static_cast<double>(heading) / kTurn);
    return heading - ZKHAL::roundHalfAway(turns * kTurn);
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

// ---- What each command does ------------------------------------------------------------------------------------

struct VirtualRobot::CommandRow {
    uint8_t code;
    unsigned families;                                        // that have what it is for
    bool (VirtualRobot::*obey)(const RobotCommand& command);  // false: there are too many
};

const VirtualRobot::CommandRow VirtualRobot::kCommands[] = {
    {kCmdWheels, kWheeled, &VirtualRobot::onWheels},
    {kCmdBodyMotion, kWheeled, &VirtualRobot::onBodyMotion},
    {kCmdBodyMotionWithAcceleration, kWheeled, &VirtualRobot::onBodyMotion},
    {kCmdBodyMotionPose, kWheeled, &VirtualRobot::onBodyMotion},
    {kCmdBodyPose, kWheeled, &VirtualRobot::onBodyPose},
    {kCmdBodyPoseMode3, kWheeled, &VirtualRobot::onHoldPose},
    {kCmdBodyPoseMode4, kWheeled, &VirtualRobot::onGlobalPose},
    {kCmdHeadPan, kWheeled, &VirtualRobot::onHeadAngle},
    {kCmdHeadTilt, kWheeled, &VirtualRobot::onHeadAngle},
    {kCmdPan207, kWheeled, &VirtualRobot::onHeadMove},
    {kCmdTilt206, kWheeled, &VirtualRobot::onHeadMove},
    {kCmdPan207Hold, kWheeled, &VirtualRobot::onHeadMove},
    {kCmdTilt206Hold, kWheeled, &VirtualRobot::onHeadMove},
    {kCmdPan209, kWheeled, &VirtualRobot::onHeadSpeed},
    {kCmdTilt208, kWheeled, &VirtualRobot::onHeadSpeed},
    {kCmdRgb102, kAll, &VirtualRobot::onColorLight},
    {kCmdRgb103, kAll, &VirtualRobot::onColorLight},
    {kCmdRgb104, kAll, &VirtualRobot::onColorLight},
    {kCmdRgb107, kQuill, &VirtualRobot::onColorLight},
    {kCmdLed105, kOrvik | kPell, &VirtualRobot::onLight},
    {kCmdLed106, kAll, &VirtualRobot::onLight},
    {kCmdLed109, kQuill, &VirtualRobot::onLight},
    {kCmdLed110, kQuill, &VirtualRobot::onLight},
    {kCmdLed111, kQuill, &VirtualRobot::onLight},
    {kCmdLed3, kQuill, &VirtualRobot::onThreeLights},
    {kCmdEyeBitmap, kAll, &VirtualRobot::onEyeLights},
    {kCmdEyeAnimation, kAll, &VirtualRobot::onEyeAnimation},
    {kCmdEyeBrightness, kAll, &VirtualRobot::onEyeBrightness},
    {kCmdEyeBrightnessQuad, kAll, &VirtualRobot::onEyeBrightness},
    {kCmdLedMessage, kAll, &VirtualRobot::onLightMessage},
    {kCmdSound, kAll, &VirtualRobot::onSound},
    {kCmdStopSound, kAll, &VirtualRobot::onStopSound},
    {kCmdVolume, kAll, &VirtualRobot::onVolume},
    {kCmdSynth, kAll, &VirtualRobot::onSynth},
    {kCmdSynthUpdate, kAll, &VirtualRobot::onSynthUpdate},
    {kCmdAnimByName, kWheeled, &VirtualRobot::onAnimation},
    {kCmdAnimWithoutName, kWheeled, &VirtualRobot::onAnimation},
    {kCmdLauncher400, kWheeled, &VirtualRobot::onLauncher},
    {kCmdLauncher401, kWheeled, &VirtualRobot::onLauncher},
    {kCmdScalar213, kWheeled, &VirtualRobot::onPercentage},
    {kCmdScalar214, kWheeled, &VirtualRobot::onPercentage},
    {kCmdNoParams210, kWheeled, &VirtualRobot::onSignal},
    {kCmdNoParams212, kWheeled, &VirtualRobot::onSignal},
    {kCmdBehaviourStart, kQuill, &VirtualRobot::onBehaviourStart},
    {kCmdBehaviourStop, kQuill, &VirtualRobot::onBehaviourStop},
    {kCmdUserSettings, kAll, &VirtualRobot::onSetting},
    {kCmdPower, kAll, &VirtualRobot::onPower},
    {kCmdClock, kAll, &VirtualRobot::onClock},
    {kCmdPing, kAll, &VirtualRobot::onPing},
    {kCmdCombined, kWheeled, &VirtualRobot::onCombined},
};

void VirtualRobot::obey(const RobotCommand& command)
{
    const auto row = std::find_if(std::begin(kCommands), std::end(kCommands),
                                  [&](const CommandRow& each) { return each.code == command.code(); });
    const std::string words = command.inWords();
    const bool isAvatar = command.code() == kCmdUserSettings && command.bytes()[1] == kSettingAvatar;
    const unsigned families = row == std::end(kCommands) ? 0u : isAvatar ? unsigned{kQuill} : row->families;
    if ((families >> mModel.family & 1) == 0) {
        complain(mState.commandsIgnored, "it has nothing for: " + words);
        return;
    }
    if ((this->*row->obey)(command)) {
        ++mState.commandsDone;
        tell(words);
    } else {
        complain(mState.commandsIgnored, "too many to keep: " + words);
    }
}

bool VirtualRobot::onWheels(const RobotCommand& command)
{
    mChassis.driveWheels(command.value("left"), command.value("right"));
    return true;
}

bool VirtualRobot::onBodyMotion(const RobotCommand& command)
{
    mChassis.driveBody(command.value("linear"), command.value("angular"), command.value("linear acceleration"),
                       command.value("angular acceleration"));
    return true;
}

bool VirtualRobot::onBodyPose(const RobotCommand& command)
{
    enum WireMode { kRelative = 1, kGlobal = 3 };  // mode 5 of a document comes as 3
    const double seconds = command.value("time");
    const bool isEased = command.raw("ease") != 0;
    if (command.raw("mode") == kRelative) {
        mChassis.approachRelative(command.value("x"), command.value("y"), command.value("heading"), seconds, isEased);
    } else if (command.raw("mode") == kGlobal) {
        mChassis.approach(poseOf(command.value("x"), command.value("y"), command.value("heading")), seconds, isEased);
    } else {
        mChassis.stop();
    }
    return true;
}

bool VirtualRobot::onGlobalPose(const RobotCommand& command)
{
    mChassis.approach(poseOf(command.value("x"), command.value("y"), command.value("heading")), command.value("time"),
                      false);
    return true;
}

bool VirtualRobot::onHoldPose(const RobotCommand&)
{
    mChassis.stop();
    return true;
}

bool VirtualRobot::onHeadAngle(const RobotCommand& command)
{
    (command.code() == kCmdHeadPan ? mPan : mTilt).moveTo(command.value(""));
    return true;
}

bool VirtualRobot::onHeadMove(const RobotCommand& command)
{
    const bool isPan = command.code() == kCmdPan207 || command.code() == kCmdPan207Hold;
    (isPan ? mPan : mTilt).moveTo(command.value("angle"), command.value("time"));
    return true;
}

bool VirtualRobot::onHeadSpeed(const RobotCommand& command)
{
    (command.code() == kCmdPan209 ? mPan : mTilt).moveOn(command.value("") / kDegree);
    return true;
}

bool VirtualRobot::onColorLight(const RobotCommand& command)
{
    ZKVirtualColor& light = command.code() == kCmdRgb102   ? mState.light102
                            : command.code() == kCmdRgb103 ? mState.light103
                            : command.code() == kCmdRgb104 ? mState.light104
                                                           : mState.light107;
    light = {byteOf(command, "red"), byteOf(command, "green"), byteOf(command, "blue")};
    return true;
}

bool VirtualRobot::onLight(const RobotCommand& command)
{
    uint8_t& light = command.code() == kCmdLed105   ? mState.light105
                     : command.code() == kCmdLed106 ? mState.light106
                     : command.code() == kCmdLed109 ? mState.light109
                     : command.code() == kCmdLed110 ? mState.light110
                                                    : mState.light111;
    light = byteOf(command, "brightness");
    return true;
}

bool VirtualRobot::onThreeLights(const RobotCommand& command)
{
    mState.light108[0] = byteOf(command, "light 1");
    mState.light108[1] = byteOf(command, "light 2");
    mState.light108[2] = byteOf(command, "light 3");
    return true;
}

bool VirtualRobot::onEyeLights(const RobotCommand& command)
{
    mState.eyeLights = ZKHAL::low16(command.raw(""));
    return true;
}

bool VirtualRobot::onEyeAnimation(const RobotCommand& command)
{
    mState.eyeAnimation = byteOf(command, "pattern");
    return true;
}

bool VirtualRobot::onEyeBrightness(const RobotCommand& command)
{
    constexpr const char* kQuarters[] = {"quarter 1", "quarter 2", "quarter 3", "quarter 4"};
    for (size_t i = 0; i < 4; ++i) {
        mState.eyeBrightness[i] = byteOf(command, command.code() == kCmdEyeBrightness ? "brightness" : kQuarters[i]);
    }
    return true;
}

bool VirtualRobot::onLightMessage(const RobotCommand& command)
{
    mState.lightMessage = byteOf(command, "message");
    mState.lightMessageLights = byteOf(command, "lights");
    return true;
}

bool VirtualRobot::onSound(const RobotCommand& command)
{
    setText(mState.sound, command.text());
    mSoundLeft = kSoundSeconds;
    ++mState.soundsPlayed;
    return true;
}

bool VirtualRobot::onStopSound(const RobotCommand&)
{
    mSoundLeft = 0;
    return true;
}

bool VirtualRobot::onVolume(const RobotCommand& command)
{
    mState.volume = byteOf(command, "");
    return true;
}

bool VirtualRobot::onSynth(const RobotCommand& command)
{
    struct Tone {
        const char *type, *frequency, *phase;
    };
    constexpr Tone kTones[] = {{"tone 1 type", "tone 1", "phase 1"},
                               {"tone 2 type", "tone 2", "phase 2"},
                               {"tone 3 type", "tone 3", "phase 3"},
                               {"tone 4 type", "tone 4", "phase 4"}};
    mState.synthDuration = ZKHAL::low16(command.raw("duration"));
    mState.synthPercentage[0] = ZKHAL::low16(command.raw("percentage 1"));
    mState.synthPercentage[1] = ZKHAL::low16(command.raw("percentage 2"));
    for (size_t i = 0; i < 4; ++i) {
        mState.synthType[i] = byteOf(command, kTones[i].type);
        mState.synthFrequency[i] = command.value(kTones[i].frequency);
        mState.synthPhase[i] = byteOf(command, kTones[i].phase);
    }
    mSoundLeft = mState.synthDuration / 1000.0;  // as milliseconds
    return true;
}

bool VirtualRobot::onSynthUpdate(const RobotCommand& command)
{
    constexpr const char* kTones[] = {"tone 1", "tone 2", "tone 3", "tone 4"};
    for (size_t i = 0; i < 4; ++i) {
        mState.synthFrequency[i] = command.value(kTones[i]);
    }
    return true;
}

bool VirtualRobot::onAnimation(const RobotCommand& command)
{
    setText(mState.animation, command.text());
    mAnimationLeft = kAnimationSeconds;
    return true;
}

bool VirtualRobot::onLauncher(const RobotCommand& command)
{
    const size_t which = command.code() == kCmdLauncher400 ? 0 : 1;
    mState.launcher[which] = byteOf(command, "");
    ++mState.launches[which];
    return true;
}

bool VirtualRobot::onPercentage(const RobotCommand& command)
{
    mState.percentage[command.code() == kCmdScalar213 ? 0 : 1] = static_cast<int8_t>(command.raw(""));
    return true;
}

bool VirtualRobot::onSignal(const RobotCommand& command)
{
    ++mState.signals[command.code() == kCmdNoParams210 ? 0 : 1];
    return true;
}

bool VirtualRobot::onBehaviourStart(const RobotCommand& command)
{
    const uint16_t id = ZKHAL::low16(command.raw("id"));
    uint16_t* const end = mState.behaviours + mState.behaviourCount;
    if (std::find(mState.behaviours, end, id) == end) {
        if (mState.behaviourCount == ZK_VIRTUAL_ROBOT_BEHAVIOURS) {
            return false;
        }
        mState.behaviours[mState.behaviourCount++] = id;
    }
    return true;
}

bool VirtualRobot::onBehaviourStop(const RobotCommand& command)
{
    uint16_t* const end = mState.behaviours + mState.behaviourCount;
    const uint16_t* const left = std::remove(mState.behaviours, end, ZKHAL::low16(command.raw("id")));
    mState.behaviourCount = static_cast<size_t>(left - mState.behaviours);
    return true;
}

bool VirtualRobot::onSetting(const RobotCommand& command)
{
    switch (command.bytes()[1]) {
        case kSettingName:
            setText(mState.name, command.text());
            break;
        case kSettingColor:
            mState.personalityColor = byteOf(command, "");
            break;
        case kSettingAnim:
            mState.personalityAnimation = byteOf(command, "");
            break;
        case kSettingVolume:
            mState.personalityVolume = byteOf(command, "");
            break;
        case kSettingEyeBrightness:
            mState.personalityEyeBrightness = byteOf(command, "");
            break;
        case kSettingAvatar:
            mState.avatar = byteOf(command, "");
            break;
        default:
            mState.personalityColor = byteOf(command, "colour");
            mState.personalityAnimation = byteOf(command, "animation");
            break;
    }
    return true;
}

bool VirtualRobot::onPower(const RobotCommand& command)
{
    mState.power = byteOf(command, "state");
    return true;
}

bool VirtualRobot::onClock(const RobotCommand& command)
{
    mState.clock = ZKHAL::low32(command.raw(""));
    return true;
}

bool VirtualRobot::onPing(const RobotCommand& command)
{
    if (mPings.size() == kMostPings) {
        return false;
    }
    mPings.push_back(ZKHAL::low16(command.raw("id")));
    return true;
}

bool VirtualRobot::onCombined(const RobotCommand& command)
{
    mChassis.driveWheels(command.value("left"), command.value("right"));
    mPan.moveTo(command.value("head pan") / kDegree);
    mTilt.moveTo(command.value("head tilt") / kDegree);
    const auto color = [&](const char* red, const char* green, const char* blue) {
        return ZKVirtualColor{byteOf(command, red), byteOf(command, green), byteOf(command, blue)};
    };
    mState.light104 = color("104 red", "104 green", "104 blue");
    mState.light102 = color("102 red", "102 green", "102 blue");
    mState.light103 = color("103 red", "103 green", "103 blue");
    mState.eyeLights = ZKHAL::low16(command.raw("eye lights"));
    return true;
}

// ---- The robot -------------------------------------------------------------------------------------------------

std::unique_ptr<VirtualRobot> VirtualRobot::create(uint32_t robotType, uint64_t seed)
{
    const RobotModel* model = findModel(robotType);
    return model != nullptr ? std::unique_ptr<VirtualRobot>(new VirtualRobot(*model, seed)) : nullptr;
}

VirtualRobot::VirtualRobot(const RobotModel& model, uint64_t seed)
    : mModel(model),
      mChassis(mRoom),
      mPan(model.lowestPan, model.highestPan, kTopPan),
      mTilt(model.lowestTilt, model.highestTilt, kTopTilt),
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

bool VirtualRobot::write(const char* channel, const uint8_t* data, size_t length)
{
    const char* const uuid = ZKHAL::orEmpty(channel);
    Written written = Written::Never;
    for (const Channel& each : kChannels) {
        if (ZKHAL::isSameTextIgnoringCase(uuid, each.uuid->c_str()) && (each.isOnEveryRobot || mModel.hasCommands)) {
            written = each.written;
        }
    }
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
        for (std::string& packet : mAnswers.front().packets) {
            notify(Kestrel::gChannelShellPacket.c_str(), std::move(packet));
        }
    }
}

// ---- Senses ----------------------------------------------------------------------------------------------------

void VirtualRobot::sense()
{
    SensorReport report;
    report.sequence = static_cast<unsigned>(mSteps & 0x0F);
    constexpr int kTimestampsPerSecond = 100;
    report.timestamp = static_cast<unsigned>(mSteps * kTimestampsPerSecond / kStepsPerSecond & 0x0FFF);

    constexpr double kPerG = 2047 / 2.0, kPerDegree = 2047 / 500.0;
    const double roll = mRoll * kDegree, pitch = mPitch * kDegree;
    report.acceleration[0] = limitedTo12Bits(sine(pitch) * kPerG) + mRandom.noise(2);
    report.acceleration[1] = limitedTo12Bits(cosine(pitch) * sine(roll) * kPerG) + mRandom.noise(2);
    report.acceleration[2] = limitedTo12Bits(cosine(pitch) * cosine(roll) * kPerG) + mRandom.noise(2);
    // About the axes of its body, as a gyroscope measures: nose up is positive pitch and a negative rate.
    const double turn = mChassis.turnRate() / kDegree;
    report.roll = limitedTo12Bits((mRollRate - turn * sine(pitch)) * kPerDegree);
    report.pitch = limitedTo12Bits((-mPitchRate * cosine(roll) - turn * cosine(pitch) * sine(roll)) * kPerDegree);
    report.yaw = limitedTo12Bits((-mPitchRate * sine(roll) + turn * cosine(pitch) * cosine(roll)) * kPerDegree);
    const int loudness = mSoundLeft > 0 ? mState.volume * 6 / 5 : 0;
    report.amplitude = static_cast<uint8_t>(std::min(loudness, 240) + 2 + mRandom.noise(2));
    std::copy(std::begin(mButtons), std::end(mButtons), report.buttons);
    report.isSounding = mSoundLeft > 0;
    report.isAnimating = mAnimationLeft > 0;
    report.isLifted = mState.isLifted;
    report.isStalled = mChassis.isStalled();
    addEvents(report);

    report.left = reflectance(BRReflectanceLeft, kFrontSensorAngle);
    report.right = reflectance(BRReflectanceRight, -kFrontSensorAngle);
    report.rear = reflectance(BRReflectanceRear, 180);
    const Pose& odometry = mChassis.odometry();
    report.x_mm = rounded(static_cast<double>(odometry.x) / 1000);
    report.y_mm = rounded(static_cast<double>(odometry.y) / 1000);
    report.heading_mrad = rounded(static_cast<double>(withinHalfATurn(odometry.heading)) / 1000);
    const auto ticks = [](int64_t travel) {
        return static_cast<int>(ZKHAL::roundHalfAway(static_cast<double>(travel) / 1e4 * kWheelTicksPerCm) & 0xFFFF);
    };
    report.leftTicks = ticks(mChassis.leftTravel());
    report.rightTicks = ticks(mChassis.rightTravel());
    report.pan_crad = rounded(static_cast<double>(mPan.microradians()) / 1e4);
    report.tilt_crad = rounded(-static_cast<double>(mTilt.microradians()) / 1e4);  // negated on the wire

    HALPacket_t packets[2];
    writeReport(report, packets);
    const char* const channels[] = {Kestrel::gChannelSensorPacket1.c_str(), Kestrel::gChannelSensorPacket2.c_str()};
    for (size_t i = 0; i < 2; ++i) {
        notify(channels[i], std::string(reinterpret_cast<const char*>(packets[i].data), packets[i].length));
    }
}

// A report has room for two short events or a long one. The clap count goes out in every report but a ping's, since a
// change of it is what makes a clap; so a clap waits for the first count, and behind a ping.
void VirtualRobot::addEvents(SensorReport& report)
{
    mBatteryIsDue = mBatteryIsDue || mSteps % kBatteryEvery == 0;
    const bool isLong = !mPings.empty() && !(mLastWasLong && (mBatteryIsDue || !mClaps.empty()));
    mLastWasLong = isLong;
    if (isLong) {
        const uint16_t id = mPings.front();
        mPings.pop_front();
        ++mPingCount;
        report.longEvent = kPingResponse;
        report.longData[0] = ZKHAL::low8(id);
        report.longData[1] = ZKHAL::low8(id >> 8);
        for (int i = 0; i < 4; ++i) {
            report.longData[2 + i] = ZKHAL::low8(mPingCount >> 8 * i);
        }
        return;
    }
    SensorReport::Event& first = report.events[0];
    if (!mClaps.empty() && mHasReported) {
        const double turns = mClaps.front() / 360;
        mClaps.pop_front();
        ++mClapCount;
        const int direction = rounded((turns - std::floor(turns)) * 512) & 511;
        constexpr uint8_t kBestQuality = 6, kBestReliability = 5, kBestConfidence = 15;
        report.hasClap = true;
        report.amplitude = 255;
        first.type = kSoundDirection;
        first.data[0] = kBestQuality | kBestReliability << 4;
        first.data[1] = static_cast<uint8_t>(kBestConfidence | (direction & 0x0F) << 4);
        first.data[2] = static_cast<uint8_t>(direction >> 4);
    } else if (mBatteryIsDue) {
        mBatteryIsDue = false;
        constexpr unsigned kMillivoltsWhenFull = 4100;
        first.type = kBattery;
        const unsigned charge = mModel.type == ZK_ROBOT_QUILL ? (mIsCharging ? 1u : 0u) | (mBattery & 7) << 2
                                                              : (mIsCharging ? 0x80u : 0u) | (mBattery & 0x1F);
        const unsigned volt = kMillivoltsWhenFull * (mBattery + 10) / (mModel.fullBattery + 10u);
        first.data[0] = static_cast<uint8_t>(charge);
        first.data[1] = ZKHAL::low8(volt);
        first.data[2] = static_cast<uint8_t>(volt >> 8 & 0x1F);
    } else if (mChassis.posesReached() > 0) {
        first.type = kWatermark;
        first.data[0] = ZKHAL::low8(mChassis.posesReached());
    }
    mHasReported = true;
    report.events[1].type = kSparseClap;
    report.events[1].data[0] = static_cast<uint8_t>(mClapCount & 0x0F);
}

// The reading whose distance is nearest to that of the wall.
uint8_t VirtualRobot::reflectance(int model, double directionDegrees) const
{
    using Distances = std::array<double, 256>;
    static const std::array<Distances, 3> kDistances = [] {
        const BRReflectance sensors;
        std::array<Distances, 3> all;
        for (size_t each = 0; each < all.size(); ++each) {
            for (size_t byte = 0; byte < all[each].size(); ++byte) {
                all[each][byte] =
                    sensors.distanceForReflectance(static_cast<BRReflectanceModel>(each), static_cast<double>(byte));
            }
        }
        return all;
    }();
    const Pose& place = mChassis.place();
    const double angle = static_cast<double>(place.heading) / 1e6 + directionDegrees * kDegree;
    const double distance = mRoom.distanceToWall(static_cast<double>(place.x) / 1e4, static_cast<double>(place.y) / 1e4,
                                                 cosine(angle), sine(angle)) -
                            kBodyRadius_cm;
    const Distances& distances = kDistances[static_cast<size_t>(model)];
    size_t best = 0;
    for (size_t byte = 1; byte < distances.size(); ++byte) {
        if (std::abs(distances[byte] - distance) < std::abs(distances[best] - distance)) {
            best = byte;
        }
    }
    return static_cast<uint8_t>(best);
}

// ---- What goes out ---------------------------------------------------------------------------------------------

void VirtualRobot::notify(const char* channel, std::string data)
{
    if (mNotifications.size() == kMostNotifications) {
        mNotifications.pop_front();
        ++mState.notificationsLost;
    }
    mNotifications.push_back({channel, std::move(data)});
}

bool VirtualRobot::nextNotification(Notification& notification)
{
    if (mNotifications.empty()) {
        return false;
    }
    notification = std::move(mNotifications.front());
    mNotifications.pop_front();
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
