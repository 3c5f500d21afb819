#include "HAL/RobotHardware/CommandEncoders.h"

#include <cmath>
#include <cstring>

#include "CoreUtility/Bits.h"
#include "CoreUtility/ByteOrder.h"
#include "CoreUtility/Numbers.h"
#include "HAL/RobotHardware/CommandBits.h"
#include "HAL/RobotHardware/CommandPacking.h"
#include "HAL/RobotHardware/RobotHW.h"
#include "HAL/RobotHardware/WholePacketCommands.h"
#include "HAL/RobotMessages/WireCommands.h"

namespace HAL {

namespace {

using ZKHAL::clampReal;
using ZKHAL::low16;
using ZKHAL::low8;
using ZKHAL::roundHalfAway;
using ZKHAL::truncate;

// ---- Field conversions -----------------------------------------------------------------------------------------

constexpr double kMinInt16 = -32768, kMaxInt16 = 32767, kMaxUInt16 = 65535;

uint16_t wheelUnits(const HALMotorWheel_t& wheel)
{
    return low16(truncate(wheel.speed / 100 / (1.0 / 3000)));  // 30 units per cm/s
}

// The negated angle in hundredths of a degree, as a real.
double servoHundredths(const HALMotorServo_t& servo)
{
    return -100 * servo.angle / ZKHAL::kTwoPi * 360;
}

uint16_t roundClamped(double value, double low, double high)
{
    return low16(roundHalfAway(clampReal(value, low, high)));
}

// ---- Commands --------------------------------------------------------------------------------------------------

Placement encodeCombined(robot_hw0_cmd_data* data, RobotHW*)
{
    data->commandMask &= ~(kCombinedBits | kSwallowedBits);
    uint8_t* bytes = nullptr;
    const Room room = appendWholePacket(*data, bytes);
    if (room.packet != nullptr) {
        *bytes++ = kCmdCombined;
        bytes = bigEndianEncode16(bytes, wheelUnits(data->wheelLeft));
        bytes = bigEndianEncode16(bytes, wheelUnits(data->wheelRight));
        // Hundredths of a radian and not negated, unlike commands 0x06 and 0x07, on purpose.
        bytes = bigEndianEncode16(bytes, low16(roundHalfAway(data->headPan.angle * 100)));
        bytes = bigEndianEncode16(bytes, low16(roundHalfAway(data->headTilt.angle * 100)));
        for (const HALRGB_t* light : {&data->rgb104, &data->rgb102, &data->rgb103}) {
            *bytes++ = light->red;
            *bytes++ = light->green;
            *bytes++ = light->blue;
        }
        bigEndianEncode16(bytes, data->eyeRing.ledBitmap);
    }
    return room.placement;
}

Placement encodeWheels(robot_hw0_cmd_data* data, RobotHW*)
{
    return tryEncodeCommandBig16_2(data, kWheelBits, kCmdWheels, wheelUnits(data->wheelLeft),
                                   wheelUnits(data->wheelRight));
}

template <uint64_t kMask, uint8_t kCommand, auto kLight>
Placement encodeRGB(robot_hw0_cmd_data* data, RobotHW*)
{
    return tryEncodeCommandRGB(data, kMask, kCommand, data->*kLight);
}

template <uint64_t kMask, uint8_t kCommand, auto kLight>
Placement encodeLED(robot_hw0_cmd_data* data, RobotHW*)
{
    return tryEncodeCommand___8_1(data, kMask, kCommand, (data->*kLight).brightness);
}

Placement encodeLED3(robot_hw0_cmd_data* data, RobotHW*)
{
    const HALLED3_t& lights = data->led108;
    return tryEncodeCommand___8_3(data, kBitLed3, kCmdLed3, lights.brightness1, lights.brightness2, lights.brightness3);
}

template <uint64_t kMask, uint8_t kCommand>
Placement encodeNoParams(robot_hw0_cmd_data* data, RobotHW*)
{
    return tryEncodeCommand___8_0(data, kMask, kCommand);
}

// "STOPSOUND" anywhere in the name.
bool namesStopSound(const HALSpeaker_t& speaker)
{
    constexpr char kStop[] = "STOPSOUND";
    constexpr int kLength = sizeof kStop - 1;
    for (int at = 0; at + kLength <= kMediaNameLength; ++at) {
        if (std::memcmp(speaker.fileName + at, kStop, kLength) == 0) {
            return true;
        }
    }
    return false;
}

Placement encodeSound(robot_hw0_cmd_data* data, RobotHW* robot)
{
    testAndClearCommandMaskBit(data, kBitSound);
    const Room room = findRoom(*data, 1 + kMediaNameLength);  // also for the short form
    if (room.packet != nullptr) {
        if (namesStopSound(data->speaker)) {
            *room.append(1) = kCmdStopSound;
        } else {
            uint8_t* bytes = room.append(1 + kMediaNameLength);
            *bytes = kCmdSound;
            std::memcpy(bytes + 1, data->speaker.fileName, kMediaNameLength);
        }
        robot->invalidateCachedSynthSettings();  // the sound overwrites the robot's synthesizer state
    }
    return room.placement;
}

Placement encodeAnimByName(robot_hw0_cmd_data* data, RobotHW*)
{
    uint8_t bytes[1 + kMediaNameLength] = {kCmdAnimByName};
    std::memcpy(bytes + 1, data->anim.fileName, kMediaNameLength);
    return tryEncode(data, kBitAnimByName, bytes);
}

template <uint64_t kMask, uint8_t kCommand, auto kServo>
Placement encodeServoAngle(robot_hw0_cmd_data* data, RobotHW*)
{
    return tryEncodeCommandBig16_1(data, kMask, kCommand, low16(roundHalfAway(servoHundredths(data->*kServo))));
}

template <uint64_t kMask, uint8_t kCommand, uint8_t kHoldCommand, auto kServo>
Placement encodeServoMove(robot_hw0_cmd_data* data, RobotHW*)
{
    const HALMotorServo_t& servo = data->*kServo;
    const uint16_t angle = low16(truncate(clampReal(std::round(servoHundredths(servo)), kMinInt16, kMaxInt16)));
    if (servo.hold != 0) {
        const auto hundredths = static_cast<uint16_t>((roundHalfAway(100 * servo.time) & 0x3FFF) | 0x4000);
        return tryEncodeCommandBig16_2(data, kMask, kHoldCommand, angle, hundredths);
    }
    // Milliseconds here, hundredths of a second above: the two units differ on purpose.
    const uint16_t milliseconds = low16(truncate(clampReal(std::round(1000 * servo.time), kMinInt16, kMaxInt16)));
    return tryEncodeCommandBig16_2(data, kMask, kCommand, angle, milliseconds);
}

template <uint64_t kMask, uint8_t kCommand, auto kServo>
Placement encodeServoSpeed(robot_hw0_cmd_data* data, RobotHW*)
{
    const double units = clampReal(1000 * (data->*kServo).angularSpeed / 8, kMinInt16, kMaxInt16);
    return tryEncodeCommandBig16_1(data, kMask, kCommand, low16(truncate(units)));
}

template <uint64_t kMask, uint8_t kCommand, auto kScalar>
Placement encodePercentage(robot_hw0_cmd_data* data, RobotHW*)
{
    return tryEncodeCommand___8_1(data, kMask, kCommand,
                                  low8(roundHalfAway(clampReal((data->*kScalar).percent, -100.0, 100.0))));
}

template <uint64_t kMask, uint8_t kCommand, auto kLauncher>
Placement encodeLauncher(robot_hw0_cmd_data* data, RobotHW*)
{
    return tryEncodeCommand___8_1(data, kMask, kCommand, (data->*kLauncher).value);
}

Placement encodeEyeBrightness(robot_hw0_cmd_data* data, RobotHW*)
{
    return tryEncodeCommand___8_1(data, kBitEyeBrightness, kCmdEyeBrightness, data->eyeRing.brightness);
}

Placement encodeEyeBrightnessQuad(robot_hw0_cmd_data* data, RobotHW*)
{
    const uint8_t* quad = data->eyeRing.brightnessQuad;
    return tryEncodeCommand___8_4(data, kBitEyeBrightnessQuad, kCmdEyeBrightnessQuad, quad[0], quad[1], quad[2],
                                  quad[3]);
}

Placement encodeEyeBitmap(robot_hw0_cmd_data* data, RobotHW*)
{
    return tryEncodeCommandBig16_1(data, kBitEyeBitmap, kCmdEyeBitmap, data->eyeRing.ledBitmap);
}

Placement encodeEyeAnimation(robot_hw0_cmd_data* data, RobotHW*)
{
    return tryEncodeCommand___8_3(data, kBitEyeAnimation, kCmdEyeAnimation, low8(data->eyeRing.animationId), 0xFF,
                                  0x01);
}

Placement encodeVolume(robot_hw0_cmd_data* data, RobotHW*)
{
    return tryEncodeCommand___8_1(data, kBitVolume, kCmdVolume, low8(data->speaker.volume));
}

Placement encodeBodyMotion(robot_hw0_cmd_data* data, RobotHW*)
{
    const HALBodyMotionLinearAngular_t& motion = data->bodyMotion;
    const int64_t linear = truncate(clampReal(10 * motion.linearVelocity / 2, -750.0, 750.0));
    const int64_t angular = truncate(clampReal(1000 * motion.angularVelocity / 8, -1000.0, 1000.0));
    // Bits 8 to 10 of both 11-bit values share a byte.
    const uint8_t highBits = low8((linear >> 8 & 7) | (angular >> 8 & 7) << 3);
    if (std::isnan(motion.linearAcceleration) || std::isnan(motion.angularAcceleration)) {
        return tryEncodeCommand___8_3(data, kBitBodyMotion, motion.isPose != 0 ? kCmdBodyMotionPose : kCmdBodyMotion,
                                      low8(linear), low8(angular), highBits);
    }
    const int64_t linearAcc = truncate(clampReal(std::fabs(motion.linearAcceleration), 0.0, 1023.0));
    const int64_t angularAcc = truncate(clampReal(1000 * std::fabs(motion.angularAcceleration) / 64, 0.0, 1023.0));
    const uint8_t bytes[7] = {kCmdBodyMotionWithAcceleration,
                              low8(linear),
                              low8(angular),
                              highBits,
                              low8(linearAcc),
                              low8(angularAcc),
                              low8((linearAcc >> 8 & 3) | (angularAcc >> 8 & 3) << 2)};
    return tryEncode(data, kBitBodyMotion, bytes);
}

constexpr uint32_t kPoseRelative = 1, kPoseMode3 = 3, kPoseMode4 = 4, kPoseMode5 = 5;

Placement encodeBodyPose(robot_hw0_cmd_data* data, RobotHW* robot)
{
    testAndClearCommandMaskBit(data, kBitBodyPose);
    constexpr uint32_t kSize = 9;
    const Room room = findRoom(*data, kSize);
    if (room.packet == nullptr) {
        return room.placement;  // the robot will not see this pose, so its remainder stays too
    }
    const HALBodyPose_t& pose = data->bodyPose;
    if (pose.mode <= kPoseMode5 && pose.mode != kPoseRelative) {
        robot->setPoseAngleRemainder(0);
    }
    uint8_t* bytes = room.append(kSize);
    if (pose.mode == kPoseMode3 || pose.mode == kPoseMode4) {
        *bytes++ = pose.mode == kPoseMode3 ? kCmdBodyPoseMode3 : kCmdBodyPoseMode4;
        bytes = bigEndianEncode16(bytes, roundClamped(10 * pose.x, kMinInt16, kMaxInt16));
        bytes = bigEndianEncode16(bytes, roundClamped(10 * pose.y, kMinInt16, kMaxInt16));
        bytes = bigEndianEncode16(bytes, roundClamped(100 * pose.theta, kMinInt16, kMaxInt16));
        bigEndianEncode16(bytes, roundClamped(1000 * pose.time, 0, kMaxUInt16));
        return room.placement;
    }
    const int64_t x = roundHalfAway(10 * pose.x);
    const int64_t y = roundHalfAway(10 * pose.y);
    // What rounding takes from this angle is given to the next relative one.
    const double exact = 100 * pose.theta - robot->poseAngleRemainder();
    const double rounded = std::isfinite(exact) ? std::round(exact) : 0;
    robot->setPoseAngleRemainder(std::isfinite(exact) ? rounded - exact : 0);
    const int64_t theta = truncate(rounded);
    const uint32_t mode = pose.mode == kPoseMode5 ? 3 : pose.mode & 3;
    bytes[0] = kCmdBodyPose;
    bytes[1] = low8(x);
    bytes[2] = low8(y);
    bytes[3] = low8(theta);
    bigEndianEncode16(bytes + 4, low16(truncate(clampReal(1000 * pose.time, 0.0, kMaxUInt16))));
    bytes[6] = low8((x >> 8 & 0x3F) | (theta >> 8 & 3) << 6);
    bytes[7] = low8((y >> 8 & 0x3F) | (theta >> 10 & 3) << 6);
    bytes[8] = low8(mode << 6 | (pose.ease != 0 ? 1u : 0u) << 5 | (pose.wrapTheta & 1) << 4 | (pose.dir & 0xFF));
    return room.placement;
}

Placement encodePower(robot_hw0_cmd_data* data, RobotHW*)
{
    return tryEncodeCommand___8_1(data, kBitPower, kCmdPower, low8(data->power.state));
}

Placement encodePing(robot_hw0_cmd_data* data, RobotHW*)
{
    return tryEncodeCommandLtl16_1(data, kBitPing, kCmdPing, data->ping.pingId);  // low byte first, on purpose
}

Placement encodeBehaviourStart(robot_hw0_cmd_data* data, RobotHW* robot)
{
    const HALPamplemousse_t& behaviour = data->pamplemousseStart;
    uint8_t bytes[4 + kBehaviourParams] = {kCmdBehaviourStart};
    bigEndianEncode16(bytes + 1, behaviour.commandId);
    bytes[3] = behaviour.weight;
    std::memcpy(bytes + 4, behaviour.params, kBehaviourParams);
    if (robot->getRobotType() != ZK_ROBOT_QUILL) {
        testAndClearCommandMaskBit(data, kBitBehaviourStart);
        return Placement::NotPending;  // only a Quill has behaviours
    }
    return tryEncode(data, kBitBehaviourStart, bytes);
}

Placement encodeBehaviourStop(robot_hw0_cmd_data* data, RobotHW* robot)
{
    if (robot->getRobotType() != ZK_ROBOT_QUILL) {
        testAndClearCommandMaskBit(data, kBitBehaviourStop);
        return Placement::NotPending;
    }
    return tryEncodeCommandBig16_1(data, kBitBehaviourStop, kCmdBehaviourStop, data->pamplemousseStop.commandId);
}

Placement encodeLedMessage(robot_hw0_cmd_data* data, RobotHW*)
{
    const HALLedMsg_t& message = data->ledMsg;
    const uint8_t number = low8((message.message & 63) | (message.flag1 & 1) << 6 | (message.flag2 & 1) << 7);
    const uint8_t bytes[3] = {kCmdLedMessage, number, message.ledMask};
    return tryEncode(data, kBitLedMessage, bytes);
}

struct PackingRow {
    const char* words;
    uint64_t mask;  // all bits must be set
    Placement (*encode)(robot_hw0_cmd_data*, RobotHW*);
};

template <uint64_t kMask, uint8_t kCommand>
constexpr PackingRow rowOf(Placement (*encode)(robot_hw0_cmd_data*, RobotHW*))
{
    return {wireCommand(kCommand).words, kMask, encode};
}

template <uint64_t kMask, uint8_t kSubCommand, void (*kWrite)(const HALUserSetting_t&, uint8_t*)>
constexpr PackingRow settingRow()
{
    return {wireCommand(kCmdUserSettings, kSubCommand).words, kMask, encodeSetting<kMask, kSubCommand, kWrite>};
}

// Earlier rows get first pick of the free bytes: this order is part of the wire format.
constexpr PackingRow kPacking[] = {
    rowOf<kCombinedBits, kCmdCombined>(encodeCombined),
    rowOf<kWheelBits, kCmdWheels>(encodeWheels),
    rowOf<kBitRgb104, kCmdRgb104>(encodeRGB<kBitRgb104, kCmdRgb104, &robot_hw0_cmd_data::rgb104>),
    rowOf<kBitRgb102, kCmdRgb102>(encodeRGB<kBitRgb102, kCmdRgb102, &robot_hw0_cmd_data::rgb102>),
    rowOf<kBitRgb103, kCmdRgb103>(encodeRGB<kBitRgb103, kCmdRgb103, &robot_hw0_cmd_data::rgb103>),
    rowOf<kBitRgb107, kCmdRgb107>(encodeRGB<kBitRgb107, kCmdRgb107, &robot_hw0_cmd_data::rgb107>),
    rowOf<kBitLed3, kCmdLed3>(encodeLED3),
    rowOf<kBitLed109, kCmdLed109>(encodeLED<kBitLed109, kCmdLed109, &robot_hw0_cmd_data::led109>),
    rowOf<kBitLed110, kCmdLed110>(encodeLED<kBitLed110, kCmdLed110, &robot_hw0_cmd_data::led110>),
    rowOf<kBitLed111, kCmdLed111>(encodeLED<kBitLed111, kCmdLed111, &robot_hw0_cmd_data::led111>),
    rowOf<kBitLed105, kCmdLed105>(encodeLED<kBitLed105, kCmdLed105, &robot_hw0_cmd_data::led105>),
    rowOf<kBitLed106, kCmdLed106>(encodeLED<kBitLed106, kCmdLed106, &robot_hw0_cmd_data::led106>),
    rowOf<kBitSound, kCmdSound>(encodeSound),
    rowOf<kBitAnimByName, kCmdAnimByName>(encodeAnimByName),
    rowOf<kBitAnimWithoutName, kCmdAnimWithoutName>(encodeNoParams<kBitAnimWithoutName, kCmdAnimWithoutName>),
    settingRow<kBitSettingName, kSettingName, writeName>(),
    settingRow<kBitSettingColor, kSettingColor, writeColor>(),
    settingRow<kBitSettingAnim, kSettingAnim, writeAnim>(),
    settingRow<kBitSettingColorAnim, kSettingColorAnim, writeColorAnim>(),
    settingRow<kBitSettingAvatar, kSettingAvatar, writeAvatar>(),
    settingRow<kBitSettingVolume, kSettingVolume, writeVolume>(),
    settingRow<kBitSettingEyeBrightness, kSettingEyeBrightness, writeEyeBrightness>(),
    {wireCommand(kCmdClock, kClockSet).words, kBitClock, encodeClock},
    rowOf<kBitNoParams1A, kCmdStopSound>(encodeNoParams<kBitNoParams1A, kCmdStopSound>),
    rowOf<kBitHeadPan, kCmdHeadPan>(encodeServoAngle<kBitHeadPan, kCmdHeadPan, &robot_hw0_cmd_data::headPan>),
    rowOf<kBitHeadTilt, kCmdHeadTilt>(encodeServoAngle<kBitHeadTilt, kCmdHeadTilt, &robot_hw0_cmd_data::headTilt>),
    rowOf<kBitPan207, kCmdPan207>(encodeServoMove<kBitPan207, kCmdPan207, kCmdPan207Hold, &robot_hw0_cmd_data::pan207>),
    rowOf<kBitTilt206, kCmdTilt206>(
        encodeServoMove<kBitTilt206, kCmdTilt206, kCmdTilt206Hold, &robot_hw0_cmd_data::tilt206>),
    rowOf<kBitPan209, kCmdPan209>(encodeServoSpeed<kBitPan209, kCmdPan209, &robot_hw0_cmd_data::pan209>),
    rowOf<kBitTilt208, kCmdTilt208>(encodeServoSpeed<kBitTilt208, kCmdTilt208, &robot_hw0_cmd_data::tilt208>),
    rowOf<kBitScalar213, kCmdScalar213>(encodePercentage<kBitScalar213, kCmdScalar213, &robot_hw0_cmd_data::scalar213>),
    rowOf<kBitScalar214, kCmdScalar214>(encodePercentage<kBitScalar214, kCmdScalar214, &robot_hw0_cmd_data::scalar214>),
    rowOf<kBitNoParams210, kCmdNoParams210>(encodeNoParams<kBitNoParams210, kCmdNoParams210>),
    rowOf<kBitLauncher400, kCmdLauncher400>(
        encodeLauncher<kBitLauncher400, kCmdLauncher400, &robot_hw0_cmd_data::launcher400>),
    rowOf<kBitLauncher401, kCmdLauncher401>(
        encodeLauncher<kBitLauncher401, kCmdLauncher401, &robot_hw0_cmd_data::launcher401>),
    rowOf<kBitEyeBrightness, kCmdEyeBrightness>(encodeEyeBrightness),
    rowOf<kBitEyeBrightnessQuad, kCmdEyeBrightnessQuad>(encodeEyeBrightnessQuad),
    rowOf<kBitEyeBitmap, kCmdEyeBitmap>(encodeEyeBitmap),
    rowOf<kBitEyeAnimation, kCmdEyeAnimation>(encodeEyeAnimation),
    rowOf<kBitVolume, kCmdVolume>(encodeVolume),
    rowOf<kBitBodyMotion, kCmdBodyMotion>(encodeBodyMotion),
    rowOf<kBitBodyPose, kCmdBodyPose>(encodeBodyPose),
    rowOf<kBitPower, kCmdPower>(encodePower),
    rowOf<kBitPing, kCmdPing>(encodePing),
    rowOf<kBitNoParams212, kCmdNoParams212>(encodeNoParams<kBitNoParams212, kCmdNoParams212>),
    rowOf<kBitSynth, kCmdSynth>(encodeSynth),
    rowOf<kBitBehaviourStart, kCmdBehaviourStart>(encodeBehaviourStart),
    rowOf<kBitBehaviourStop, kCmdBehaviourStop>(encodeBehaviourStop),
    rowOf<kBitLedMessage, kCmdLedMessage>(encodeLedMessage),
};
constexpr size_t kPackingRows = sizeof kPacking / sizeof kPacking[0];
static_assert(kPackingRows <= 64, "the rows to visit are a set of bits");

// For each command bit the later row that it takes part in; the combined state, row 0, is looked at by itself.
struct RowOfBit {
    uint8_t row[64];
};
constexpr RowOfBit rowOfBit()
{
    RowOfBit rows{};
    for (size_t row = 1; row < kPackingRows; ++row) {
        for (int bit = 0; bit < 64; ++bit) {
            if ((kPacking[row].mask >> bit & 1) != 0) {
                rows.row[bit] = static_cast<uint8_t>(row);
            }
        }
    }
    return rows;
}
constexpr RowOfBit kRowOfBit = rowOfBit();

void packRow(const PackingRow& row, robot_hw0_cmd_data* data, RobotHW* robot, PackTrace* trace)
{
    const uint64_t before = data->commandMask;
    if ((before & row.mask) != row.mask) {
        return;
    }
    const Placement placement = row.encode(data, robot);
    if (trace != nullptr) {
        trace->push_back({row.words, row.mask, (before ^ data->commandMask) & ~row.mask, placement});
    }
}

}  // namespace

void packPending(robot_hw0_cmd_data* data, RobotHW* robot, PackTrace* trace)
{
    packRow(kPacking[0], data, robot, trace);
    uint64_t rows = 0;
    for (uint64_t bits = data->commandMask; bits != 0; bits &= bits - 1) {
        rows |= uint64_t{1} << kRowOfBit.row[ZKHAL::countTrailingZeros(bits)];
    }
    for (; rows != 0; rows &= rows - 1) {
        packRow(kPacking[ZKHAL::countTrailingZeros(rows)], data, robot, trace);
    }
}

}  // namespace HAL
