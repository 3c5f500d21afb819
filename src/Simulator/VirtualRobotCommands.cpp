// What each command does to a virtual robot.
#include "Simulator/VirtualRobot.h"

#include <algorithm>
#include <utility>

#include "CoreUtility/Numbers.h"
#include "HAL/RobotMessages/WireCommands.h"
#include "Simulator/VirtualRobotDetails.h"

namespace Simulator {

using namespace HAL;

namespace {

constexpr double kSoundSeconds = 1, kAnimationSeconds = 2;
constexpr size_t kMostPings = 64;

uint8_t byteOf(const RobotCommand& command, const FieldLayout& field)
{
    return ZKHAL::low8(command.raw(field));
}

template <class Row, size_t kCount>
constexpr bool runBesideWireCommands(const Row (&rows)[kCount])
{
    for (size_t i = 0; i < kCount && i < kWireCommandCount; ++i) {
        if (rows[i].code != kWireCommands[i].code || rows[i].subCode != kWireCommands[i].subCode) {
            return false;
        }
    }
    return kCount == kWireCommandCount;
}

}  // namespace

// Beside kWireCommands, which says which robots have what a command is for.
struct VirtualRobot::CommandRow {
    uint8_t code;
    int subCode;
    bool (VirtualRobot::*obey)(const RobotCommand& command);  // false: there are too many
};

constexpr VirtualRobot::CommandRow VirtualRobot::kCommands[] = {
    {kCmdWheels, kNoSubCode, &VirtualRobot::onWheels},
    {kCmdBodyMotion, kNoSubCode, &VirtualRobot::onBodyMotion},
    {kCmdRgb104, kNoSubCode, &VirtualRobot::onColorLight},
    {kCmdLed105, kNoSubCode, &VirtualRobot::onLight},
    {kCmdHeadPan, kNoSubCode, &VirtualRobot::onHeadAngle},
    {kCmdHeadTilt, kNoSubCode, &VirtualRobot::onHeadAngle},
    {kCmdEyeBrightness, kNoSubCode, &VirtualRobot::onEyeBrightness},
    {kCmdEyeBitmap, kNoSubCode, &VirtualRobot::onEyeLights},
    {kCmdEyeAnimation, kNoSubCode, &VirtualRobot::onEyeAnimation},
    {kCmdRgb102, kNoSubCode, &VirtualRobot::onColorLight},
    {kCmdRgb103, kNoSubCode, &VirtualRobot::onColorLight},
    {kCmdLed106, kNoSubCode, &VirtualRobot::onLight},
    {kCmdVolume, kNoSubCode, &VirtualRobot::onVolume},
    {kCmdNoParams210, kNoSubCode, &VirtualRobot::onSignal},
    {kCmdPan207, kNoSubCode, &VirtualRobot::onHeadMove},
    {kCmdTilt206, kNoSubCode, &VirtualRobot::onHeadMove},
    {kCmdPan209, kNoSubCode, &VirtualRobot::onHeadSpeed},
    {kCmdTilt208, kNoSubCode, &VirtualRobot::onHeadSpeed},
    {kCmdBodyPoseMode3, kNoSubCode, &VirtualRobot::onHoldPose},
    {kCmdSound, kNoSubCode, &VirtualRobot::onSound},
    {kCmdStopSound, kNoSubCode, &VirtualRobot::onStopSound},
    {kCmdUserSettings, kSettingName, &VirtualRobot::onSetting},
    {kCmdUserSettings, kSettingColor, &VirtualRobot::onSetting},
    {kCmdUserSettings, kSettingAnim, &VirtualRobot::onSetting},
    {kCmdUserSettings, kSettingVolume, &VirtualRobot::onSetting},
    {kCmdUserSettings, kSettingEyeBrightness, &VirtualRobot::onSetting},
    {kCmdUserSettings, kSettingAvatar, &VirtualRobot::onSetting},
    {kCmdUserSettings, kSettingColorAnim, &VirtualRobot::onSetting},
    {kCmdClock, kClockSet, &VirtualRobot::onClock},
    {kCmdSynth, kNoSubCode, &VirtualRobot::onSynth},
    {kCmdBodyPose, kNoSubCode, &VirtualRobot::onBodyPose},
    {kCmdBodyMotionWithAcceleration, kNoSubCode, &VirtualRobot::onBodyMotion},
    {kCmdAnimByName, kNoSubCode, &VirtualRobot::onAnimation},
    {kCmdNoParams212, kNoSubCode, &VirtualRobot::onSignal},
    {kCmdSynthUpdate, kNoSubCode, &VirtualRobot::onSynthUpdate},
    {kCmdBodyPoseMode4, kNoSubCode, &VirtualRobot::onGlobalPose},
    {kCmdBodyMotionPose, kNoSubCode, &VirtualRobot::onBodyMotion},
    {kCmdAnimWithoutName, kNoSubCode, &VirtualRobot::onAnimation},
    {kCmdRgb107, kNoSubCode, &VirtualRobot::onColorLight},
    {kCmdLed3, kNoSubCode, &VirtualRobot::onThreeLights},
    {kCmdEyeBrightnessQuad, kNoSubCode, &VirtualRobot::onEyeBrightness},
    {kCmdLed109, kNoSubCode, &VirtualRobot::onLight},
    {kCmdLed110, kNoSubCode, &VirtualRobot::onLight},
    {kCmdLed111, kNoSubCode, &VirtualRobot::onLight},
    {kCmdBehaviourStart, kNoSubCode, &VirtualRobot::onBehaviourStart},
    {kCmdBehaviourStop, kNoSubCode, &VirtualRobot::onBehaviourStop},
    {kCmdPan207Hold, kNoSubCode, &VirtualRobot::onHeadMove},
    {kCmdTilt206Hold, kNoSubCode, &VirtualRobot::onHeadMove},
    {kCmdLauncher400, kNoSubCode, &VirtualRobot::onLauncher},
    {kCmdLauncher401, kNoSubCode, &VirtualRobot::onLauncher},
    {kCmdScalar213, kNoSubCode, &VirtualRobot::onPercentage},
    {kCmdScalar214, kNoSubCode, &VirtualRobot::onPercentage},
    {kCmdCombined, kNoSubCode, &VirtualRobot::onCombined},
    {kCmdLedMessage, kNoSubCode, &VirtualRobot::onLightMessage},
    {kCmdPower, kNoSubCode, &VirtualRobot::onPower},
    {kCmdPing, kNoSubCode, &VirtualRobot::onPing},
};

void VirtualRobot::obey(const RobotCommand& command)
{
    static_assert(runBesideWireCommands(kCommands), "kCommands is found by the place of the command in kWireCommands");
    const auto row = static_cast<size_t>(&command.command() - kWireCommands);
    const std::string words = command.inWords();
    if ((command.command().robots & robotSet(mModel.type)) == 0) {
        complain(mState.commandsIgnored, "it has nothing for: " + words);
        return;
    }
    if ((this->*kCommands[row].obey)(command)) {
        ++mState.commandsDone;
        tell(words);
    } else {
        complain(mState.commandsIgnored, "too many to keep: " + words);
    }
}

bool VirtualRobot::onWheels(const RobotCommand& command)
{
    mChassis.driveWheels(command.value(Field::kLeft), command.value(Field::kRight));
    return true;
}

bool VirtualRobot::onBodyMotion(const RobotCommand& command)
{
    mChassis.driveBody(command.value(Field::kLinear), command.value(Field::kAngular),
                       command.value(Field::kLinearAcceleration), command.value(Field::kAngularAcceleration));
    return true;
}

bool VirtualRobot::onBodyPose(const RobotCommand& command)
{
    enum WireMode { kRelative = 1, kGlobal = 3 };  // mode 5 of a document comes as 3
    const double seconds = command.value(Field::kPoseTime);
    const bool isEased = command.raw(Field::kEase) != 0;
    if (command.raw(Field::kMode) == kRelative) {
        mChassis.approachRelative(command.value(Field::kX), command.value(Field::kY), command.value(Field::kHeading),
                                  seconds, isEased);
    } else if (command.raw(Field::kMode) == kGlobal) {
        mChassis.approach(poseOf(command.value(Field::kX), command.value(Field::kY), command.value(Field::kHeading)),
                          seconds, isEased);
    } else {
        mChassis.stop();
    }
    return true;
}

bool VirtualRobot::onGlobalPose(const RobotCommand& command)
{
    mChassis.approach(
        poseOf(command.value(Field::kWideX), command.value(Field::kWideY), command.value(Field::kWideHeading)),
        command.value(Field::kWideTime), false);
    return true;
}

bool VirtualRobot::onHoldPose(const RobotCommand&)
{
    mChassis.stop();
    return true;
}

bool VirtualRobot::onHeadAngle(const RobotCommand& command)
{
    (command.code() == kCmdHeadPan ? mPan : mTilt).moveTo(command.value(Field::kHeadAngle));
    return true;
}

bool VirtualRobot::onHeadMove(const RobotCommand& command)
{
    const bool isHeld = command.code() == kCmdPan207Hold || command.code() == kCmdTilt206Hold;
    const bool isPan = command.code() == kCmdPan207 || command.code() == kCmdPan207Hold;
    (isPan ? mPan : mTilt)
        .moveTo(command.value(Field::kMoveAngle), command.value(isHeld ? Field::kHoldTime : Field::kMoveTime));
    return true;
}

bool VirtualRobot::onHeadSpeed(const RobotCommand& command)
{
    (command.code() == kCmdPan209 ? mPan : mTilt).moveOn(command.value(Field::kHeadSpeed) / kDegree);
    return true;
}

bool VirtualRobot::onColorLight(const RobotCommand& command)
{
    ZKVirtualColor& light = command.code() == kCmdRgb102   ? mState.light102
                            : command.code() == kCmdRgb103 ? mState.light103
                            : command.code() == kCmdRgb104 ? mState.light104
                                                           : mState.light107;
    light = {byteOf(command, Field::kRed), byteOf(command, Field::kGreen), byteOf(command, Field::kBlue)};
    return true;
}

bool VirtualRobot::onLight(const RobotCommand& command)
{
    uint8_t& light = command.code() == kCmdLed105   ? mState.light105
                     : command.code() == kCmdLed106 ? mState.light106
                     : command.code() == kCmdLed109 ? mState.light109
                     : command.code() == kCmdLed110 ? mState.light110
                                                    : mState.light111;
    light = byteOf(command, Field::kBrightness);
    return true;
}

bool VirtualRobot::onThreeLights(const RobotCommand& command)
{
    for (size_t i = 0; i < 3; ++i) {
        mState.light108[i] = byteOf(command, Field::kThreeLights[i]);
    }
    return true;
}

bool VirtualRobot::onEyeLights(const RobotCommand& command)
{
    mState.eyeLights = ZKHAL::low16(command.raw(Field::kEyeLights));
    return true;
}

bool VirtualRobot::onEyeAnimation(const RobotCommand& command)
{
    mState.eyeAnimation = byteOf(command, Field::kPattern);
    return true;
}

bool VirtualRobot::onEyeBrightness(const RobotCommand& command)
{
    const bool isWhole = command.code() == kCmdEyeBrightness;
    for (size_t i = 0; i < 4; ++i) {
        mState.eyeBrightness[i] = byteOf(command, isWhole ? Field::kBrightness : Field::kQuarters[i]);
    }
    return true;
}

bool VirtualRobot::onLightMessage(const RobotCommand& command)
{
    mState.lightMessage = byteOf(command, Field::kMessage);
    mState.lightMessageLights = byteOf(command, Field::kMessageLights);
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
    mState.volume = byteOf(command, Field::kVolume);
    return true;
}

bool VirtualRobot::onSynth(const RobotCommand& command)
{
    mState.synthDuration = ZKHAL::low16(command.raw(Field::kDuration));
    mState.synthPercentage[0] = ZKHAL::low16(command.raw(Field::kPercentage1));
    mState.synthPercentage[1] = ZKHAL::low16(command.raw(Field::kPercentage2));
    for (size_t i = 0; i < 4; ++i) {
        mState.synthType[i] = byteOf(command, Field::kTones[i].type);
        mState.synthFrequency[i] = command.value(Field::kTones[i].frequency);
        mState.synthPhase[i] = byteOf(command, Field::kTones[i].phase);
    }
    mSoundLeft = mState.synthDuration / 1000.0;  // as milliseconds
    return true;
}

bool VirtualRobot::onSynthUpdate(const RobotCommand& command)
{
    for (size_t i = 0; i < 4; ++i) {
        mState.synthFrequency[i] = command.value(Field::kUpdatedTones[i]);
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
    mState.launcher[which] = byteOf(command, Field::kLauncher);
    ++mState.launches[which];
    return true;
}

bool VirtualRobot::onPercentage(const RobotCommand& command)
{
    mState.percentage[command.code() == kCmdScalar213 ? 0 : 1] = static_cast<int8_t>(command.raw(Field::kPercent));
    return true;
}

bool VirtualRobot::onSignal(const RobotCommand& command)
{
    ++mState.signals[command.code() == kCmdNoParams210 ? 0 : 1];
    return true;
}

bool VirtualRobot::onBehaviourStart(const RobotCommand& command)
{
    const uint16_t id = ZKHAL::low16(command.raw(Field::kBehaviourId));
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
    const uint16_t* const left = std::remove(mState.behaviours, end, ZKHAL::low16(command.raw(Field::kBehaviourId)));
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
            mState.personalityColor = byteOf(command, Field::kSetting);
            break;
        case kSettingAnim:
            mState.personalityAnimation = byteOf(command, Field::kSetting);
            break;
        case kSettingVolume:
            mState.personalityVolume = byteOf(command, Field::kSetting);
            break;
        case kSettingEyeBrightness:
            mState.personalityEyeBrightness = byteOf(command, Field::kSetting);
            break;
        case kSettingAvatar:
            mState.avatar = byteOf(command, Field::kSetting);
            break;
        default:
            mState.personalityColor = byteOf(command, Field::kSettingColor);
            mState.personalityAnimation = byteOf(command, Field::kSettingAnimation);
            break;
    }
    return true;
}

bool VirtualRobot::onPower(const RobotCommand& command)
{
    mState.power = byteOf(command, Field::kState);
    return true;
}

bool VirtualRobot::onClock(const RobotCommand& command)
{
    mState.clock = ZKHAL::low32(command.raw(Field::kSeconds));
    return true;
}

bool VirtualRobot::onPing(const RobotCommand& command)
{
    if (mPings.size() == kMostPings) {
        return false;
    }
    mPings.push_back(ZKHAL::low16(command.raw(Field::kPingId)));
    return true;
}

// Lights are on every robot; wheels and a head only on some.
bool VirtualRobot::onCombined(const RobotCommand& command)
{
    if (mModel.hasWheels) {
        mChassis.driveWheels(command.value(Field::kLeft), command.value(Field::kRight));
        mPan.moveTo(command.value(Field::kCombinedPan) / kDegree);
        mTilt.moveTo(command.value(Field::kCombinedTilt) / kDegree);
    } else {
        complain(mState.commandsIgnored, "it has no wheels and no head: of the combined state it shows the lights");
    }
    const auto color = [&](const FieldLayout(&light)[3]) {
        return ZKVirtualColor{byteOf(command, light[0]), byteOf(command, light[1]), byteOf(command, light[2])};
    };
    mState.light104 = color(Field::kCombined104);
    mState.light102 = color(Field::kCombined102);
    mState.light103 = color(Field::kCombined103);
    mState.eyeLights = ZKHAL::low16(command.raw(Field::kCombinedEyeLights));
    return true;
}

}  // namespace Simulator
