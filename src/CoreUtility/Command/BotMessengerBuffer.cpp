#include "CoreUtility/Command/BotMessengerBuffer.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

#include "CoreUtility/Assertion.h"
#include "CoreUtility/Command/CommandVocabulary.h"
#include "CoreUtility/Json/JsonDocument.h"
#include "CoreUtility/Messages.h"
#include "CoreUtility/Numbers.h"
#include "CoreUtility/Text.h"
#include "HAL/RobotHardware/CommandBits.h"
#include "HAL/RobotHardware/RobotHW_rev0.h"
#include "HAL/RobotMessages/Components.h"

namespace APICore {

namespace {

using HAL::Ctlr2BotMsg;
using ZKHAL::clampReal;
using ZKHAL::decimalPrefix;
using ZKHAL::levelByte;
using ZKHAL::low16;
using ZKHAL::low32;
using ZKHAL::low8;
using ZKHAL::orEmpty;
using ZKHAL::printOut;
using ZKHAL::truncate;

// ---- How one parameter is stored -------------------------------------------------------------------------------

template <class Record, class Field>
Record& recordOf(void* record, Field Record::*)
{
    return *static_cast<Record*>(record);
}

// The low bits of the integer view, as many as the field has.
template <auto kField>
void integer(void* record, const nx_json& value, const ParseContext&)
{
    auto& field = recordOf(record, kField).*kField;
    using Field = std::remove_reference_t<decltype(field)>;
    field = static_cast<Field>(static_cast<std::make_unsigned_t<Field>>(static_cast<uint64_t>(value.int_value)));
}

template <auto kField>
void flag(void* record, const nx_json& value, const ParseContext&)
{
    recordOf(record, kField).*kField = value.int_value != 0 ? 1 : 0;
}

template <auto kField>
void real(void* record, const nx_json& value, const ParseContext&)
{
    recordOf(record, kField).*kField = value.dbl_value;
}

template <auto kField>
void degrees(void* record, const nx_json& value, const ParseContext&)
{
    recordOf(record, kField).*kField = ZKHAL::radiansFromDegrees(value.dbl_value);
}

template <auto kField>
void level(void* record, const nx_json& value, const ParseContext&)
{
    recordOf(record, kField).*kField = levelByte(value.dbl_value);
}

template <auto kField>
void levelLimited(void* record, const nx_json& value, const ParseContext&)
{
    recordOf(record, kField).*kField = levelByte(clampReal(value.dbl_value, 0.0, 1.0));
}

template <size_t kCount>
constexpr ParamList listOf(const ParamRow (&rows)[kCount])
{
    return {rows, kCount};
}

constexpr ParamList kNoParams = {nullptr, 0};

// Keys mostly come in the order of their rows.
inline void storeParams(const ParamList& list, const nx_json* params, void* record, const ParseContext& context)
{
    const ParamRow* next = list.rows;
    const ParamRow* const end = list.rows + list.count;
    for (const nx_json* param = params->child; param != nullptr; param = param->next) {
        const ParamRow* row = next;
        if (row == end || !context.isKey(row->comparedKey, param->key)) {
            for (row = list.rows; row != end && !context.isKey(row->comparedKey, param->key); ++row) {
            }
        }
        if (row != end) {
            row->store(record, *param, context);
            next = row + 1;
        }
    }
}

// What goes over the air whole.
constexpr Range kWheelRange = {-1092.2, 1092.2};  // cm/s in 16 bits, 30 units each
constexpr Range kByte = {0, 255}, kWord = {0, 65535}, kTwelveBits = {0, 4095}, kUnit = {0, 1};

// ---- Parameters of each component ------------------------------------------------------------------------------

constexpr ParamRow kPowerParams[] = {{"pwr", ParamView::Integer, integer<&HALPower_t::state>, kByte}};
constexpr ParamRow kPingParams[] = {{"pingID", ParamView::Integer, integer<&HALPing_t::pingId>, kWord}};
constexpr ParamRow kLedParams[] = {{"brightness", ParamView::Level, level<&HALLED_t::brightness>, kUnit}};
constexpr ParamRow kLed3Params[] = {
    {"1", ParamView::Level, level<&HALLED3_t::brightness1>, kUnit},
    {"2", ParamView::Level, level<&HALLED3_t::brightness2>, kUnit},
    {"3", ParamView::Level, level<&HALLED3_t::brightness3>, kUnit},
};
constexpr ParamRow kRgbParams[] = {
    {"r", ParamView::Level, level<&HALRGB_t::red>, kUnit},
    {"g", ParamView::Level, level<&HALRGB_t::green>, kUnit},
    {"b", ParamView::Level, level<&HALRGB_t::blue>, kUnit},
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

constexpr ParamRow kEyeRingParams[] = {
    {"animation", ParamView::Integer, integer<&HALEyeRing_t::animationId>, kByte},
    {"brightness", ParamView::Mixed, storeEyeBrightness},
    {"index", ParamView::Mixed, storeEyeLights},
};

constexpr ParamRow kWheelParams[] = {{"cm_s", ParamView::Real, real<&HALMotorWheel_t::speed>, kWheelRange}};

struct BothWheels {
    HALMotorWheel_t* left;
    HALMotorWheel_t* right;
};

constexpr ParamRow kBothWheelsParams[] = {
    {"left_cm_s", ParamView::Real,
     [](void* record, const nx_json& value, const ParseContext&) {
         static_cast<BothWheels*>(record)->left->speed = value.dbl_value;
     },
     kWheelRange},
    {"right_cm_s", ParamView::Real,
     [](void* record, const nx_json& value, const ParseContext&) {
         static_cast<BothWheels*>(record)->right->speed = value.dbl_value;
     },
     kWheelRange},
};

// How far a head turns, in whole degrees.
struct HeadRange {
    int panMin, panMax, tiltMin, tiltMax;
};
constexpr HeadRange kOrvikHead = {-120, 120, -24, 7};
constexpr HeadRange kQuillHead = {-133, 133, -24, 13};

Range rangeOf(const HeadRange& head, bool isPan)
{
    return isPan ? Range{static_cast<double>(head.panMin), static_cast<double>(head.panMax)}
                 : Range{static_cast<double>(head.tiltMin), static_cast<double>(head.tiltMax)};
}

double clampHeadServoValue(const HAL::RobotHW* robot, double angleDegrees, bool isPan)
{
    const uint32_t robotType = robot != nullptr ? robot->getRobotType() : 0;
    if (robotType != ZK_ROBOT_QUILL && robotType != ZK_ROBOT_ORVIK) {
        printOut("unhandled robot type (%i) for head servo value, defaulting to orvik\n", static_cast<int>(robotType));
    }
    const Range range = headRange(robotType, isPan);
    return clampReal(angleDegrees, range.low, range.high);
}

template <bool kIsPan>
void headAngle(void* record, const nx_json& value, const ParseContext& context)
{
    const auto limited = static_cast<float>(clampHeadServoValue(context.robot, value.dbl_value, kIsPan));
    static_cast<HALMotorServo_t*>(record)->angle = ZKHAL::radiansFromDegrees(static_cast<double>(limited));
}

template <bool kIsPan>
constexpr ParamRow kServoParams[] = {
    {"degree", ParamView::Real, headAngle<kIsPan>},
    {"time", ParamView::Real, real<&HALMotorServo_t::time>},
    {"angular_cm_s", ParamView::Real, real<&HALMotorServo_t::angularSpeed>},
    {"angular_deg_s", ParamView::Real, degrees<&HALMotorServo_t::angularSpeed>},
    {"hold", ParamView::Integer, flag<&HALMotorServo_t::hold>},
};
constexpr ParamList kTiltParams = listOf(kServoParams<false>), kPanParams = listOf(kServoParams<true>);

constexpr ParamRow kBodyMotionParams[] = {
    {"linear_cm_s", ParamView::Limited, real<&HALBodyMotionLinearAngular_t::linearVelocity>, {-150, 150}},
    {"angular_cm_s", ParamView::Limited, real<&HALBodyMotionLinearAngular_t::angularVelocity>, {-8, 8}},
    {"angular_deg_s", ParamView::Limited, degrees<&HALBodyMotionLinearAngular_t::angularVelocity>, {-458.3, 458.3}},
    {"linear_acc_cm_s_s", ParamView::Limited, real<&HALBodyMotionLinearAngular_t::linearAcceleration>, {0, 1023}},
    {"angular_acc_deg_s_s", ParamView::Limited, degrees<&HALBodyMotionLinearAngular_t::angularAcceleration>, {0, 3751}},
    {"pose", ParamView::Integer, flag<&HALBodyMotionLinearAngular_t::isPose>},
};

constexpr ParamRow kBodyPoseParams[] = {
    {"x", ParamView::Real, real<&HALBodyPose_t::x>},
    {"y", ParamView::Real, real<&HALBodyPose_t::y>},
    {"degree", ParamView::Real, degrees<&HALBodyPose_t::theta>},
    {"time", ParamView::Real, real<&HALBodyPose_t::time>},
    {"mode", ParamView::Integer, integer<&HALBodyPose_t::mode>, {0, 5}},
    {"dir", ParamView::Integer, integer<&HALBodyPose_t::dir>, {0, 15}},
    {"wrap_theta", ParamView::Integer, integer<&HALBodyPose_t::wrapTheta>, {0, 1}},
    {"ease", ParamView::Integer, flag<&HALBodyPose_t::ease>},
};

constexpr char kPercentKey[] = "prcnt";
constexpr ParamRow kScalarParams[] = {
    {kPercentKey,
     ParamView::Limited,
     [](void* record, const nx_json& value, const ParseContext&) {
         static_cast<HALComponentScalar_t*>(record)->percent = clampReal(value.dbl_value, -100.0, 100.0);
     },
     {-100, 100}},
};

template <auto kField>
void mediaName(void* record, const nx_json& value, const ParseContext&)
{
    _parseMediaCommand(&value, recordOf(record, kField).*kField);
}

constexpr ParamRow kSpeakerParams[] = {
    {"file", ParamView::Text, mediaName<&HALSpeaker_t::fileName>, {0, kMediaNameLength}},
    {"volume", ParamView::Real,
     [](void* record, const nx_json& value, const ParseContext&) {
         static_cast<HALSpeaker_t*>(record)->volume = low16(truncate(value.dbl_value * 100));
     }},
};
constexpr ParamRow kAnimParams[] = {{"file", ParamView::Text, mediaName<&HALAnim_t::fileName>, {0, kMediaNameLength}}};

constexpr ParamRow kToneParams[] = {
    {"type", ParamView::Integer, integer<&HALSynthTone_t::type>, {0, 7}},
    {"freq", ParamView::Real, real<&HALSynthTone_t::frequency>, {0, 6553.5}},
    {"phase", ParamView::Real, real<&HALSynthTone_t::phase>, kByte},
};

// All three are written, with 0 for what is absent; of a key given twice the first counts.
template <int kTone>
void tone(void* record, const nx_json& value, const ParseContext& context)
{
    const nx_json* next = value.child;  // all before it have other keys, so it is the first with its own
    for (const ParamRow& row : kToneParams) {
        const bool inOrder = next != nullptr && context.isKey(row.comparedKey, next->key);
        row.store(&static_cast<HALAudioSynth_t*>(record)->tones[kTone], inOrder ? *next : *nx_json_get(&value, row.key),
                  context);
        next = inOrder ? next->next : next;
    }
}

constexpr ParamRow kSynthParams[] = {
    {"type", ParamView::Integer, integer<&HALAudioSynth_t::type>, kByte},
    {"duration", ParamView::Integer, integer<&HALAudioSynth_t::duration>, kTwelveBits},
    {"perc1", ParamView::Integer, integer<&HALAudioSynth_t::perc1>, kTwelveBits},
    {"perc2", ParamView::Integer, integer<&HALAudioSynth_t::perc2>, kTwelveBits},
    {"tone1", ParamView::Object, tone<0>, {}, listOf(kToneParams)},
    {"tone2", ParamView::Object, tone<1>, {}, listOf(kToneParams)},
    {"tone3", ParamView::Object, tone<2>, {}, listOf(kToneParams)},
    {"tone4", ParamView::Object, tone<3>, {}, listOf(kToneParams)},
};

constexpr ParamRow kLauncherParams[] = {
    {"cm_s", ParamView::Limited, levelLimited<&HALLauncher_t::value>, kUnit},
    {"dir", ParamView::Integer,
     [](void* record, const nx_json& value, const ParseContext&) {
         static_cast<HALLauncher_t*>(record)->value = value.int_value == 1 ? 1 : 2;
     }},
};

uint8_t ledMaskOf(int64_t light)
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

constexpr ParamRow kLedMessageParams[] = {
    {"message",
     ParamView::Integer,
     [](void* record, const nx_json& value, const ParseContext&) {
         if (value.int_value < 0 || value.int_value > 255) {
             printOut("Parsing LedMsg: message out of range : %ld\n", static_cast<long>(value.int_value));
         }
         static_cast<HALLedMsg_t*>(record)->message = low8(value.int_value);
     },
     {0, 63}},
    {"LEDs", ParamView::Array,
     [](void* record, const nx_json& value, const ParseContext&) {
         if (value.type != NX_JSON_ARRAY) {
             printOut("Parsing LedMsg: LEDs not at array\n");
             return;
         }
         uint8_t& mask = static_cast<HALLedMsg_t*>(record)->ledMask;
         for (const nx_json* element = value.child; element != nullptr; element = element->next) {
             const uint8_t bit = ledMaskOf(element->int_value);
             if (bit == 0) {
                 printOut("Parsing LedMsg: unrecognized LED: \"%s\"\n", orEmpty(element->text_value));
             }
             mask = static_cast<uint8_t>(mask | bit);
         }
     }},
};

constexpr ParamRow kUserSettingParams[] = {
    {"name",
     ParamView::Text,
     [](void* record, const nx_json& value, const ParseContext&) {
         auto& settings = *static_cast<HALUserSetting_t*>(record);
         const char* name = orEmpty(value.text_value);
         ZKHAL::copyToField(settings.name, sizeof settings.name, name, std::strlen(name));
     },
     {0, kRobotNameLength}},
    {"color", ParamView::Integer, integer<&HALUserSetting_t::colorId>, {0, 7}},
    {"anim", ParamView::Integer, integer<&HALUserSetting_t::animId>, {0, 7}},
    {"avatar", ParamView::Integer, integer<&HALUserSetting_t::avatarId>},
    {"pvolume", ParamView::Real, real<&HALUserSetting_t::pvolume>},
    {"peyebright", ParamView::Real, real<&HALUserSetting_t::peyebright>},
};

// ---- Behaviours ------------------------------------------------------------------------------------------------

constexpr float kUnset = std::numeric_limits<float>::quiet_NaN();

// A behaviour's named values, before they are packed by its id. Numbers are held in single precision.
struct BehaviourValues {
    HALPamplemousse_t* record;
    bool hasParams = false;  // all six bytes came from "params"
    float ampDegrees = kUnset;
    float ampCmPerS = kUnset;
    float anim = kUnset;
    int backup = -1;
    float meanDegrees = kUnset;
    float periodSeconds = kUnset;
    int repeat = -1;
    float scale = kUnset;
    float sideCm = kUnset;
    float sideSeconds = kUnset;
    float turnSeconds = kUnset;
};

template <auto kField>
void single(void* record, const nx_json& value, const ParseContext&)
{
    static_cast<BehaviourValues*>(record)->*kField = static_cast<float>(value.dbl_value);
}

template <auto kField>
void trueOrFalse(void* record, const nx_json& value, const ParseContext&)
{
    static_cast<BehaviourValues*>(record)->*kField = value.int_value != 0 ? 1 : 0;
}

void storeParamBytes(void* record, const nx_json& value, const ParseContext&)
{
    auto& values = *static_cast<BehaviourValues*>(record);
    if (value.type != NX_JSON_ARRAY) {
        printOut("error: parameters not an array\n");
        return;
    }
    int count = 0;
    for (const nx_json* element = value.child; element != nullptr; element = element->next) {
        values.record->params[count++] = low8(element->int_value);
        if (count == kBehaviourParams) {
            printOut("error: too many parameter bytes\n");  // also for exactly six, on purpose
            break;
        }
    }
    values.hasParams = count == kBehaviourParams;
    if (!values.hasParams) {
        printOut("error: too few parameter bytes\n");
    }
}

constexpr char kBehaviourIdKey[] = "id";

uint16_t behaviourId(const nx_json& value)
{
    return low16(value.int_value);
}

constexpr ParamRow kBehaviourParamRows[] = {
    {kBehaviourIdKey, ParamView::Integer,
     [](void* record, const nx_json& value, const ParseContext&) {
         static_cast<BehaviourValues*>(record)->record->commandId = behaviourId(value);
     }},
    {"weight", ParamView::Limited,
     [](void* record, const nx_json& value, const ParseContext&) {
         static_cast<BehaviourValues*>(record)->record->weight = levelByte(clampReal(value.dbl_value, 0.0, 1.0));
     },
     kUnit},
    {"params", ParamView::Array, storeParamBytes},
    {"amp_deg", ParamView::Real, single<&BehaviourValues::ampDegrees>},
    {"amp_cm_s", ParamView::Real, single<&BehaviourValues::ampCmPerS>},
    {"anim", ParamView::Real, single<&BehaviourValues::anim>},
    {"bkup", ParamView::Integer, trueOrFalse<&BehaviourValues::backup>},
    {"avg_deg", ParamView::Real, single<&BehaviourValues::meanDegrees>},
    {"prd_s", ParamView::Real, single<&BehaviourValues::periodSeconds>},
    {"rpt", ParamView::Integer, trueOrFalse<&BehaviourValues::repeat>},
    {"max_scl", ParamView::Real, single<&BehaviourValues::scale>},
    {"sidelen_cm", ParamView::Real, single<&BehaviourValues::sideCm>},
    {"sidetm_s", ParamView::Real, single<&BehaviourValues::sideSeconds>},
    {"turntm_s", ParamView::Real, single<&BehaviourValues::turnSeconds>},
};

void orInto(uint8_t& byte, int64_t bits)
{
    byte = static_cast<uint8_t>(byte | low8(bits));
}

void packObstacles(const BehaviourValues& values)
{
    validateBoolParamIsSet(values.backup, "obstacles needs backup");
    values.record->params[5] = values.backup == 1 ? 1 : 0;
}

void packAnimation(const BehaviourValues& values)
{
    validateFloatParamIsSet(values.anim, "anim needs id");
    validateBoolParamIsSet(values.repeat, "anim needs repeat");
    uint8_t* params = values.record->params;
    const uint16_t number = low16(truncate(static_cast<double>(values.anim)));
    orInto(params[0], number);
    // Shifted by one place, not eight. That is what goes over the air; do not "repair" it.
    orInto(params[1], number >> 1);
    const bool hasScale = !std::isnan(values.scale);
    orInto(params[5], (hasScale ? 2 : 0) | (values.repeat == 1 ? 1 : 0));
    if (hasScale) {
        float scale = values.scale;
        if (scale < 0 || scale > 2) {
            printOut("error: animation scale out of range. using 1. %f\n", static_cast<double>(scale));
            scale = 1;
        }
        const float byte = scale / 2 * 255;
        params[2] = low8(truncate(static_cast<double>(byte)));
    }
}

void packSquare(const BehaviourValues& values)
{
    validateFloatParamIsSet(values.sideCm, "square needs sideLength");
    validateFloatParamIsSet(values.sideSeconds, "square needs sideTime");
    validateFloatParamIsSet(values.turnSeconds, "square needs turnTime");
    const float sideTenths = values.sideSeconds * 10;
    const float turnTenths = values.turnSeconds * 10;
    uint8_t* params = values.record->params;
    params[0] = low8(truncate(static_cast<double>(values.sideCm)));
    params[1] = low8(truncate(static_cast<double>(sideTenths)));
    params[2] = low8(truncate(static_cast<double>(turnTenths)));
}

void packBehaviour(const BehaviourValues& values)
{
    switch (values.record->commandId) {
        case 0:
            return packObstacles(values);
        case 10:
            return packAnimation(values);
        case 20:
            return;
        case 30:
            return packSquare(values);
        case 40:
            return encodePeriodic(values.record, values.meanDegrees, values.ampDegrees, values.periodSeconds, -7.5f,
                                  22.5f, 0, 30);
        case 50:
            return encodePeriodic(values.record, values.meanDegrees, values.ampDegrees, values.periodSeconds, -120, 120,
                                  0, 240);
        case 60:
            return encodePeriodicZeroMean(values.record, values.ampDegrees, values.periodSeconds, 0, 360);
        case 70:
            return encodePeriodicZeroMean(values.record, values.ampCmPerS, values.periodSeconds, 0, 80);
        default:
            printOut("error: unhandled command id: %d.\n", values.record->commandId);
    }
}

// A value in a range as 9 bits: the quotient in single precision, the product in double; not-a-number gives 0.
int64_t nineBits(float value, float min, float max)
{
    const float offset = value - min;
    const float quotient = offset / (max - min);
    return truncate(clampReal(511 * static_cast<double>(quotient), 0.0, 511.0));
}

int64_t milliseconds(float seconds)
{
    const float product = seconds * 1000;
    return truncate(static_cast<double>(product));
}

bool isEyeLightNumber(int number)
{
    return number >= 1 && number <= _ZK_EYE_LED_COUNT;
}

// ---- Which documents would stop the process --------------------------------------------------------------------

const nx_json* findBadEyeLight(const nx_json* params, const nx_json* after)
{
    bool passed = after == nullptr;
    for (const nx_json* param = params->child; param != nullptr; param = param->next) {
        if (std::strcmp(orEmpty(param->key), "index") != 0 || param->type != NX_JSON_OBJECT) {
            continue;
        }
        for (const nx_json* member = param->child; member != nullptr; member = member->next) {
            if (passed && member->int_value > 0 && !isEyeLightNumber(decimalPrefix(member->key))) {
                return member;
            }
            passed = passed || member == after;
        }
    }
    return nullptr;
}

const nx_json* findMissingBehaviourId(const nx_json* params, const nx_json* after)
{
    if (after != nullptr) {
        return nullptr;
    }
    uint16_t id = kBehaviourNotGiven;
    for (const nx_json* param = params->child; param != nullptr; param = param->next) {
        if (std::strcmp(orEmpty(param->key), kBehaviourIdKey) == 0) {
            id = behaviourId(*param);
        }
    }
    return id == kBehaviourNotGiven ? params : nullptr;
}

// ---- The vocabulary --------------------------------------------------------------------------------------------

void fillBodyMotion(HALBodyMotionLinearAngular_t& motion, const nx_json* params, const ParseContext& context)
{
    motion.isPose = 0;
    motion.linearAcceleration = std::numeric_limits<double>::quiet_NaN();
    motion.angularAcceleration = std::numeric_limits<double>::quiet_NaN();
    storeParams(listOf(kBodyMotionParams), params, &motion, context);
}

void fillScalar(HALComponentScalar_t& scalar, const nx_json* params, const ParseContext& context)
{
    // The first of several counts here, and a null counts as present.
    const nx_json* percent = nx_json_get(params, kPercentKey);
    if (percent == nx_json_get(nullptr, nullptr)) {
        printOut("malformed json for component %d: missing %s\n\n", static_cast<int>(scalar.componentId), kPercentKey);
        return;
    }
    kScalarParams[0].store(&scalar, *percent, context);
}

void fillUserSettings(HALUserSetting_t& settings, const nx_json* params, const ParseContext& context)
{
    std::memset(settings.name, 0, sizeof settings.name);
    settings.colorId = settings.animId = settings.avatarId = kSettingNotGiven;
    storeParams(listOf(kUserSettingParams), params, &settings, context);
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

template <bool kIsStart>
void fillBehaviour(HALPamplemousse_t& behaviour, const nx_json* params, const ParseContext&)
{
    parsePamplemousse(params, &behaviour, kIsStart);
}

template <class Record, void (*kFill)(Record&, const nx_json*, const ParseContext&)>
void fillWith(const Ctlr2BotMsg&, void* record, const nx_json* params, const ParseContext& context)
{
    if (record != nullptr) {
        kFill(*static_cast<Record*>(record), params, context);
    }
}

void fillBothWheels(const Ctlr2BotMsg& message, void*, const nx_json* params, const ParseContext& context)
{
    BothWheels wheels = {message.getMotorWheelStorage(ZK_COMPONENT_WHEEL_LEFT),
                         message.getMotorWheelStorage(ZK_COMPONENT_WHEEL_RIGHT)};
    if (wheels.left != nullptr && wheels.right != nullptr) {
        storeParams(listOf(kBothWheelsParams), params, &wheels, context);
    }
}

constexpr auto fillMotion = fillWith<HALBodyMotionLinearAngular_t, fillBodyMotion>;
constexpr auto fillPercentage = fillWith<HALComponentScalar_t, fillScalar>;
constexpr auto fillSettings = fillWith<HALUserSetting_t, fillUserSettings>;
constexpr auto fillStart = fillWith<HALPamplemousse_t, fillBehaviour<true>>;
constexpr auto fillStop = fillWith<HALPamplemousse_t, fillBehaviour<false>>;
constexpr char kNoBehaviourId[] = "a behaviour needs an \"id\" other than 65535";

using Kind = HAL::RecordKind;
constexpr Kind kUnknown = Kind::Count;  // reported as unknown

constexpr ComponentRow kComponents[] = {
    {ZK_COMPONENT_POWER, Kind::Power, listOf(kPowerParams)},
    {ZK_COMPONENT_EYE_RING, Kind::EyeRing, listOf(kEyeRingParams), nullptr, findBadEyeLight,
     "the eye ring has lights 1 to 12"},
    {ZK_COMPONENT_RGB_101, Kind::RGB, listOf(kRgbParams)},
    {ZK_COMPONENT_RGB_102, Kind::RGB, listOf(kRgbParams)},
    {ZK_COMPONENT_RGB_103, Kind::RGB, listOf(kRgbParams)},
    {ZK_COMPONENT_RGB_104, Kind::RGB, listOf(kRgbParams)},
    {ZK_COMPONENT_LED_105, Kind::LED, listOf(kLedParams)},
    {ZK_COMPONENT_LED_106, Kind::LED, listOf(kLedParams)},
    {ZK_COMPONENT_RGB_107, Kind::RGB, listOf(kRgbParams)},
    {ZK_COMPONENT_LED3_108, Kind::LED3, listOf(kLed3Params)},
    {ZK_COMPONENT_LED_109, Kind::LED, listOf(kLedParams)},
    {ZK_COMPONENT_LED_110, Kind::LED, listOf(kLedParams)},
    {ZK_COMPONENT_LED_111, Kind::LED, listOf(kLedParams)},
    {ZK_COMPONENT_WHEEL_LEFT, Kind::MotorWheel, listOf(kWheelParams)},
    {ZK_COMPONENT_WHEEL_RIGHT, Kind::MotorWheel, listOf(kWheelParams)},
    {ZK_COMPONENT_HEAD_TILT, Kind::MotorServo, kTiltParams},
    {ZK_COMPONENT_HEAD_PAN, Kind::MotorServo, kPanParams},
    {ZK_COMPONENT_BODY_LINEAR_ANGULAR, Kind::BodyMotionLinearAngular, listOf(kBodyMotionParams), fillMotion},
    {ZK_COMPONENT_BODY_POSE, Kind::BodyPose, listOf(kBodyPoseParams)},
    {ZK_COMPONENT_TILT_206, Kind::MotorServo, kTiltParams},
    {ZK_COMPONENT_PAN_207, Kind::MotorServo, kPanParams},
    {ZK_COMPONENT_TILT_208, Kind::MotorServo, kTiltParams},
    {ZK_COMPONENT_PAN_209, Kind::MotorServo, kPanParams},
    {ZK_COMPONENT_NO_PARAMS_210, Kind::NoParams, kNoParams},
    {ZK_COMPONENT_BODY_WHEELS, Kind::MotorWheel, listOf(kBothWheelsParams), fillBothWheels},
    {ZK_COMPONENT_NO_PARAMS_212, Kind::NoParams, kNoParams},
    {ZK_COMPONENT_SCALAR_213, Kind::Scalar, listOf(kScalarParams), fillPercentage},
    {ZK_COMPONENT_SCALAR_214, Kind::Scalar, listOf(kScalarParams), fillPercentage},
    {ZK_COMPONENT_SPEAKER, Kind::Speaker, listOf(kSpeakerParams)},
    {ZK_COMPONENT_ON_ROBOT_ANIM, Kind::Anim, listOf(kAnimParams)},
    {ZK_COMPONENT_AUDIO_SYNTH, Kind::AudioSynth, listOf(kSynthParams)},
    {ZK_COMPONENT_305, kUnknown, kNoParams},
    {ZK_COMPONENT_LAUNCHER_400, Kind::Launcher, listOf(kLauncherParams)},
    {ZK_COMPONENT_LAUNCHER_401, Kind::Launcher, listOf(kLauncherParams)},
    {ZK_COMPONENT_LED_MESSAGE, Kind::LedMsg, listOf(kLedMessageParams)},
    {ZK_COMPONENT_PAMPLEMOUSSE_START, Kind::Pamplemousse, listOf(kBehaviourParamRows), fillStart,
     findMissingBehaviourId, kNoBehaviourId},
    {ZK_COMPONENT_PAMPLEMOUSSE_STOP, Kind::Pamplemousse, listOf(kBehaviourParamRows), fillStop, findMissingBehaviourId,
     kNoBehaviourId},
    {ZK_COMPONENT_USER_SETTINGS, Kind::UserSetting, listOf(kUserSettingParams), fillSettings},
    {ZK_COMPONENT_6001, kUnknown, kNoParams},
    {ZK_COMPONENT_PING, Kind::Ping, listOf(kPingParams)},
};
static_assert(HAL::runsBesideComponents(kComponents), "kComponents is found by componentIndex()");

}  // namespace

Range headRange(uint32_t robotType, bool isPan)
{
    return rangeOf(robotType == ZK_ROBOT_QUILL ? kQuillHead : kOrvikHead, isPan);
}

const ParamRow* ParamList::find(const char* key) const
{
    for (size_t i = 0; i < count; ++i) {
        if (rows[i].comparedKey.isSameAs(key)) {
            return &rows[i];
        }
    }
    return nullptr;
}

const ComponentRow* findComponent(uint32_t id)
{
    const int index = HAL::componentIndex(id);
    return index >= 0 && kComponents[index].kind != kUnknown ? &kComponents[index] : nullptr;
}

bool fillComponent(const Ctlr2BotMsg& message, size_t component, const nx_json* params, const ParseContext& context)
{
    const ComponentRow& row = kComponents[component];
    void* record = message.record(row.kind, component);
    if (row.fillSpecially != nullptr) {
        row.fillSpecially(message, record, params, context);
    } else if (record != nullptr) {
        storeParams(row.params, params, record, context);
    }
    return row.kind != kUnknown;
}

BotMessengerBuffer::BotMessengerBuffer(HAL::RobotHW* robot) : mRobot(robot) {}

BotMessengerBuffer::~BotMessengerBuffer() = default;

std::vector<HALPacket_t*> BotMessengerBuffer::convertCtlrMessageToPackets(const char* text, size_t length)
{
    const HAL::PacketList& list = convert(text, length);
    return {list.packets, list.packets + list.count};
}

std::vector<HALPacket_t*> BotMessengerBuffer::convertCtlrMessageToPackets(const nx_json* document)
{
    const HAL::PacketList& list = convert(document);
    return {list.packets, list.packets + list.count};
}

const HAL::PacketList& BotMessengerBuffer::convert(const char* text, size_t length)
{
    static const HAL::PacketList kNoPackets = {};
    if (mRobot == nullptr || text == nullptr || length == 0) {
        return kNoPackets;
    }
    const ZKHAL::JsonDocumentLoan document(mSpareDocument);
    const nx_json* root = document->parse(text, strnlen(text, length));
    if (root == nullptr) {
        document->error().print();
    }
    return convertDocument(root, true);
}

const HAL::PacketList& BotMessengerBuffer::convert(const nx_json* document)
{
    return convertDocument(document, false);
}

const HAL::PacketList& BotMessengerBuffer::convertDocument(const nx_json* jsCommand, bool hasPaddedText)
{
    static const HAL::PacketList kNoPackets = {};
    if (mRobot == nullptr) {
        return kNoPackets;
    }
    ZK_ASSERT(jsCommand && (jsCommand->type == NX_JSON_OBJECT));
    std::shared_ptr<Ctlr2BotMsg> message = std::move(mSpareMessage);
    if (message == nullptr) {
        message = std::make_shared<Ctlr2BotMsg>();
    }
    mRobot->initComponentsForCtlr2BotMsg(message.get());
    const ParseContext context = {mRobot, hasPaddedText};
    for (const nx_json* member = jsCommand->child; member != nullptr; member = member->next) {
        const auto id = static_cast<uint32_t>(decimalPrefix(member->key));
        const int index = HAL::componentIndex(id);
        if (index < 0 || !fillComponent(*message, static_cast<size_t>(index), member, context)) {
            printOut("unknown component id: %d\n", static_cast<int>(id));
        }
        // Known or not, and with or without a record: unmentioned fields are zero, and zeros are sent.
        if (index >= 0) {
            HAL::setComponent(message->GetHwData(), static_cast<size_t>(index));
        }
    }
    const HAL::PacketList& list = HAL::RobotHW_rev0::pack(message.get(), mRobot);
    message.swap(mPendingMessage);
    if (message != nullptr && message.use_count() == 1) {
        message->clear();
        mSpareMessage = std::move(message);
    }
    return list;
}

void BotMessengerBuffer::sentControllerMessage()
{
    mLastSentMessage = std::move(mPendingMessage);
    mPendingMessage.reset();
}

#define ZK_RETURN_WITHOUT(record)                   \
    if ((record) == nullptr || params == nullptr) { \
        return;                                     \
    }

void BotMessengerBuffer::parsePower(const nx_json* params, HALPower_t* record)
{
    ZK_RETURN_WITHOUT(record)
    storeParams(listOf(kPowerParams), params, record, {mRobot});
}

void BotMessengerBuffer::parsePing(const nx_json* params, HALPing_t* record)
{
    ZK_RETURN_WITHOUT(record)
    storeParams(listOf(kPingParams), params, record, {mRobot});
}

void BotMessengerBuffer::parseLightLED(const nx_json* params, HALLED_t* record)
{
    ZK_RETURN_WITHOUT(record)
    storeParams(listOf(kLedParams), params, record, {mRobot});
}

void BotMessengerBuffer::parseLightLED3(const nx_json* params, HALLED3_t* record)
{
    ZK_RETURN_WITHOUT(record)
    storeParams(listOf(kLed3Params), params, record, {mRobot});
}

void BotMessengerBuffer::parseLightRGB(const nx_json* params, HALRGB_t* record)
{
    ZK_RETURN_WITHOUT(record)
    storeParams(listOf(kRgbParams), params, record, {mRobot});
}

void BotMessengerBuffer::parseEyeRing(const nx_json* params, HALEyeRing_t* record)
{
    ZK_RETURN_WITHOUT(record)
    storeParams(listOf(kEyeRingParams), params, record, {mRobot});
}

void BotMessengerBuffer::parseMotorWheel(const nx_json* params, HALMotorWheel_t* record)
{
    ZK_RETURN_WITHOUT(record)
    storeParams(listOf(kWheelParams), params, record, {mRobot});
}

void BotMessengerBuffer::parseBodyWheels(const nx_json* params, HALMotorWheel_t* left, HALMotorWheel_t* right)
{
    ZK_RETURN_WITHOUT(left)
    ZK_RETURN_WITHOUT(right)
    BothWheels wheels = {left, right};
    storeParams(listOf(kBothWheelsParams), params, &wheels, {mRobot});
}

void BotMessengerBuffer::parseMotorServo(const nx_json* params, HALMotorServo_t* record, bool isPan)
{
    ZK_RETURN_WITHOUT(record)
    storeParams(isPan ? kPanParams : kTiltParams, params, record, {mRobot});
}

void BotMessengerBuffer::parseMotorHeadPanServo(const nx_json* params, HALMotorServo_t* record)
{
    parseMotorServo(params, record, true);
}

void BotMessengerBuffer::parseMotorHeadTiltServo(const nx_json* params, HALMotorServo_t* record)
{
    parseMotorServo(params, record, false);
}

void BotMessengerBuffer::parseBodyMotionLinearAngular(const nx_json* params, HALBodyMotionLinearAngular_t* record)
{
    ZK_RETURN_WITHOUT(record)
    fillBodyMotion(*record, params, {mRobot});
}

void BotMessengerBuffer::parseBodyPose(const nx_json* params, HALBodyPose_t* record)
{
    ZK_RETURN_WITHOUT(record)
    storeParams(listOf(kBodyPoseParams), params, record, {mRobot});
}

void BotMessengerBuffer::parseNoParams(const nx_json*, HALNoParams_t*)
{
    // Naming the component is the command.
}

void BotMessengerBuffer::parseScalarPercentage(const nx_json* params, HALComponentScalar_t* record)
{
    ZK_RETURN_WITHOUT(record)
    fillScalar(*record, params, {mRobot});
}

void BotMessengerBuffer::parseSpeaker(const nx_json* params, HALSpeaker_t* record)
{
    ZK_RETURN_WITHOUT(record)
    storeParams(listOf(kSpeakerParams), params, record, {mRobot});
}

void BotMessengerBuffer::parseOnRobotAnim(const nx_json* params, HALAnim_t* record)
{
    ZK_RETURN_WITHOUT(record)
    storeParams(listOf(kAnimParams), params, record, {mRobot});
}

void BotMessengerBuffer::parseAudioSynth(const nx_json* params, HALAudioSynth_t* record)
{
    ZK_RETURN_WITHOUT(record)
    storeParams(listOf(kSynthParams), params, record, {mRobot});
}

void BotMessengerBuffer::parseLauncher(const nx_json* params, HALLauncher_t* record)
{
    ZK_RETURN_WITHOUT(record)
    storeParams(listOf(kLauncherParams), params, record, {mRobot});
}

void BotMessengerBuffer::parseLedMsg(const nx_json* params, HALLedMsg_t* record)
{
    ZK_RETURN_WITHOUT(record)
    storeParams(listOf(kLedMessageParams), params, record, {mRobot});
}

void BotMessengerBuffer::parseUserSettings(const nx_json* params, HALUserSetting_t* record)
{
    ZK_RETURN_WITHOUT(record)
    fillUserSettings(*record, params, {mRobot});
}

void BotMessengerBuffer::parsePamplemousseStart(const nx_json* params, HALPamplemousse_t* record)
{
    parsePamplemousse(params, record, true);
}

void BotMessengerBuffer::parsePamplemousseStop(const nx_json* params, HALPamplemousse_t* record)
{
    parsePamplemousse(params, record, false);
}

void BotMessengerBuffer::parseButton(const nx_json* params, HALButton_t* record)
{
    ZK_RETURN_WITHOUT(record)
    const nx_json* state = nx_json_get(params, "s");
    if (state != nx_json_get(nullptr, nullptr)) {
        record->pressed = state->int_value == 0 ? 1 : 0;
    }
}

void BotMessengerBuffer::parseDistance(const nx_json* params, HALDistance_t* record)
{
    ZK_RETURN_WITHOUT(record)
    record->distance = nx_json_get(params, "cm")->dbl_value;
    record->reflectance = nx_json_get(params, "refl")->dbl_value;
}

void parsePamplemousse(const nx_json* params, HALPamplemousse_t* record, bool isStart)
{
    ZK_RETURN_WITHOUT(record)
    record->isStart = isStart ? 1 : 0;
    record->commandId = kBehaviourNotGiven;
    BehaviourValues values;
    values.record = record;
    constexpr ParamList kList = listOf(kBehaviourParamRows);
    for (const nx_json* param = params->child; param != nullptr; param = param->next) {
        if (const ParamRow* row = kList.find(orEmpty(param->key))) {
            row->store(&values, *param, {nullptr});
        } else {
            printOut("unrecognized value in json: %s\n", orEmpty(param->key));
        }
    }
    if (record->commandId == kBehaviourNotGiven) {
        printOut("error: no command ID in pamplemousse jason.\n");
        ZK_ASSERT(record->commandId != kBehaviourNotGiven);
    }
    if (isStart && !values.hasParams) {
        packBehaviour(values);
    }
}

uint8_t parseBrightnessValue(const nx_json* value)
{
    if (value == nullptr) {
        return 0;
    }
    return value->dbl_value > 1.0 ? low8(value->int_value) : levelByte(value->dbl_value);
}

void _parseMediaCommand(const nx_json* value, char* fileName)
{
    std::memset(fileName, 0, kMediaNameLength + 1);
    const char* text = orEmpty(value != nullptr ? value->text_value : nullptr);
    for (int i = 0; i < kMediaNameLength && text[i] != '\0'; ++i) {
        if (text[i] != '/') {
            *fileName++ = text[i];
        }
    }
}

void validateBoolParamIsSet(int flag, const char* message)
{
    validateIntParamIsSet(flag, message);
}

void validateIntParamIsSet(int value, const char* message)
{
    if (value == -1) {
        printOut("error: %s\n", message != nullptr ? message : "unset param.");
    }
}

void validateFloatParamIsSet(float value, const char* message)
{
    if (std::isnan(value)) {
        printOut("error: %s\n", message != nullptr ? message : "unset param.");
    }
}

void encodePeriodic(HALPamplemousse_t* record, float mean, float amplitude, float period, float meanMin, float meanMax,
                    float ampMin, float ampMax)
{
    validateFloatParamIsSet(mean, "periodic needs mean");
    validateFloatParamIsSet(amplitude, "periodic needs amplidute");
    validateFloatParamIsSet(period, "periodic needs period");
    const int64_t m = nineBits(mean, meanMin, meanMax);
    const int64_t a = nineBits(amplitude, ampMin, ampMax);
    const int64_t p = milliseconds(period);
    uint8_t* params = record->params;
    params[0] = low8(m);
    params[1] = low8(a);
    params[2] = low8(p);
    orInto(params[3], (m >> 8 & 1) | (a >> 8 & 1) << 1 | (p >> 8 & 0x3F) << 2);
}

void encodePeriodicZeroMean(HALPamplemousse_t* record, float amplitude, float period, float ampMin, float ampMax)
{
    validateFloatParamIsSet(amplitude, "periodic needs amplidute");
    validateFloatParamIsSet(period, "periodic needs period");
    const int64_t a = nineBits(amplitude, ampMin, ampMax);
    const int64_t p = milliseconds(period);
    uint8_t* params = record->params;
    params[0] = low8(a);
    params[1] = low8(p);
    orInto(params[2], (a >> 8 & 1) | (p >> 8 & 0x3F) << 1);
}

}  // namespace APICore
