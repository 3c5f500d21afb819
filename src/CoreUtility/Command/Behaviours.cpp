#include "CoreUtility/Command/Behaviours.h"

#include <cmath>
#include <cstring>
#include <limits>

#include "CoreUtility/Assertion.h"
#include "CoreUtility/Command/BotMessengerBuffer.h"
#include "CoreUtility/Command/ParamRows.h"
#include "CoreUtility/Messages.h"
#include "CoreUtility/Numbers.h"
#include "CoreUtility/Text.h"

namespace APICore {

using ZKHAL::clampReal;
using ZKHAL::levelByte;
using ZKHAL::low16;
using ZKHAL::low8;
using ZKHAL::orEmpty;
using ZKHAL::printOut;
using ZKHAL::truncate;

constexpr float kUnset = std::numeric_limits<float>::quiet_NaN();

// A behaviour's named values, before they are packed by its id.
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

namespace {

// ---- What each behaviour takes ---------------------------------------------------------------------------------

using Values = BehaviourValues;
constexpr BitPiece kNoPiece = {0, 0, 0, 0, false};

constexpr BitPiece lowByteIn(uint8_t byte)
{
    return {0, 8, byte, 0, false};
}

constexpr BehaviourValueRow flagRow(const char* key, int Values::*flag, const char* missing, BitPiece piece)
{
    return {key, nullptr, flag, missing, Packed::Flag, kFlagLimits, {piece, kNoPiece}};
}

// Nine bits of a range: the upper one stands among others.
constexpr BehaviourValueRow nineBitsRow(const char* key, float Values::*number, const char* missing, Range range,
                                        uint8_t byte, uint8_t highByte, uint8_t highBit)
{
    return {key,
            number,
            nullptr,
            missing,
            Packed::NineBits,
            {range, Beyond::Limited},
            {lowByteIn(byte), {8, 1, highByte, highBit, true}}};
}

constexpr char kNeedsAmplitude[] = "periodic needs amplidute";

constexpr BehaviourValueRow periodRow(uint8_t byte, uint8_t highByte, uint8_t highBit)
{
    return {"prd_s",
            &Values::periodSeconds,
            nullptr,
            "periodic needs period",
            Packed::Milliseconds,
            {{0, 16.382}},  // 16.383 becomes 16382 ms: single precision rounds it below
            {lowByteIn(byte), {8, 6, highByte, highBit, true}}};
}

struct PeriodicRows {
    BehaviourValueRow rows[3];
};
constexpr PeriodicRows periodicRows(Range mean, Range amplitude)
{
    return {{nineBitsRow("avg_deg", &Values::meanDegrees, "periodic needs mean", mean, 0, 3, 0),
             nineBitsRow("amp_deg", &Values::ampDegrees, kNeedsAmplitude, amplitude, 1, 3, 1), periodRow(2, 3, 2)}};
}

struct ZeroMeanRows {
    BehaviourValueRow rows[2];
};
constexpr ZeroMeanRows zeroMeanRows(const char* key, float Values::*amplitude, Range range)
{
    return {{nineBitsRow(key, amplitude, kNeedsAmplitude, range, 0, 2, 0), periodRow(1, 2, 1)}};
}

constexpr BehaviourValueRow kObstacles[] = {
    flagRow("bkup", &Values::backup, "obstacles needs backup", lowByteIn(5)),
};
constexpr BehaviourValueRow kAnimation[] = {
    // The upper byte is shifted by one place, not eight. That is what goes over the air; do not "repair" it.
    {"anim",
     &Values::anim,
     nullptr,
     "anim needs id",
     Packed::Whole,
     {{0, 511}},
     {{0, 8, 0, 0, true}, {1, 8, 1, 0, true}}},
    flagRow("rpt", &Values::repeat, "anim needs repeat", {0, 1, 5, 0, true}),
    {"max_scl",
     &Values::scale,
     nullptr,
     nullptr,
     Packed::Scale,
     {{0, 2}, Beyond::ReadAs, 1},
     {lowByteIn(2), {8, 1, 5, 1, true}}},
};
constexpr BehaviourValueRow kSquare[] = {
    {"sidelen_cm",
     &Values::sideCm,
     nullptr,
     "square needs sideLength",
     Packed::Whole,
     {kByte},
     {lowByteIn(0), kNoPiece}},
    {"sidetm_s",
     &Values::sideSeconds,
     nullptr,
     "square needs sideTime",
     Packed::Tenths,
     {{0, 25.5}},
     {lowByteIn(1), kNoPiece}},
    {"turntm_s",
     &Values::turnSeconds,
     nullptr,
     "square needs turnTime",
     Packed::Tenths,
     {{0, 25.5}},
     {lowByteIn(2), kNoPiece}},
};
constexpr PeriodicRows kPeriodic40 = periodicRows({-7.5, 22.5}, {0, 30});
constexpr PeriodicRows kPeriodic50 = periodicRows({-120, 120}, {0, 240});
constexpr ZeroMeanRows kPeriodic60 = zeroMeanRows("amp_deg", &Values::ampDegrees, {0, 360});
constexpr ZeroMeanRows kPeriodic70 = zeroMeanRows("amp_cm_s", &Values::ampCmPerS, {0, 80});

template <size_t kCount>
constexpr BehaviourRow behaviour(uint16_t id, const char* name, const char* words,
                                 const BehaviourValueRow (&values)[kCount])
{
    return {id, name, words, values, kCount};
}

}  // namespace

constexpr BehaviourRow kBehaviours[kBehaviourCount] = {
    behaviour(0, "obstacles", "avoids obstacles", kObstacles),
    behaviour(10, "animation", "plays an animation", kAnimation),
    {20, "behaviour_20", "takes no values", nullptr, 0},
    behaviour(30, "square", "drives a square", kSquare),
    behaviour(40, "periodic_40", "swings about a mean of -7.5 to 22.5 degrees", kPeriodic40.rows),
    behaviour(50, "periodic_50", "swings about a mean of -120 to 120 degrees", kPeriodic50.rows),
    behaviour(60, "periodic_60", "swings about zero, in degrees", kPeriodic60.rows),
    behaviour(70, "periodic_70", "swings about zero, in cm/s", kPeriodic70.rows),
};

namespace {

// ---- Packing ---------------------------------------------------------------------------------------------------

// A value in a range as 9 bits: the quotient in single precision, the product in double; not-a-number gives 0.
int64_t nineBits(float value, const Range& range)
{
    const auto low = static_cast<float>(range.low), high = static_cast<float>(range.high);
    const float offset = value - low;
    const float quotient = offset / (high - low);
    return truncate(clampReal(511 * static_cast<double>(quotient), 0.0, 511.0));
}

int64_t scaledInteger(float value, float factor)
{
    const float product = value * factor;
    return truncate(static_cast<double>(product));
}

int64_t scaleBits(float scale, const Limits& limits)
{
    if (!limits.range.contains(static_cast<double>(scale))) {
        printOut("error: animation scale out of range. using 1. %f\n", static_cast<double>(scale));
        scale = static_cast<float>(limits.readAs);
    }
    const float byte = scale / 2 * 255;
    constexpr int64_t kGiven = 0x100;
    return truncate(static_cast<double>(byte)) | kGiven;
}

int64_t packedNumber(const BehaviourValueRow& row, const Values& values)
{
    switch (row.packed) {
        case Packed::Flag:
            return values.*row.flag == 1 ? 1 : 0;
        case Packed::Whole:
            return scaledInteger(values.*row.number, 1);
        case Packed::Tenths:
            return scaledInteger(values.*row.number, 10);
        case Packed::Milliseconds:
            return scaledInteger(values.*row.number, 1000);
        case Packed::NineBits:
            return nineBits(values.*row.number, row.limits.range);
        case Packed::Scale:
            return scaleBits(values.*row.number, row.limits);
    }
    return 0;
}

void pack(const BehaviourValueRow* rows, size_t count, const Values& values)
{
    for (const BehaviourValueRow* row = rows; row != rows + count; ++row) {
        if (row->missing != nullptr && row->flag != nullptr) {
            validateBoolParamIsSet(values.*row->flag, row->missing);
        } else if (row->missing != nullptr) {
            validateFloatParamIsSet(values.*row->number, row->missing);
        }
    }
    for (const BehaviourValueRow* row = rows; row != rows + count; ++row) {
        if (row->missing == nullptr && std::isnan(values.*row->number)) {
            continue;
        }
        const int64_t number = packedNumber(*row, values);
        for (const BitPiece& piece : row->pieces) {
            if (piece.bits != 0) {
                uint8_t& byte = values.record->params[piece.byte];
                const int64_t bits = (number >> piece.from & ((1 << piece.bits) - 1)) << piece.to;
                byte = low8(piece.isAdded ? byte | bits : bits);
            }
        }
    }
}

// ---- Parameters of 450 and 451 ---------------------------------------------------------------------------------

template <auto kField>
void storeSingle(void* record, const nx_json& value, const ParseContext&)
{
    static_cast<Values*>(record)->*kField = static_cast<float>(value.dbl_value);
}

template <auto kField>
void storeTrueOrFalse(void* record, const nx_json& value, const ParseContext&)
{
    static_cast<Values*>(record)->*kField = value.int_value != 0 ? 1 : 0;
}

void storeBytes(void* record, const nx_json& value, const ParseContext&)
{
    auto& values = *static_cast<Values*>(record);
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

void storeId(void* record, const nx_json& value, const ParseContext&)
{
    static_cast<Values*>(record)->record->commandId = low16(value.int_value);
}

void storeWeight(void* record, const nx_json& value, const ParseContext&)
{
    static_cast<Values*>(record)->record->weight = levelByte(clampReal(value.dbl_value, 0.0, 1.0));
}

constexpr bool isSameKey(const char* a, const char* b)
{
    for (; *a == *b; ++a, ++b) {
        if (*a == '\0') {
            return true;
        }
    }
    return false;
}

// A named value has the limits of the behaviour that takes it, and is not sent by the others.
struct CasesOfValue {
    LimitCase cases[kBehaviourCount + 1];
    size_t count;
};
constexpr CasesOfValue casesOf(const char* key)
{
    using When = LimitCase::When;
    CasesOfValue list{};
    for (const BehaviourRow& row : kBehaviours) {
        for (size_t i = 0; i < row.valueCount; ++i) {
            if (isSameKey(row.values[i].key, key)) {
                const auto id = static_cast<double>(row.id);
                list.cases[list.count++] = {
                    HAL::kEveryRobot, When::Within, kBehaviourIdKey, nullptr, {id, id}, row.values[i].limits, 16};
            }
        }
    }
    list.cases[list.count++] = {HAL::kEveryRobot, When::Always, nullptr, nullptr, {}, kNotSent};
    return list;
}
constexpr CasesOfValue kAmpDegrees = casesOf("amp_deg"), kAmpCm = casesOf("amp_cm_s"), kAnim = casesOf("anim"),
                       kBackup = casesOf("bkup"), kMean = casesOf("avg_deg"), kPeriod = casesOf("prd_s"),
                       kRepeat = casesOf("rpt"), kScale = casesOf("max_scl"), kSide = casesOf("sidelen_cm"),
                       kSideTime = casesOf("sidetm_s"), kTurnTime = casesOf("turntm_s");

// By key: the parameters of a start, of which a stop reads all and sends the id.
constexpr ParamRow named(ParamRow::Store store, ParamKind kind, const char* key, const char* name, const char* unit,
                         const CasesOfValue& list, bool isStart, const char* words)
{
    ParamRow row = ParamRow(store, kind, key, name, unit, words, kNotSent).absent(kNothing).forgotten();
    row.cases = isStart ? list.cases : kNeverSent;
    row.caseCount = isStart ? list.count : 1;
    return row;
}

constexpr ParamRow unlessStopping(ParamRow row, bool isStart)
{
    return isStart ? row : row.when(kNeverSent);
}

constexpr BehaviourParams behaviourParams(bool isStart)
{
    return {{
        ParamRow(storeId, ParamKind::Whole, kBehaviourIdKey, "id", "", "which behaviour; 65535 is none", {{0, 65534}})
            .required(),
        unlessStopping({storeWeight,
                        ParamKind::Level,
                        "weight",
                        "weight",
                        "",
                        "against others that run",
                        {kUnit, Beyond::Limited}},
                       isStart),
        unlessStopping(ParamRow(storeBytes, ParamKind::Bytes, kBehaviourBytesKey, "bytes", "",
                                "the six parameter bytes, in place of the named values", {kByte})
                           .absent(kNothing)
                           .forgotten(),
                       isStart),
        named(storeSingle<&Values::ampDegrees>, ParamKind::Real, "amp_deg", "amplitude", "degrees", kAmpDegrees,
              isStart, "how far to each side"),
        named(storeSingle<&Values::ampCmPerS>, ParamKind::Real, "amp_cm_s", "amplitude_speed", "cm/s", kAmpCm, isStart,
              "how fast to and fro"),
        named(storeSingle<&Values::anim>, ParamKind::Real, "anim", "animation", "", kAnim, isStart,
              "number of the animation"),
        named(storeTrueOrFalse<&Values::backup>, ParamKind::Flag, "bkup", "backup", "", kBackup, isStart,
              "back up before turning away"),
        named(storeSingle<&Values::meanDegrees>, ParamKind::Real, "avg_deg", "mean", "degrees", kMean, isStart,
              "the middle of the movement"),
        named(storeSingle<&Values::periodSeconds>, ParamKind::Real, "prd_s", "period", "s", kPeriod, isStart,
              "time of one swing"),
        named(storeTrueOrFalse<&Values::repeat>, ParamKind::Flag, "rpt", "repeat", "", kRepeat, isStart,
              "begin again at the end"),
        named(storeSingle<&Values::scale>, ParamKind::Real, "max_scl", "scale", "", kScale, isStart,
              "largest scale of the movements"),
        named(storeSingle<&Values::sideCm>, ParamKind::Real, "sidelen_cm", "side", "cm", kSide, isStart,
              "length of a side"),
        named(storeSingle<&Values::sideSeconds>, ParamKind::Real, "sidetm_s", "side_time", "s", kSideTime, isStart,
              "time for a side"),
        named(storeSingle<&Values::turnSeconds>, ParamKind::Real, "turntm_s", "turn_time", "s", kTurnTime, isStart,
              "time for a turn"),
    }};
}

}  // namespace

constexpr BehaviourParams kBehaviourStart = behaviourParams(true), kBehaviourStop = behaviourParams(false);

const BehaviourRow* findBehaviour(int64_t id)
{
    for (const BehaviourRow& row : kBehaviours) {
        if (row.id == id) {
            return &row;
        }
    }
    return nullptr;
}

void fillBehaviourStart(void* record, const nx_json* params, const ParseContext&)
{
    parsePamplemousse(params, static_cast<HALPamplemousse_t*>(record), true);
}

void fillBehaviourStop(void* record, const nx_json* params, const ParseContext&)
{
    parsePamplemousse(params, static_cast<HALPamplemousse_t*>(record), false);
}

const nx_json* findMissingBehaviourId(const nx_json* params, const nx_json* after)
{
    if (after != nullptr) {
        return nullptr;
    }
    uint16_t id = kBehaviourNotGiven;
    for (const nx_json* param = params->child; param != nullptr; param = param->next) {
        if (std::strcmp(orEmpty(param->key), kBehaviourIdKey) == 0) {
            id = low16(param->int_value);
        }
    }
    return id == kBehaviourNotGiven ? params : nullptr;
}

void parsePamplemousse(const nx_json* params, HALPamplemousse_t* record, bool isStart)
{
    if (record == nullptr || params == nullptr) {
        return;
    }
    record->isStart = isStart ? 1 : 0;
    record->commandId = kBehaviourNotGiven;
    Values values;
    values.record = record;
    constexpr ParamList kList = listOf(kBehaviourStart.rows);
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
    if (!isStart || values.hasParams) {
        return;
    }
    if (const BehaviourRow* row = findBehaviour(record->commandId)) {
        pack(row->values, row->valueCount, values);
    } else {
        printOut("error: unhandled command id: %d.\n", record->commandId);
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
    Values values;
    values.record = record;
    values.meanDegrees = mean;
    values.ampDegrees = amplitude;
    values.periodSeconds = period;
    const PeriodicRows rows = periodicRows({static_cast<double>(meanMin), static_cast<double>(meanMax)},
                                           {static_cast<double>(ampMin), static_cast<double>(ampMax)});
    pack(rows.rows, sizeof rows.rows / sizeof rows.rows[0], values);
}

void encodePeriodicZeroMean(HALPamplemousse_t* record, float amplitude, float period, float ampMin, float ampMax)
{
    Values values;
    values.record = record;
    values.ampDegrees = amplitude;
    values.periodSeconds = period;
    const ZeroMeanRows rows =
        zeroMeanRows("amp_deg", &Values::ampDegrees, {static_cast<double>(ampMin), static_cast<double>(ampMax)});
    pack(rows.rows, sizeof rows.rows / sizeof rows.rows[0], values);
}

}  // namespace APICore
