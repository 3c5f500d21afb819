// The vocabulary of command documents: every component, its parameters, and what parsing each of them does.
#pragma once

#include <cstddef>
#include <cstdint>

#include "CoreUtility/Json/nx_json.h"
#include "CoreUtility/Text.h"
#include "HAL/RobotHardware/RobotHW.h"
#include "HAL/RobotMessages/Ctlr2BotMsg.h"

namespace APICore {

/**
 * How the parser reads a parameter. A value of another kind reads as 0, as "" or as no elements; true reads as 1 for an
 * integer and as 0 for a real. Limited: reals of which the nearer end is sent when they lie beyond their range.
 */
enum class ParamView : uint8_t { Integer, Real, Limited, Level, Text, Object, Array, Mixed };

/** What the parser needs to know beside the value. */
struct ParseContext {
    const HAL::RobotHW* robot;   // null if there is none
    bool hasPaddedText = false;  // of every key, ZKHAL::ComparedText::kReadable bytes can be read

    bool isKey(const ZKHAL::ComparedText& expected, const char* key) const
    {
        return hasPaddedText && key != nullptr ? expected.isSameAsReadable(key)
                                               : expected.isSameAs(ZKHAL::orEmpty(key));
    }
};

struct Range {
    double low = 0;
    double high = 0;

    bool isEmpty() const
    {
        return low == high;
    }
    bool contains(double value) const
    {
        return value >= low && value <= high;
    }
};

/** How far the head of a robot turns, in degrees. */
Range headRange(uint32_t robotType, bool isPan);

struct ParamRow;

struct ParamList {
    const ParamRow* rows;
    size_t count;

    // The row of a key, null if there is none.
    const ParamRow* find(const char* key) const;
};

/** One parameter of a component: its key, how it is read, and where it goes. */
struct ParamRow {
    const char* key;
    ParamView view;
    void (*store)(void* record, const nx_json& value, const ParseContext& context);
    Range range = {};        // what arrives whole: of values, or of a text's length; empty: depends on more
    ParamList members = {};  // objects: what they are read for
    ZKHAL::ComparedText comparedKey = ZKHAL::ComparedText(key);
};

/** One component of the command vocabulary. Everything that walks documents walks these rows. */
struct ComponentRow {
    ZKComponentId id;
    HAL::RecordKind kind;  // of its record, or of those that it stands for; Count: the parser does not know it
    ParamList params;
    /** Where there is more to do than to store the parameters one by one; record is null when there is none. */
    void (*fillSpecially)(const HAL::Ctlr2BotMsg& message, void* record, const nx_json* params,
                          const ParseContext& context) = nullptr;
    /** The next member of params (or params itself) for which fillComponent() would stop the process; null if none. */
    const nx_json* (*findFatal)(const nx_json* params, const nx_json* after) = nullptr;
    const char* fatalReason = nullptr;  // in words for people
};

/** The row of an id that the parser knows, else null. */
const ComponentRow* findComponent(uint32_t id);

/**
 * Parses the parameters of a component (a row of kComponentNames) into its record(s). Does nothing when the robot
 * registers none; false when the parser does not know the component.
 */
bool fillComponent(const HAL::Ctlr2BotMsg& message, size_t component, const nx_json* params,
                   const ParseContext& context);

}  // namespace APICore
