// The vocabulary for programs.
#include "JsonWriter.h"
#include "VocabularyList.h"

namespace zkhal {

namespace {

// In the order of the enumerations.
constexpr const char* kKinds[] = {"whole",  "flag",  "real",   "level",     "text",
                                  "object", "bytes", "lights", "eyeLights", "eyeBrightness"};
constexpr const char* kBeyond[] = {"lowBits", "limited", "magnitude", "readAs", "notSent"};
constexpr const char* kConditions[] = {"always", "within", "nonZero", "bothGiven", "notGiven"};
constexpr const char* kNumbers[] = {"flag", "whole", "tenths", "milliseconds", "nineBits", "scale"};
constexpr const char* kParts[] = {"everyReport", "secondPacket", "event"};
constexpr const char* kSensorKinds[] = {"whole", "flag", "real", "bytes"};

void addRobots(JsonWriter& out, const char* key, uint32_t robots)
{
    out.beginList(key);
    for (const ZKRobotTypeInfo& type : robotTypes()) {
        if (!type.isBootloader && (type.robots & robots) != 0) {
            out.add(nullptr, type.name);
        }
    }
    out.end();
}

template <class Info>
void addRange(JsonWriter& out, const Info& range)
{
    out.add("low", range.low);
    out.add("high", range.high);
    out.add("beyond", kBeyond[range.beyond]);
    if (range.beyond == ZK_BEYOND_READ_AS) {
        out.add("readAs", range.readAs);
    }
}

void addRangeInfo(JsonWriter& out, const ZKRangeInfo& range, uint32_t allRobots)
{
    out.beginObject();
    if (range.isSent) {
        addRange(out, range);
    } else {
        out.add("sent", false);
    }
    if (range.robots != allRobots) {
        addRobots(out, "robots", range.robots);
    }
    if (range.condition != ZK_RANGE_ALWAYS) {
        out.beginObject("when");
        out.add("is", kConditions[range.condition]);
        out.add("key", range.whenKey);
        if (range.whenKey2 != nullptr) {
            out.add("key2", range.whenKey2);
        }
        if (range.condition == ZK_RANGE_WHEN_WITHIN) {
            out.add("low", range.whenLow);
            out.add("high", range.whenHigh);
        }
        out.end();
    }
    out.end();
}

void addParameters(JsonWriter& out, const char* key, uint32_t component, const char* object)
{
    constexpr uint32_t kAll = ZK_ROBOTS_ORVIK | ZK_ROBOTS_PELL | ZK_ROBOTS_QUILL;
    out.beginList(key);
    for (const ZKParameterInfo& parameter : parameters(component, object)) {
        out.beginObject();
        out.add("key", parameter.key);
        out.add("name", parameter.name);
        out.add("words", parameter.words);
        out.add("kind", kKinds[parameter.kind]);
        out.add("unit", parameter.unit);
        out.add("required", parameter.isRequired);
        if (parameter.hasDefault && parameter.kind != ZK_PARAMETER_OBJECT) {
            out.add("default", parameter.defaultValue);
        }
        if (parameter.memberCount > 0) {
            addParameters(out, "members", component, parameter.key);
        } else {
            out.beginList("ranges");
            for (const ZKRangeInfo& range : ranges(component, object, parameter.key)) {
                addRangeInfo(out, range, kAll);
            }
            out.end();
        }
        if (parameter.sharedKey != nullptr) {
            out.beginObject("shares");
            out.add("component", parameter.sharedComponent);
            out.add("key", parameter.sharedKey);
            out.end();
        }
        out.end();
    }
    out.end();
}

void addComponents(JsonWriter& out)
{
    out.beginList("components");
    for (const ZKComponentInfo& component : components()) {
        out.beginObject();
        out.add("id", component.id);
        out.add("name", component.name);
        out.add("title", component.title);
        out.add("words", component.words);
        out.add("known", component.isKnown);
        addRobots(out, "robots", component.robots);
        addRobots(out, "acceptedOn", component.acceptedOn);
        addParameters(out, "parameters", component.id, nullptr);
        out.end();
    }
    out.end();
}

void addBehaviours(JsonWriter& out)
{
    out.beginList("behaviours");
    for (const ZKBehaviourInfo& behaviour : behaviours()) {
        out.beginObject();
        out.add("id", behaviour.id);
        out.add("name", behaviour.name);
        out.add("words", behaviour.words);
        out.beginList("values");
        for (const ZKBehaviourValueInfo& value : behaviourValues(behaviour.id)) {
            out.beginObject();
            out.add("key", value.key);
            out.add("optional", value.isOptional);
            addRange(out, value);
            out.add("number", kNumbers[value.number]);
            out.beginList("bits");
            for (const ZKBehaviourBits& bits : value.bits) {
                if (bits.count > 0) {
                    out.beginObject();
                    out.add("from", uint32_t{bits.from});
                    out.add("count", uint32_t{bits.count});
                    out.add("byte", uint32_t{bits.byte});
                    out.add("to", uint32_t{bits.to});
                    out.end();
                }
            }
            out.end();
            out.end();
        }
        out.end();
        out.end();
    }
    out.end();
}

void addSensors(JsonWriter& out)
{
    out.beginList("sensors");
    for (const ZKSensorInfo& sensor : sensors()) {
        out.beginObject();
        out.add("id", sensor.id);
        out.add("name", sensor.name);
        out.add("words", sensor.words);
        addRobots(out, "robots", sensor.robots);
        out.add("part", kParts[sensor.part]);
        out.beginList("values");
        for (const ZKSensorValueInfo& value : sensorValues(sensor.id)) {
            out.beginObject();
            out.add("key", value.key);
            out.add("words", value.words);
            out.add("kind", kSensorKinds[value.kind]);
            out.add("unit", value.unit);
            out.add("optional", value.isOptional);
            if (value.hasRange) {
                out.add("low", value.low);
                out.add("high", value.high);
            }
            out.end();
        }
        out.end();
        out.end();
    }
    out.end();
}

void addRobotTypes(JsonWriter& out)
{
    out.beginList("robots");
    for (const ZKRobotTypeInfo& type : robotTypes()) {
        out.beginObject();
        out.add("type", type.type);
        out.add("name", type.name);
        out.add("words", type.words);
        out.add("bootloader", type.isBootloader);
        out.add("commands", type.hasCommands);
        if (type.hasHead) {
            out.beginObject("head");
            out.add("panLow", type.panLow);
            out.add("panHigh", type.panHigh);
            out.add("tiltLow", type.tiltLow);
            out.add("tiltHigh", type.tiltHigh);
            out.end();
        }
        out.end();
    }
    out.end();
}

}  // namespace

std::string vocabularyJson()
{
    constexpr size_t kLineDepth = 4;  // a parameter or value a line
    JsonWriter out(kLineDepth);
    out.beginObject();
    addRobotTypes(out);
    addComponents(out);
    addBehaviours(out);
    addSensors(out);
    out.end();
    return out.text();
}

}  // namespace zkhal
