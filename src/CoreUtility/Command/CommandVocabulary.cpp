// Longer than most: the parameters of all components stand in one place, to be read and changed together.
#include "CoreUtility/Command/CommandVocabulary.h"

#include <cstring>
#include <limits>

#include "CoreUtility/Assertion.h"
#include "CoreUtility/Command/Behaviours.h"
#include "CoreUtility/Command/BotMessengerBuffer.h"
#include "CoreUtility/Command/ParamRows.h"
#include "CoreUtility/Messages.h"
#include "CoreUtility/Numbers.h"
#include "CoreUtility/Text.h"

namespace APICore {

namespace {

using HAL::Ctlr2BotMsg;
using ZKHAL::clampReal;
using ZKHAL::decimalPrefix;
using ZKHAL::low16;
using ZKHAL::low8;
using ZKHAL::orEmpty;
using ZKHAL::printOut;
using ZKHAL::truncate;
using When = LimitCase::When;

constexpr ParamList kNoParams = {nullptr, 0};

constexpr LimitCase onlyOn(HAL::RobotSet robots, Limits limits)
{
    return {robots, When::Always, nullptr, nullptr, {}, limits};
}

// ---- Lights ----------------------------------------------------------------------------------------------------

constexpr ParamRow kLedParams[] = {level<&HALLED_t::brightness>("brightness", "brightness", "how bright")};
constexpr ParamRow kLed3Params[] = {
    level<&HALLED3_t::brightness1>("1", "light_1", "the first light"),
    level<&HALLED3_t::brightness2>("2", "light_2", "the second light"),
    level<&HALLED3_t::brightness3>("3", "light_3", "the third light"),
};
constexpr ParamRow kRgbParams[] = {
    level<&HALRGB_t::red>("r", "red", "red part"),
    level<&HALRGB_t::green>("g", "green", "green part"),
    level<&HALRGB_t::blue>("b", "blue", "blue part"),
};

void storeEyeBrightness(void* record, const nx_json& value, const ParseContext&)
{
    auto& eye = *static_cast<HALEyeRing_t*>(record);
    eye.brightnessMode = 0;
    if (value.type != NX_JSON_ARRAY) {
        eye.brightness = parseBrightnessValue(&value);
    } else if (value.length == 1) {
        eye.brightness = parseBrightnessValue(value.child);
    } else if (value.length == 4) {
        eye.brightnessMode = 1;
        const nx_json* element = value.child;
        for (uint8_t& quarter : eye.brightnessQuad) {
            quarter = parseBrightnessValue(element);
            element = element->next;
        }
    } else {
        eye.brightness = 255;
        printOut("error: unsupported brightness mode: %d\n", value.length);
    }
}

// Element i of an array is bit i, but light n of an object is bit n, and light 12 is bit 0: both stay as they are.
void storeEyeLights(void* record, const nx_json& value, const ParseContext&)
{
    auto& eye = *static_cast<HALEyeRing_t*>(record);
    eye.animationId = kNoEyeAnimation;
    eye.ledBitmap = 0;
    if (value.type == NX_JSON_ARRAY) {
        int bit = 0;
        for (const nx_json* element = value.child; element != nullptr && bit < 16; element = element->next, ++bit) {
            if (element->int_value > 0) {
                eye.ledBitmap = static_cast<uint16_t>(eye.ledBitmap | 1 << bit);
            }
        }
    } else if (value.type == NX_JSON_OBJECT) {
        for (const nx_json* member = value.child; member != nullptr; member = member->next) {
            if (member->int_value > 0) {
                const int ledNum = decimalPrefix(member->key);
                ZK_ASSERT(ledNum >= 1);
                ZK_ASSERT(ledNum <= _ZK_EYE_LED_COUNT);
                eye.ledBitmap = static_cast<uint16_t>(eye.ledBitmap | 1 << (ledNum % _ZK_EYE_LED_COUNT));
            }
        }
    } else {
        printOut("error: malformed json for eyering\n");
    }
}

constexpr char kEyeLightsKey[] = "index";

constexpr ParamRow kEyeRingParams[] = {
    whole<&HALEyeRing_t::animationId>("animation", "animation", kByte, "a built-in pattern").sharing(kEyeLightsKey),
    {storeEyeBrightness,
     ParamKind::EyeBrightness,
     "brightness",
     "brightness",
     "",
     "how bright: a level, or above 1 the byte itself; a list of four for the quarters",
     {kByte}},
    ParamRow(storeEyeLights, ParamKind::EyeLights, kEyeLightsKey, "lights", "", "which of its 12 lights are on",
             {kUnit, Beyond::Limited})
        .sharing("animation")
        .absent(kNothing),
};

const nx_json* findBadEyeLight(const nx_json* params, const nx_json* after)
{
    bool passed = after == nullptr;
    for (const nx_json* param = params->child; param != nullptr; param = param->next) {
        if (std::strcmp(orEmpty(param->key), kEyeLightsKey) != 0 || param->type != NX_JSON_OBJECT) {
            continue;
        }
        for (const nx_json* member = param->child; member != nullptr; member = member->next) {
            const int number = decimalPrefix(member->key);
            if (passed && member->int_value > 0 && (number < 1 || number > _ZK_EYE_LED_COUNT)) {
                return member;
            }
            passed = passed || member == after;
        }
    }
    return nullptr;
}

void storeMessage(void* record, const nx_json& value, const ParseContext&)
{
    if (value.int_value < 0 || value.int_value > 255) {
        printOut("Parsing LedMsg: message out of range : %ld\n", static_cast<long>(value.int_value));
    }
    static_cast<HALLedMsg_t*>(record)->message = low8(value.int_value);
}

void storeMessageLights(void* record, const nx_json& value, const ParseContext&)
{
    if (value.type != NX_JSON_ARRAY) {
        printOut("Parsing LedMsg: LEDs not at array\n");
        return;
    }
    uint8_t& mask = static_cast<HALLedMsg_t*>(record)->ledMask;
    for (const nx_json* element = value.child; element != nullptr; element = element->next) {
        const uint8_t bit = messageLightBit(element->int_value);
        if (bit == 0) {
            printOut("Parsing LedMsg: unrecognized LED: \"%s\"\n", orEmpty(element->text_value));
        }
        mask = static_cast<uint8_t>(mask | bit);
    }
}

constexpr ParamRow kLedMessageParams[] = {
    {storeMessage, ParamKind::Whole, "message", "message", "", "number of the message", {{0, 63}}},
    {storeMessageLights,
     ParamKind::Lights,
     "LEDs",
     "lights",
     "",
     "which show it: 102, 103, 104 (or 101), 106 (or 107)",
     {{101, 107}}},
};

// ---- Wheels and body -------------------------------------------------------------------------------------------

constexpr Limits kWheelLimits = {{-1092.2, 1092.2}};  // 16 bits, 30 units for each cm/s

constexpr ParamRow kLeftWheelParams[] = {
    real<&HALMotorWheel_t::speed>("cm_s", "speed", "cm/s", kWheelLimits, "speed of the wheel's surface")
        .sharing("left_cm_s", ZK_COMPONENT_BODY_WHEELS),
};
constexpr ParamRow kRightWheelParams[] = {
    real<&HALMotorWheel_t::speed>("cm_s", "speed", "cm/s", kWheelLimits, "speed of the wheel's surface")
        .sharing("right_cm_s", ZK_COMPONENT_BODY_WHEELS),
};

template <auto kWheel>
void storeWheel(void* record, const nx_json& value, const ParseContext&)
{
    (static_cast<BothWheels*>(record)->*kWheel)->speed = value.dbl_value;
}

constexpr ParamRow kBothWheelsParams[] = {
    ParamRow(storeWheel<&BothWheels::left>, ParamKind::Real, "left_cm_s", "left", "cm/s", "speed of the left wheel",
             kWheelLimits)
        .sharing("cm_s", ZK_COMPONENT_WHEEL_LEFT),
    ParamRow(storeWheel<&BothWheels::right>, ParamKind::Real, "right_cm_s", "right", "cm/s", "speed of the right wheel",
             kWheelLimits)
        .sharing("cm_s", ZK_COMPONENT_WHEEL_RIGHT),
};

constexpr char kLinearAccKey[] = "linear_acc_cm_s_s", kAngularAccKey[] = "angular_acc_deg_s_s";
constexpr LimitCase kNotWithAcceleration[] = {
    {HAL::kEveryRobot, When::BothGiven, kLinearAccKey, kAngularAccKey, {}, kNotSent}};
constexpr LimitCase kNotWithoutAngular[] = {{HAL::kEveryRobot, When::NotGiven, kAngularAccKey, nullptr, {}, kNotSent}};
constexpr LimitCase kNotWithoutLinear[] = {{HAL::kEveryRobot, When::NotGiven, kLinearAccKey, nullptr, {}, kNotSent}};

constexpr ParamRow kBodyMotionParams[] = {
    real<&HALBodyMotionLinearAngular_t::linearVelocity>("linear_cm_s", "linear", "cm/s", {{-150, 150}, Beyond::Limited},
                                                        "speed forward"),
    real<&HALBodyMotionLinearAngular_t::angularVelocity>("angular_cm_s", "angular_rad", "rad/s",
                                                         {{-8, 8}, Beyond::Limited},
                                                         "turning speed to the left, in rad/s in spite of its name")
        .sharing("angular_deg_s"),
    degrees<&HALBodyMotionLinearAngular_t::angularVelocity>(
        "angular_deg_s", "angular", "degrees/s", {{-458.366, 458.366}, Beyond::Limited}, "turning speed to the left")
        .sharing("angular_cm_s"),
    real<&HALBodyMotionLinearAngular_t::linearAcceleration>(
        kLinearAccKey, "linear_acceleration", "cm/s^2", {{0, 1023}, Beyond::Magnitude}, "how fast the speed changes")
        .when(kNotWithoutAngular)
        .absent(kNothing)
        .forgotten(),
    degrees<&HALBodyMotionLinearAngular_t::angularAcceleration>(kAngularAccKey, "angular_acceleration", "degrees/s^2",
                                                                {{0, 3751.27}, Beyond::Magnitude},
                                                                "how fast the turning speed changes")
        .when(kNotWithoutLinear)
        .absent(kNothing)
        .forgotten(),
    flag<&HALBodyMotionLinearAngular_t::isPose>("pose", "pose", "count as a pose")
        .when(kNotWithAcceleration)
        .forgotten(),
};

void fillBodyMotion(void* record, const nx_json* params, const ParseContext& context)
{
    auto& motion = *static_cast<HALBodyMotionLinearAngular_t*>(record);
    motion.isPose = 0;
    motion.linearAcceleration = std::numeric_limits<double>::quiet_NaN();
    motion.angularAcceleration = std::numeric_limits<double>::quiet_NaN();
    storeParams(listOf(kBodyMotionParams), params, record, context);
}

// Modes 3 and 4 send whole 16-bit numbers; the others fewer bits, and more of them.
constexpr char kModeKey[] = "mode";
constexpr Range kWideModes = {3, 4};
constexpr LimitCase inWideModes(Limits limits)
{
    return {HAL::kEveryRobot, When::Within, kModeKey, nullptr, kWideModes, limits, 32};
}
constexpr LimitCase kWidePlace[] = {inWideModes({{-3276.8, 3276.7}, Beyond::Limited})};
constexpr LimitCase kWideHeading[] = {inWideModes({{-18774.6, 18774.1}, Beyond::Limited})};
constexpr LimitCase kNotInWideModes[] = {inWideModes(kNotSent)};

constexpr ParamRow kBodyPoseParams[] = {
    real<&HALBodyPose_t::x>("x", "x", "cm", {{-819.2, 819.1}}, "forward").when(kWidePlace),
    real<&HALBodyPose_t::y>("y", "y", "cm", {{-819.2, 819.1}}, "to the left").when(kWidePlace),
    degrees<&HALBodyPose_t::theta>("degree", "heading", "degrees", {{-1173.1, 1172.5}}, "heading, to the left")
        .when(kWideHeading),
    real<&HALBodyPose_t::time>("time", "time", "s", {{0, 65.535}, Beyond::Limited}, "time to get there"),
    whole<&HALBodyPose_t::mode>(kModeKey, "mode", {0, 5},
                                "1: from where it is; 4: on the floor; 5: on the floor, smoothly; 0, 2, 3: stay"),
    whole<&HALBodyPose_t::dir>("dir", "direction", {0, 15}, "direction of driving").when(kNotInWideModes),
    whole<&HALBodyPose_t::wrapTheta>("wrap_theta", "wrap", kUnit, "turn the shorter way").when(kNotInWideModes),
    flag<&HALBodyPose_t::ease>("ease", "ease", "begin and end gently").when(kNotInWideModes),
};

// ---- Head ------------------------------------------------------------------------------------------------------

constexpr Limits headLimits(const HAL::HeadRange& head, bool isPan)
{
    return isPan ? Limits{{static_cast<double>(head.panLow), static_cast<double>(head.panHigh)}, Beyond::Limited}
                 : Limits{{static_cast<double>(head.tiltLow), static_cast<double>(head.tiltHigh)}, Beyond::Limited};
}

template <bool kIsPan>
constexpr LimitCase kHeadOfQuill[] = {onlyOn(HAL::kQuill, headLimits(HAL::headRange(ZK_ROBOT_QUILL), kIsPan))};

template <bool kIsPan>
double clampHeadServoValue(const HAL::RobotHW* robot, double angleDegrees)
{
    const uint32_t robotType = robot != nullptr ? robot->getRobotType() : 0;
    if (robotType != ZK_ROBOT_QUILL && robotType != ZK_ROBOT_ORVIK) {
        printOut("unhandled robot type (%i) for head servo value, defaulting to orvik\n", static_cast<int>(robotType));
    }
    const Range range = headLimits(HAL::headRange(robotType), kIsPan).range;
    return clampReal(angleDegrees, range.low, range.high);
}

template <bool kIsPan>
void storeHeadAngle(void* record, const nx_json& value, const ParseContext& context)
{
    const auto limited = static_cast<float>(clampHeadServoValue<kIsPan>(context.robot, value.dbl_value));
    static_cast<HALMotorServo_t*>(record)->angle = ZKHAL::radiansFromDegrees(static_cast<double>(limited));
}

// All servo components read the same parameters. What is sent of them differs.
enum class Servo { Angle, Move, Speed };

constexpr ParamRow sentIf(bool isSent, ParamRow row)
{
    return isSent ? row : row.when(kNeverSent);
}

constexpr Limits kSpeedLimits = {{-262.144, 262.136}, Beyond::Limited};  // rad/s: 16 bits, 125 units each
constexpr Limits kDegreeSpeedLimits = {{-15019.7, 15019.2}, Beyond::Limited};
constexpr LimitCase kTimeOfHold[] = {{HAL::kEveryRobot, When::NonZero, "hold", nullptr, {}, {{0, 163.83}}}};

template <bool kIsPan, Servo kServo>
constexpr ParamRow kServoParams[] = {
    sentIf(kServo != Servo::Speed,
           ParamRow(storeHeadAngle<kIsPan>, ParamKind::Real, "degree", "angle", "degrees",
                    kIsPan ? "angle to the left" : "angle upward", headLimits(HAL::kOrvikRow.head, kIsPan))
               .when(kHeadOfQuill<kIsPan>)),
    sentIf(kServo == Servo::Move,
           real<&HALMotorServo_t::time>("time", "time", "s", {{-32.768, 32.767}, Beyond::Limited}, "time for the move")
               .when(kTimeOfHold)),
    sentIf(kServo == Servo::Speed,
           real<&HALMotorServo_t::angularSpeed>("angular_cm_s", "speed_rad", "rad/s", kSpeedLimits,
                                                "turning speed, in rad/s in spite of its name")
               .sharing("angular_deg_s")),
    sentIf(kServo == Servo::Speed, degrees<&HALMotorServo_t::angularSpeed>("angular_deg_s", "speed", "degrees/s",
                                                                           kDegreeSpeedLimits, "turning speed")
                                       .sharing("angular_cm_s")),
    sentIf(kServo == Servo::Move, flag<&HALMotorServo_t::hold>("hold", "hold", "stay powered at the angle")),
};

// ---- Sound and animation ---------------------------------------------------------------------------------------

template <auto kField>
void storeMediaName(void* record, const nx_json& value, const ParseContext&)
{
    _parseMediaCommand(&value, recordOf(record, kField).*kField);
}

constexpr Limits kMediaNameLimits = {{0, kMediaNameLength}};

void storeVolume(void* record, const nx_json& value, const ParseContext&)
{
    static_cast<HALSpeaker_t*>(record)->volume = low16(truncate(value.dbl_value * 100));
}

constexpr ParamRow kSpeakerParams[] = {
    ParamRow(storeMediaName<&HALSpeaker_t::fileName>, ParamKind::Text, "file", "file", "",
             "name of the sound; \"STOPSOUND\" stops it", kMediaNameLimits)
        .absent(kNothing),
    {storeVolume, ParamKind::Real, "volume", "volume", "", "how loud", {kUnit, Beyond::NotSent}},
};
constexpr ParamRow kAnimParams[] = {
    ParamRow(storeMediaName<&HALAnim_t::fileName>, ParamKind::Text, "file", "file", "", "name of the animation",
             kMediaNameLimits)
        .absent(kNothing),
};

constexpr ParamRow kToneParams[] = {
    whole<&HALSynthTone_t::type>("type", "type", kThreeBits, "waveform").firstOfTwo(),
    real<&HALSynthTone_t::frequency>("freq", "frequency", "Hz", {{0, 6553.5}}, "pitch").firstOfTwo(),
    real<&HALSynthTone_t::phase>("phase", "phase", "", {kByte}, "where in its wave it begins").firstOfTwo(),
};

// All three are written, with 0 for what is absent; of a key given twice the first counts.
template <int kTone>
void storeTone(void* record, const nx_json& value, const ParseContext& context)
{
    const nx_json* next = value.child;  // all before it have other keys, so it is the first with its own
    for (const ParamRow& row : kToneParams) {
        const bool inOrder = next != nullptr && context.isKey(row.comparedKey, next->key);
        row.store(&static_cast<HALAudioSynth_t*>(record)->tones[kTone], inOrder ? *next : *nx_json_get(&value, row.key),
                  context);
        next = inOrder ? next->next : next;
    }
}

template <int kTone>
constexpr ParamRow tone(const char* key, const char* name)
{
    ParamRow row(storeTone<kTone>, ParamKind::Object, key, name, "", "a tone", {});
    row.members = listOf(kToneParams);
    return row;
}

constexpr ParamRow kSynthParams[] = {
    whole<&HALAudioSynth_t::type>("type", "type", kByte, "compared with the last one, and not sent").when(kNeverSent),
    whole<&HALAudioSynth_t::duration>("duration", "duration", kTwelveBits, "how long; 0 goes on"),
    whole<&HALAudioSynth_t::perc1>("perc1", "percentage_1", kTwelveBits, "first percentage"),
    whole<&HALAudioSynth_t::perc2>("perc2", "percentage_2", kTwelveBits, "second percentage"),
    tone<0>("tone1", "tone_1"),
    tone<1>("tone2", "tone_2"),
    tone<2>("tone3", "tone_3"),
    tone<3>("tone4", "tone_4"),
};

// ---- The others ------------------------------------------------------------------------------------------------

constexpr ParamRow kPowerParams[] = {whole<&HALPower_t::state>("pwr", "state", kByte, "number of the power command")};
constexpr ParamRow kPingParams[] = {
    whole<&HALPing_t::pingId>("pingID", "ping_id", kWord, "the robot sends it back with a count of its pings")};

constexpr char kPercentKey[] = "prcnt";

void storePercent(void* record, const nx_json& value, const ParseContext&)
{
    static_cast<HALComponentScalar_t*>(record)->percent = clampReal(value.dbl_value, -100.0, 100.0);
}

constexpr ParamRow kScalarParams[] = {
    ParamRow(storePercent, ParamKind::Real, kPercentKey, "percent", "%", "percentage", {{-100, 100}, Beyond::Limited})
        .firstOfTwo(),
};

void fillScalar(void* record, const nx_json* params, const ParseContext& context)
{
    // The first of several counts here, and a null counts as present.
    const nx_json* percent = nx_json_get(params, kPercentKey);
    if (percent == nx_json_get(nullptr, nullptr)) {
        const auto id = static_cast<const HALComponentScalar_t*>(record)->componentId;
        printOut("malformed json for component %d: missing %s\n\n", static_cast<int>(id), kPercentKey);
        return;
    }
    kScalarParams[0].store(record, *percent, context);
}

void storeDirection(void* record, const nx_json& value, const ParseContext&)
{
    static_cast<HALLauncher_t*>(record)->value = value.int_value == 1 ? 1 : 2;
}

constexpr ParamRow kLauncherParams[] = {
    ParamRow(storeLimitedLevel<&HALLauncher_t::value>, ParamKind::Level, "cm_s", "power", "", "how hard it launches",
             {kUnit, Beyond::Limited})
        .sharing("dir"),
    ParamRow(storeDirection, ParamKind::Whole, "dir", "direction", "", "which way", {{1, 2}, Beyond::ReadAs, 2})
        .sharing("cm_s")
        .absent(kNothing),
};

void storeRobotName(void* record, const nx_json& value, const ParseContext&)
{
    auto& settings = *static_cast<HALUserSetting_t*>(record);
    const char* name = orEmpty(value.text_value);
    ZKHAL::copyToField(settings.name, sizeof settings.name, name, std::strlen(name));
}

constexpr ParamRow kUserSettingParams[] = {
    ParamRow(storeRobotName, ParamKind::Text, "name", "name", "", "name of the robot", {{0, kRobotNameLength}})
        .absent(kNothing)
        .forgotten(),
    whole<&HALUserSetting_t::colorId>("color", "color", kThreeBits, "personality colour").absent(kNothing).forgotten(),
    whole<&HALUserSetting_t::animId>("anim", "animation", kThreeBits, "personality animation")
        .absent(kNothing)
        .forgotten(),
    whole<&HALUserSetting_t::avatarId>("avatar", "avatar", {0, 254}, "picture of the robot")
        .absent(kNothing)
        .forgotten(),
    real<&HALUserSetting_t::pvolume>("pvolume", "volume", "", {kUnit, Beyond::NotSent}, "personality volume"),
    real<&HALUserSetting_t::peyebright>("peyebright", "eye_brightness", "", {kUnit, Beyond::NotSent},
                                        "personality eye brightness"),
};

void fillUserSettings(void* record, const nx_json* params, const ParseContext& context)
{
    auto& settings = *static_cast<HALUserSetting_t*>(record);
    std::memset(settings.name, 0, sizeof settings.name);
    settings.colorId = settings.animId = settings.avatarId = kSettingNotGiven;
    storeParams(listOf(kUserSettingParams), params, record, context);
    // The robot takes colour and animation together: what is not given stays as the robot advertised it.
    if (context.robot == nullptr) {
        return;
    }
    if (settings.colorId != kSettingNotGiven && settings.animId == kSettingNotGiven) {
        settings.animId = context.robot->getRobotPersonalityAnimId();
    } else if (settings.animId != kSettingNotGiven && settings.colorId == kSettingNotGiven) {
        settings.colorId = context.robot->getRobotPersonalityColorId();
    }
}

// ---- The vocabulary --------------------------------------------------------------------------------------------

constexpr char kNoBehaviourId[] = "a behaviour needs an \"id\" other than 65535";
constexpr char kAngleWords[] = "turns as fast as the head can";
constexpr char kMoveWords[] = "turns within a time";
constexpr char kSpeedWords[] = "turns on until it is stopped, or at the end of its range";

template <bool kIsPan, Servo kServo>
constexpr ParamList servo()
{
    return listOf(kServoParams<kIsPan, kServo>);
}

constexpr ComponentRow kRows[] = {
    {ZK_COMPONENT_POWER, listOf(kPowerParams), "switches the robot"},
    {ZK_COMPONENT_EYE_RING, listOf(kEyeRingParams),
     "twelve lights; named without \"brightness\" it goes dark, without \"animation\" or \"index\" it shows animation "
     "0",
     nullptr, findBadEyeLight, "the eye ring has lights 1 to 12"},
    {ZK_COMPONENT_RGB_101, listOf(kRgbParams), "has no colour of its own: the colour of 104 is sent"},
    {ZK_COMPONENT_RGB_102, listOf(kRgbParams), "a light of any colour"},
    {ZK_COMPONENT_RGB_103, listOf(kRgbParams), "a light of any colour"},
    {ZK_COMPONENT_RGB_104, listOf(kRgbParams), "a light of any colour"},
    {ZK_COMPONENT_LED_105, listOf(kLedParams), "a light; its value is read on wheeled robots only"},
    {ZK_COMPONENT_LED_106, listOf(kLedParams), "a light"},
    {ZK_COMPONENT_RGB_107, listOf(kRgbParams), "a light of any colour"},
    {ZK_COMPONENT_LED3_108, listOf(kLed3Params), "three lights"},
    {ZK_COMPONENT_LED_109, listOf(kLedParams), "a light"},
    {ZK_COMPONENT_LED_110, listOf(kLedParams), "a light"},
    {ZK_COMPONENT_LED_111, listOf(kLedParams), "a light"},
    {ZK_COMPONENT_WHEEL_LEFT, listOf(kLeftWheelParams), "goes with the right wheel in the same document"},
    {ZK_COMPONENT_WHEEL_RIGHT, listOf(kRightWheelParams), "goes with the left wheel in the same document"},
    {ZK_COMPONENT_HEAD_TILT, servo<false, Servo::Angle>(), kAngleWords},
    {ZK_COMPONENT_HEAD_PAN, servo<true, Servo::Angle>(), kAngleWords},
    {ZK_COMPONENT_BODY_LINEAR_ANGULAR, listOf(kBodyMotionParams),
     "drives and turns until the next command; both accelerations or none", fillBodyMotion},
    {ZK_COMPONENT_BODY_POSE, listOf(kBodyPoseParams), "drives to a place"},
    {ZK_COMPONENT_TILT_206, servo<false, Servo::Move>(), kMoveWords},
    {ZK_COMPONENT_PAN_207, servo<true, Servo::Move>(), kMoveWords},
    {ZK_COMPONENT_TILT_208, servo<false, Servo::Speed>(), kSpeedWords},
    {ZK_COMPONENT_PAN_209, servo<true, Servo::Speed>(), kSpeedWords},
    {ZK_COMPONENT_NO_PARAMS_210, kNoParams, "naming it is the command"},
    {ZK_COMPONENT_BODY_WHEELS, listOf(kBothWheelsParams), "drives with each wheel at its speed until the next command"},
    {ZK_COMPONENT_NO_PARAMS_212, kNoParams, "naming it is the command"},
    {ZK_COMPONENT_SCALAR_213, listOf(kScalarParams), "a percentage", fillScalar},
    {ZK_COMPONENT_SCALAR_214, listOf(kScalarParams), "a percentage", fillScalar},
    {ZK_COMPONENT_SPEAKER, listOf(kSpeakerParams), "plays a sound of the robot; without \"volume\" it is silent"},
    {ZK_COMPONENT_ON_ROBOT_ANIM, listOf(kAnimParams), "plays an animation of the robot"},
    {ZK_COMPONENT_AUDIO_SYNTH, listOf(kSynthParams), "four tones at once"},
    {ZK_COMPONENT_305, kNoParams, "reported as unknown, and nothing is sent"},
    {ZK_COMPONENT_LAUNCHER_400, listOf(kLauncherParams), "launches"},
    {ZK_COMPONENT_LAUNCHER_401, listOf(kLauncherParams), "launches"},
    {ZK_COMPONENT_LED_MESSAGE, listOf(kLedMessageParams), "a message that lights show"},
    {ZK_COMPONENT_PAMPLEMOUSSE_START, listOf(kBehaviourStart.rows), "starts a behaviour", fillBehaviourStart,
     findMissingBehaviourId, kNoBehaviourId},
    {ZK_COMPONENT_PAMPLEMOUSSE_STOP, listOf(kBehaviourStop.rows), "stops a behaviour", fillBehaviourStop,
     findMissingBehaviourId, kNoBehaviourId},
    {ZK_COMPONENT_USER_SETTINGS, listOf(kUserSettingParams),
     "one setting a document: the first given of name, colour and animation, avatar, volume, eye brightness",
     fillUserSettings},
    {ZK_COMPONENT_6001, kNoParams, "sends the time, though it is reported as unknown"},
    {ZK_COMPONENT_PING, listOf(kPingParams), "asks for an answer among the sensors"},
};
static_assert(HAL::runsBesideComponents(kRows), "kRows is found by componentIndex()");

}  // namespace

bool LimitCase::holds(HAL::RobotSet robot, const GivenParams& given) const
{
    if ((robots & robot) == 0) {
        return false;
    }
    const auto valueOf = [this, &given] {
        const auto value = static_cast<uint64_t>(given.whole(key));
        return bits < 64 ? value & ((uint64_t{1} << bits) - 1) : value;
    };
    switch (when) {
        case When::Always:
            return true;
        case When::Within:
            return is.contains(static_cast<double>(valueOf()));
        case When::NonZero:
            return valueOf() != 0;
        case When::BothGiven:
            return given.find(key) != nullptr && given.find(key2) != nullptr;
        case When::NotGiven:
            return given.find(key) == nullptr;
    }
    return false;
}

void GivenParams::add(const nx_json* params)
{
    mLastNaming = params;
    ++mNamings;
    const nx_json* before[kMost] = {};
    for (size_t i = 0; i < mList.count; ++i) {
        mParams[i] = mList.rows[i].isForgotten ? nullptr : mParams[i];
        before[i] = mParams[i];
    }
    for (const nx_json* param = params->child; param != nullptr; param = param->next) {
        if (const ParamRow* row = mList.find(orEmpty(param->key))) {
            const auto i = static_cast<size_t>(row - mList.rows);
            if (!row->isFirstOfTwo || mParams[i] == before[i]) {
                mParams[i] = param;
            }
        }
    }
}

const Limits& ParamRow::limitsFor(HAL::RobotSet robot, const GivenParams& given) const
{
    for (size_t i = 0; i < caseCount; ++i) {
        if (cases[i].holds(robot, given)) {
            return cases[i].limits;
        }
    }
    return limits;
}

const ParamRow* ParamList::find(const char* key) const
{
    for (const ParamRow& row : *this) {
        if (row.comparedKey.isSameAs(key)) {
            return &row;
        }
    }
    return nullptr;
}

uint8_t messageLightBit(int64_t light)
{
    switch (light) {
        case 102:
            return 1;
        case 103:
            return 2;
        case 101:
        case 104:
            return 4;
        case 106:
        case 107:
            return 8;
        default:
            return 0;
    }
}

const ComponentRow& componentRow(size_t component)
{
    return kRows[component];
}

const ComponentRow* findComponent(uint32_t id)
{
    const int index = HAL::componentIndex(id);
    return index >= 0 && HAL::kComponents[index].kind != HAL::kNoRecordKind ? &kRows[index] : nullptr;
}

void fillRecord(const ComponentRow& row, void* record, const nx_json* params, const ParseContext& context)
{
    if (row.fillSpecially != nullptr) {
        row.fillSpecially(record, params, context);
    } else {
        storeParams(row.params, params, record, context);
    }
}

bool fillComponent(const Ctlr2BotMsg& message, size_t component, const nx_json* params, const ParseContext& context)
{
    const ComponentRow& row = kRows[component];
    const HAL::RecordKind kind = HAL::kComponents[component].kind;
    if (row.id == ZK_COMPONENT_BODY_WHEELS) {
        BothWheels wheels = {message.getMotorWheelStorage(ZK_COMPONENT_WHEEL_LEFT),
                             message.getMotorWheelStorage(ZK_COMPONENT_WHEEL_RIGHT)};
        if (wheels.left != nullptr && wheels.right != nullptr) {
            fillRecord(row, &wheels, params, context);
        }
    } else if (void* record = message.record(kind, component)) {
        fillRecord(row, record, params, context);
    }
    return kind != HAL::kNoRecordKind;
}

}  // namespace APICore
