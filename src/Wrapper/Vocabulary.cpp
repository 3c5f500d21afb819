#include "ZKHAL/Vocabulary.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <string>

#include "CoreUtility/Command/Behaviours.h"
#include "CoreUtility/Command/CommandVocabulary.h"
#include "CoreUtility/Text.h"
#include "HAL/MessagePacketizers/SensorVocabulary.h"
#include "HAL/RobotMessages/Components.h"
#include "HAL/RobotMessages/RobotTypes.h"
#include "HAL/RobotMessages/WireCommands.h"

namespace {

using namespace APICore;
using ZKHAL::orEmpty;

// The numbers of the interface are those of the tables.
static_assert(static_cast<int>(ParamKind::EyeBrightness) == ZK_PARAMETER_EYE_BRIGHTNESS &&
                  static_cast<int>(ParamKind::Text) == ZK_PARAMETER_TEXT &&
                  static_cast<int>(ParamKind::Lights) == ZK_PARAMETER_LIGHTS,
              "");
static_assert(static_cast<int>(Beyond::NotSent) == ZK_BEYOND_NOT_SENT &&
                  static_cast<int>(Beyond::Magnitude) == ZK_BEYOND_MAGNITUDE,
              "");
static_assert(static_cast<int>(LimitCase::When::NotGiven) == ZK_RANGE_WHEN_NOT_GIVEN &&
                  static_cast<int>(LimitCase::When::NonZero) == ZK_RANGE_WHEN_NONZERO,
              "");
static_assert(static_cast<int>(Packed::Scale) == ZK_NUMBER_SCALE &&
                  static_cast<int>(Packed::Milliseconds) == ZK_NUMBER_MILLISECONDS,
              "");
static_assert(static_cast<int>(HAL::SensorPart::Event) == ZK_SENSOR_EVENT &&
                  static_cast<int>(HAL::SensorKind::Bytes) == ZK_SENSOR_BYTES,
              "");
static_assert(HAL::kOrvik == ZK_ROBOTS_ORVIK && HAL::kPell == ZK_ROBOTS_PELL && HAL::kQuill == ZK_ROBOTS_QUILL, "");

constexpr uint32_t kCommandedRobots = ZK_ROBOTS_ORVIK | ZK_ROBOTS_PELL | ZK_ROBOTS_QUILL;

// As much of it as the host's struct has; `size` stays the host's.
template <class Info>
bool give(Info full, Info* info)
{
    if (info == nullptr || info->size < sizeof full.size) {
        return false;
    }
    full.size = info->size;
    std::memcpy(info, &full, info->size < sizeof full ? info->size : sizeof full);
    return true;
}

bool isNumberOf(const char* text, uint32_t number)
{
    return std::to_string(number) == text;
}

const ParamRow* rowOf(const ParamList& list, size_t index)
{
    return index < list.count ? &list.rows[index] : nullptr;
}

// The parameters of a component, or the members of one of them.
ParamList listOf(uint32_t componentId, const char* objectKey)
{
    const ComponentRow* component = findComponent(componentId);
    const ParamList all = component != nullptr ? component->params : ParamList{nullptr, 0};
    if (objectKey == nullptr) {
        return all;
    }
    const ParamRow* object = all.find(objectKey);
    return object != nullptr ? object->members : ParamList{nullptr, 0};
}

ZKRangeInfo rangeOf(const Limits& limits)
{
    ZKRangeInfo info = {};
    info.low = limits.range.low;
    info.high = limits.range.high;
    info.isSent = limits.isSent();
    info.beyond = static_cast<ZKBeyondRange>(limits.beyond);
    info.readAs = limits.readAs;
    info.robots = kCommandedRobots;
    return info;
}

// What a case that holds always and on all robots stands before can never count.
size_t rangeCountOf(const ParamRow& row)
{
    for (size_t i = 0; i < row.caseCount; ++i) {
        const LimitCase& each = row.cases[i];
        if (each.when == LimitCase::When::Always && (each.robots & kCommandedRobots) == kCommandedRobots) {
            return i + 1;
        }
    }
    return row.caseCount + 1;
}

bool hasCommand(ZKComponentId id)
{
    return std::any_of(std::begin(HAL::kWireCommands), std::end(HAL::kWireCommands),
                       [id](const HAL::WireCommand& command) { return command.component == id; });
}

ZKSensorInfo documentInfo()
{
    ZKSensorInfo info = {};
    info.name = "report";
    info.words = "the report itself";
    info.robots = kCommandedRobots;
    info.valueCount = 1;
    return info;
}

}  // namespace

bool ZKGetRobotType(size_t index, ZKRobotTypeInfo* info)
{
    if (index >= sizeof HAL::kRobotTypes / sizeof HAL::kRobotTypes[0]) {
        return false;
    }
    const HAL::RobotTypeRow& row = HAL::kRobotTypes[index];
    ZKRobotTypeInfo full = {};
    full.type = row.type;
    full.name = row.name;
    full.words = row.words;
    full.robots = uint32_t{1} << (row.family - 1);
    full.isBootloader = row.isBootloader;
    full.hasCommands = (row.set & HAL::kCommandedRobots) != 0;
    full.hasHead = row.head.panLow != row.head.panHigh;
    full.panLow = row.head.panLow;
    full.panHigh = row.head.panHigh;
    full.tiltLow = row.head.tiltLow;
    full.tiltHigh = row.head.tiltHigh;
    return give(full, info);
}

bool ZKFindRobotType(const char* nameOrCode, ZKRobotTypeInfo* info)
{
    const char* const text = orEmpty(nameOrCode);
    for (size_t i = 0; i < sizeof HAL::kRobotTypes / sizeof HAL::kRobotTypes[0]; ++i) {
        const HAL::RobotTypeRow& row = HAL::kRobotTypes[i];
        if (ZKHAL::isSameTextIgnoringCase(text, row.name) || isNumberOf(text, row.type)) {
            return ZKGetRobotType(i, info);
        }
    }
    return false;
}

bool ZKGetComponent(size_t index, ZKComponentInfo* info)
{
    if (index >= HAL::kComponentCount) {
        return false;
    }
    const HAL::Component& component = HAL::kComponents[index];
    const ComponentRow& row = componentRow(index);
    ZKComponentInfo full = {};
    full.id = component.id;
    full.name = component.name;
    full.title = component.words;
    full.words = row.words;
    full.isKnown = component.kind != HAL::kNoRecordKind;
    full.acceptedOn = component.has;
    full.robots = full.isKnown               ? component.has & component.reads
                  : hasCommand(component.id) ? component.has
                                             : uint32_t{0};
    full.parameterCount = row.params.count;
    return give(full, info);
}

bool ZKFindComponent(const char* nameOrId, ZKComponentInfo* info)
{
    const char* const text = orEmpty(nameOrId);
    for (size_t i = 0; i < HAL::kComponentCount; ++i) {
        if (ZKHAL::isSameText(text, HAL::kComponents[i].name) || isNumberOf(text, HAL::kComponents[i].id)) {
            return ZKGetComponent(i, info);
        }
    }
    return false;
}

bool ZKGetParameter(uint32_t componentId, const char* key, size_t index, ZKParameterInfo* info)
{
    const ParamRow* row = rowOf(listOf(componentId, key), index);
    if (row == nullptr) {
        return false;
    }
    ZKParameterInfo full = {};
    full.key = row->key;
    full.name = row->name;
    full.words = row->words;
    full.unit = row->unit;
    full.kind = static_cast<ZKParameterKind>(row->kind);
    full.isRequired = row->isRequired;
    full.hasDefault = !std::isnan(row->whenAbsent);
    full.defaultValue = full.hasDefault ? row->whenAbsent : 0;
    full.rangeCount = rangeCountOf(*row);
    full.memberCount = row->members.count;
    full.sharedKey = row->sharedKey;
    full.sharedComponent = row->sharedKey == nullptr   ? 0
                           : row->sharedComponent != 0 ? row->sharedComponent
                                                       : componentId;
    return give(full, info);
}

bool ZKGetRange(uint32_t componentId, const char* parentKey, const char* key, size_t index, ZKRangeInfo* info)
{
    const ParamRow* row = key != nullptr ? listOf(componentId, parentKey).find(key) : nullptr;
    if (row == nullptr || index >= rangeCountOf(*row)) {
        return false;
    }
    if (index == row->caseCount) {
        return give(rangeOf(row->limits), info);
    }
    const LimitCase& each = row->cases[index];
    ZKRangeInfo full = rangeOf(each.limits);
    full.robots = each.robots & kCommandedRobots;
    full.condition = static_cast<ZKRangeCondition>(each.when);
    full.whenKey = each.key;
    full.whenKey2 = each.key2;
    full.whenLow = each.is.low;
    full.whenHigh = each.is.high;
    return give(full, info);
}

bool ZKGetBehaviour(size_t index, ZKBehaviourInfo* info)
{
    if (index >= kBehaviourCount) {
        return false;
    }
    const BehaviourRow& row = kBehaviours[index];
    return give({0, row.id, row.name, row.words, row.valueCount}, info);
}

bool ZKGetBehaviourValue(uint32_t behaviourId, size_t index, ZKBehaviourValueInfo* info)
{
    const BehaviourRow* behaviour = findBehaviour(behaviourId);
    if (behaviour == nullptr || index >= behaviour->valueCount) {
        return false;
    }
    const BehaviourValueRow& row = behaviour->values[index];
    ZKBehaviourValueInfo full = {};
    full.key = row.key;
    full.isOptional = row.missing == nullptr;
    full.low = row.limits.range.low;
    full.high = row.limits.range.high;
    full.beyond = static_cast<ZKBeyondRange>(row.limits.beyond);
    full.readAs = row.limits.readAs;
    full.number = static_cast<ZKBehaviourNumber>(row.packed);
    for (size_t i = 0; i < 2; ++i) {
        full.bits[i] = {row.pieces[i].from, row.pieces[i].bits, row.pieces[i].byte, row.pieces[i].to};
    }
    return give(full, info);
}

bool ZKGetSensor(size_t index, ZKSensorInfo* info)
{
    if (index == 0) {
        return give(documentInfo(), info);
    }
    if (index > HAL::kSensorCount) {
        return false;
    }
    const HAL::SensorRow& row = HAL::kSensors[index - 1];
    return give({0, row.id, row.name, row.words, row.robots, static_cast<ZKSensorPart>(row.part), row.valueCount},
                info);
}

bool ZKFindSensor(const char* nameOrId, ZKSensorInfo* info)
{
    const char* const text = orEmpty(nameOrId);
    for (size_t i = 0; i < HAL::kSensorCount; ++i) {
        if (ZKHAL::isSameText(text, HAL::kSensors[i].name) || isNumberOf(text, HAL::kSensors[i].id)) {
            return ZKGetSensor(i + 1, info);
        }
    }
    return ZKHAL::isSameText(text, documentInfo().name) && ZKGetSensor(0, info);
}

bool ZKGetSensorValue(uint32_t sensorId, size_t index, ZKSensorValueInfo* info)
{
    const HAL::SensorValueRow* row = sensorId == 0 && index == 0 ? &HAL::kTimestampValue : nullptr;
    for (const HAL::SensorRow& sensor : HAL::kSensors) {
        if (sensor.id == sensorId && index < sensor.valueCount) {
            row = &sensor.values[index];
        }
    }
    if (row == nullptr) {
        return false;
    }
    ZKSensorValueInfo full = {};
    full.key = row->key;
    full.words = row->words;
    full.unit = row->unit;
    full.kind = static_cast<ZKSensorKind>(row->kind);
    full.isOptional = row->isOptional;
    full.hasRange = row->low != row->high;
    full.low = row->low;
    full.high = row->high;
    return give(full, info);
}
