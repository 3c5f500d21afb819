// zkhal vocabulary: what robots understand and report.
#include <algorithm>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Commands.h"
#include "Input.h"
#include "JsonWriter.h"
#include "VocabularyList.h"
#include "ZKHAL/ZKHAL.h"

namespace zkhal {

namespace {

std::string robotsInWords(uint32_t robots)
{
    constexpr uint32_t kAll = ZK_ROBOTS_ORVIK | ZK_ROBOTS_PELL | ZK_ROBOTS_QUILL;
    if (robots == kAll) {
        return "all";
    }
    std::string words;
    for (const ZKRobotTypeInfo& type : robotTypes()) {
        if (!type.isBootloader && (type.robots & robots) != 0) {
            words += (words.empty() ? "" : ", ") + std::string(type.words);
        }
    }
    return words.empty() ? "none" : words;
}

std::string withUnit(std::string words, const char* unit)
{
    return *unit == '\0' ? words : words + (*unit == '%' ? "" : " ") + unit;
}

// "0 to 255", "up to 14 bytes", "0 or 1".
std::string rangeInWords(ZKParameterKind kind, const char* unit, double low, double high)
{
    switch (kind) {
        case ZK_PARAMETER_FLAG:
            return "0 or 1";
        case ZK_PARAMETER_LEVEL:
            return "level of 0 to 1";
        case ZK_PARAMETER_TEXT:
            return "text of at most " + jsonNumber(high) + " bytes";
        case ZK_PARAMETER_BYTES:
            return "list of six, " + jsonNumber(low) + " to " + jsonNumber(high);
        case ZK_PARAMETER_LIGHTS:
            return "list of light numbers";
        case ZK_PARAMETER_EYE_LIGHTS:
            return "list of 12, or object of numbers 1 to 12, of 0 or 1";
        case ZK_PARAMETER_EYE_BRIGHTNESS:
            return "level of 0 to 1, or above it the byte to " + jsonNumber(high) + ", or a list of four of these";
        default:
            return withUnit((kind == ZK_PARAMETER_WHOLE ? "whole, " : "") + jsonNumber(low) + " to " + jsonNumber(high),
                            unit);
    }
}

std::string conditionInWords(const ZKRangeInfo& range)
{
    const auto key = [](const char* name) { return '`' + std::string(name) + '`'; };
    switch (range.condition) {
        case ZK_RANGE_WHEN_WITHIN:
            return key(range.whenKey) + " " + jsonNumber(range.whenLow) +
                   (range.whenLow != range.whenHigh ? " to " + jsonNumber(range.whenHigh) : "");
        case ZK_RANGE_WHEN_NONZERO:
            return "with " + key(range.whenKey);
        case ZK_RANGE_WHEN_BOTH:
            return "beside " + key(range.whenKey) + " and " + key(range.whenKey2);
        case ZK_RANGE_WHEN_NOT_GIVEN:
            return "without " + key(range.whenKey);
        default:
            return robotsInWords(range.robots);
    }
}

std::string outcomeInWords(const ZKRangeInfo& range)
{
    switch (range.beyond) {
        case ZK_BEYOND_LIMITED:
            return ", limited";
        case ZK_BEYOND_MAGNITUDE:
            return ", limited, without its sign";
        case ZK_BEYOND_READ_AS:
            return ", else " + jsonNumber(range.readAs);
        case ZK_BEYOND_NOT_SENT:
            return ", above it not sent";
        default:
            return "";
    }
}

// What a parameter may be; the range that always holds comes first.
std::string valueInWords(const ZKParameterInfo& parameter, std::vector<ZKRangeInfo> all)
{
    std::rotate(all.begin(), all.end() - 1, all.end());
    std::string words;
    for (const ZKRangeInfo& range : all) {
        const bool isOtherwise = &range == &all.front();
        if (!range.isSent && isOtherwise && all.size() > 1) {
            continue;  // it is told when it is sent
        }
        const std::string value =
            range.isSent ? rangeInWords(parameter.kind, parameter.unit, range.low, range.high) + outcomeInWords(range)
                         : "not sent";
        words += (words.empty() ? "" : "; ") + (isOtherwise ? "" : conditionInWords(range) + ": ") + value;
    }
    return words;
}

std::vector<std::string> parameterLines(const ZKComponentInfo& component, const char* object = nullptr)
{
    std::vector<std::string> lines;
    for (const ZKParameterInfo& parameter : parameters(component.id, object)) {
        const std::vector<ZKRangeInfo> all = ranges(component.id, object, parameter.key);
        if (all.size() == 1 && !all[0].isSent) {
            continue;  // read, and of no use
        }
        std::string line = '`' + std::string(parameter.key) + "` ";
        if (parameter.memberCount > 0) {
            std::string members;
            for (const std::string& member : parameterLines(component, parameter.key)) {
                members += (members.empty() ? "" : "; ") + member;
            }
            line += "object of " + members;
        } else {
            line += std::string(parameter.words) + ": " + valueInWords(parameter, all);
        }
        lines.push_back(line + (parameter.isRequired ? "; required" : ""));
    }
    return lines;
}

std::string joined(const std::vector<std::string>& pieces, const char* between)
{
    std::string text;
    for (const std::string& piece : pieces) {
        text += (text.empty() ? "" : between) + piece;
    }
    return text;
}

// Components that differ in nothing but their numbers share a row.
std::string componentTable()
{
    struct Row {
        std::string ids, names, rest;
    };
    std::vector<Row> rows;
    for (const ZKComponentInfo& component : components()) {
        std::vector<std::string> lines = parameterLines(component);
        const std::string id = std::to_string(component.id);
        const std::string rest =
            robotsInWords(component.robots) + " | " + component.words + " | " + joined(lines, "<br>");
        if (!rows.empty() && rows.back().rest == rest) {
            rows.back().ids += ", " + id;
            rows.back().names += ", `" + std::string(component.name) + '`';
        } else {
            rows.push_back({id, '`' + std::string(component.name) + '`', rest});
        }
    }
    std::string table = "| Id | Name | Robots | | Parameters |\n|---|---|---|---|---|\n";
    for (const Row& row : rows) {
        table += "| " + row.ids + " | " + row.names + " | " + row.rest + " |\n";
    }
    return table;
}

std::string numberInWords(ZKBehaviourNumber number)
{
    constexpr const char* kWords[] = {"1 or 0",          "truncated", "× 10", "in ms", "place in the range × 511",
                                      "× 127.5, and 256"};
    return kWords[number];
}

std::string bitsInWords(const ZKBehaviourValueInfo& value)
{
    std::vector<std::string> pieces;
    for (const ZKBehaviourBits& bits : value.bits) {
        const auto span = [](int from, int count) {
            return std::to_string(from) + (count > 1 ? "–" + std::to_string(from + count - 1) : "");
        };
        if (bits.count > 0) {
            pieces.push_back("bits " + span(bits.from, bits.count) + " in byte " + std::to_string(bits.byte) + ", " +
                             span(bits.to, bits.count));
        }
    }
    return joined(pieces, "; ");
}

std::string behaviourTable()
{
    std::string table = "| Id | Name | | Values | As a number | Bytes |\n|---|---|---|---|---|---|\n";
    const std::vector<ZKParameterInfo> all = parameters(ZK_COMPONENT_PAMPLEMOUSSE_START);
    for (const ZKBehaviourInfo& behaviour : behaviours()) {
        std::vector<std::string> values, numbers, bytes;
        for (const ZKBehaviourValueInfo& value : behaviourValues(behaviour.id)) {
            const auto parameter = std::find_if(all.begin(), all.end(), [&](const ZKParameterInfo& each) {
                return std::string(each.key) == value.key;
            });
            values.push_back('`' + std::string(value.key) + "` " +
                             rangeInWords(parameter->kind, parameter->unit, value.low, value.high));
            numbers.push_back(numberInWords(value.number));
            bytes.push_back(bitsInWords(value));
        }
        table += "| " + std::to_string(behaviour.id) + " | `" + behaviour.name + "` | " + behaviour.words + " | " +
                 joined(values, "<br>") + " | " + joined(numbers, "<br>") + " | " + joined(bytes, "<br>") + " |\n";
    }
    return table;
}

std::string sensorTable()
{
    constexpr const char* kParts[] = {"every", "of two packets", "when it happens"};
    std::string table = "| Id | Name | Robots | In reports | Values |\n|---|---|---|---|---|\n";
    for (const ZKSensorInfo& sensor : sensors()) {
        std::vector<std::string> values;
        for (const ZKSensorValueInfo& value : sensorValues(sensor.id)) {
            std::string words = '`' + std::string(value.key) + "` " + value.words;
            if (value.kind == ZK_SENSOR_FLAG) {
                words += ": 0 or 1";
            } else if (value.hasRange) {
                words += ": " + withUnit(jsonNumber(value.low) + " to " + jsonNumber(value.high), value.unit);
            } else {
                words += withUnit(",", value.unit);
            }
            values.push_back(words + (value.isOptional ? "; not in all" : ""));
        }
        const std::string id = sensor.id == 0 ? "–" : std::to_string(sensor.id);
        table += "| " + id + " | `" + sensor.name + "` | " + robotsInWords(sensor.robots) + " | " +
                 kParts[sensor.part] + " | " + joined(values, "<br>") + " |\n";
    }
    return table;
}

// For a terminal: without the marks of a table.
std::string plain(std::string text)
{
    text.erase(std::remove(text.begin(), text.end(), '`'), text.end());
    return text;
}

void describe(const ZKComponentInfo& component, bool withParameters)
{
    std::cout << component.id << "  " << component.name << ": " << component.words << " ("
              << robotsInWords(component.robots) << ")\n";
    for (const std::string& line : withParameters ? parameterLines(component) : std::vector<std::string>()) {
        std::cout << "      " << plain(line) << '\n';
    }
}

struct Options {
    bool json = false;
    std::string table;
    std::vector<std::string> names;
};

const std::vector<std::pair<std::string, std::string (*)()>> kTables = {
    {"components", componentTable}, {"behaviours", behaviourTable}, {"sensors", sensorTable}};

void show(const Options& options)
{
    if (options.json) {
        std::cout << vocabularyJson();
        return;
    }
    for (const auto& [name, table] : kTables) {
        if (name == options.table) {
            std::cout << table();
            return;
        }
    }
    for (const ZKComponentInfo& component : options.names.empty() ? components() : std::vector<ZKComponentInfo>()) {
        describe(component, false);
    }
    for (const std::string& name : options.names) {
        ZKComponentInfo component = {};
        component.size = sizeof component;
        if (!ZKFindComponent(name.c_str(), &component)) {
            throw InputError{"no component is called '" + name + "'; zkhal vocabulary lists them"};
        }
        describe(component, true);
    }
}

}  // namespace

void addVocabulary(CLI::App& app, int& status)
{
    auto options = std::make_shared<Options>();
    CLI::App* command =
        app.add_subcommand("vocabulary", "What robots understand and report: components, units, ranges");
    auto* json = command->add_flag("--json", options->json, "Everything, for programs");
    std::vector<std::string> tables;
    for (const auto& [name, table] : kTables) {
        tables.push_back(name);
    }
    auto* table = command->add_option("--markdown", options->table, "A table: components, behaviours or sensors")
                      ->type_name("TABLE")
                      ->check(CLI::IsMember(tables))
                      ->excludes(json);
    command->add_option("components", options->names, "Components to show with their parameters, by name or number")
        ->type_name("COMPONENT")
        ->option_text("COMPONENT...")
        ->excludes(json)
        ->excludes(table);
    command->footer(
        "Examples:\n"
        "  zkhal vocabulary\n"
        "  zkhal vocabulary wheels light_102 450\n"
        "  zkhal vocabulary --json >vocabulary.json");
    command->callback([options, &status] {
        try {
            show(*options);
        } catch (const InputError& problem) {
            std::cerr << "zkhal vocabulary: " << problem.message << '\n';
            status = kBadInput;
        }
    });
}

}  // namespace zkhal
