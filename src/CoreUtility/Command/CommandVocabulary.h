// The vocabulary of command documents: every component, its parameters, and what parsing each of them does. Parser,
// check, docs and ZKHAL/Vocabulary.h walk these rows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

#include "CoreUtility/Json/nx_json.h"
#include "CoreUtility/Text.h"
#include "HAL/RobotHardware/RobotHW.h"
#include "HAL/RobotMessages/Components.h"
#include "HAL/RobotMessages/Ctlr2BotMsg.h"

namespace APICore {

/** What a parameter is written as. A value of another kind reads as 0, as "" or as no elements. */
enum class ParamKind : uint8_t {
    Whole,          // its integer view: true is 1, and of 1.7 the 1
    Flag,           // the same, and anything but 0 is 1
    Real,           // true is 0
    Level,          // a real of 0 to 1 that goes out as a byte
    Text,           // its range is one of bytes
    Object,         // with parameters of its own
    Bytes,          // a list of wholes
    Lights,         // a list of light numbers
    EyeLights,      // a list of 12 flags, or an object of them by light number
    EyeBrightness,  // a level, or above 1 the byte itself; or a list of one or four of these
};

/** What becomes of a number that lies beyond its range. */
enum class Beyond : uint8_t {
    LowBits,    // the low bits of it are sent
    Limited,    // the nearer end is sent
    Magnitude,  // its sign is dropped, and then it is limited
    ReadAs,     // another value is sent
    NotSent,
};

struct Range {
    double low = 0;
    double high = 0;

    constexpr bool isEmpty() const
    {
        return low == high;
    }
    constexpr bool contains(double value) const
    {
        return value >= low && value <= high;
    }
};

/** What arrives whole, and what becomes of the rest. */
struct Limits {
    Range range;  // empty: of this parameter nothing is sent
    Beyond beyond = Beyond::LowBits;
    double readAs = 0;  // with Beyond::ReadAs

    constexpr bool isSent() const
    {
        return beyond != Beyond::NotSent || !range.isEmpty();
    }
};
constexpr Limits kNotSent = {{}, Beyond::NotSent};

class GivenParams;

/** On which robots, and beside which other parameters of the component, other limits hold. */
struct LimitCase {
    enum class When : uint8_t { Always, Within, NonZero, BothGiven, NotGiven };

    HAL::RobotSet robots;
    When when;
    const char* key;   // of the other parameter; its whole value is 0 when it is not given
    const char* key2;  // BothGiven
    Range is;          // Within
    Limits limits;
    int bits = 64;  // of the field that keeps the other parameter: it is compared as that field has it

    bool holds(HAL::RobotSet robot, const GivenParams& given) const;
};

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

struct ParamRow;

struct ParamList {
    const ParamRow* rows;
    size_t count;

    // The row of a key, null if there is none.
    const ParamRow* find(const char* key) const;
    const ParamRow* begin() const;
    const ParamRow* end() const;
};

constexpr double kNothing = std::numeric_limits<double>::quiet_NaN();

/** One parameter of a component: its key, how it is read, and where it goes. */
struct ParamRow {
    using Store = void (*)(void* record, const nx_json& value, const ParseContext& context);

    ZKHAL::ComparedText comparedKey;
    Store store;
    ParamKind kind;
    const char* key;
    const char* name;                  // for programs: short, and unique in its component
    const char* unit;                  // "" for plain numbers
    const char* words;                 // for people
    Limits limits;                     // of numbers; of texts how many bytes
    const LimitCase* cases = nullptr;  // the first that holds goes before `limits`
    size_t caseCount = 0;
    ParamList members = {nullptr, 0};  // of an object
    uint32_t sharedComponent = 0;      // the parameter that writes the same value: of the two, the later counts
    const char* sharedKey = nullptr;   // null: none
    double whenAbsent = 0;             // what counts as given; kNothing: nothing does
    bool isRequired = false;
    bool isForgotten = false;   // when the component is named again
    bool isFirstOfTwo = false;  // of two with this key the first counts; of all others the last

    constexpr ParamRow(Store store_, ParamKind kind_, const char* key_, const char* name_, const char* unit_,
                       const char* words_, Limits limits_)
        : comparedKey(key_),
          store(store_),
          kind(kind_),
          key(key_),
          name(name_),
          unit(unit_),
          words(words_),
          limits(limits_)
    {
    }

    template <size_t kCount>
    constexpr ParamRow when(const LimitCase (&limitCases)[kCount]) const
    {
        ParamRow row = *this;
        row.cases = limitCases;
        row.caseCount = kCount;
        return row;
    }
    constexpr ParamRow sharing(const char* otherKey, uint32_t component = 0) const
    {
        ParamRow row = *this;
        row.sharedKey = otherKey;
        row.sharedComponent = component;
        return row;
    }
    constexpr ParamRow absent(double value) const
    {
        ParamRow row = *this;
        row.whenAbsent = value;
        return row;
    }
    constexpr ParamRow required() const
    {
        ParamRow row = *this;
        row.isRequired = true;
        row.whenAbsent = kNothing;
        return row;
    }

    constexpr ParamRow forgotten() const
    {
        ParamRow row = *this;
        row.isForgotten = true;
        return row;
    }
    constexpr ParamRow firstOfTwo() const
    {
        ParamRow row = *this;
        row.isFirstOfTwo = true;
        return row;
    }

    /** What holds on a robot beside the other parameters of the component. */
    const Limits& limitsFor(HAL::RobotSet robot, const GivenParams& given) const;
};

inline const ParamRow* ParamList::begin() const
{
    return rows;
}

inline const ParamRow* ParamList::end() const
{
    return rows + count;
}

/** Of all that a document gives of one component, what counts in the end: it may name it twice, and keys too. */
class GivenParams {
public:
    static constexpr size_t kMost = 16;  // parameters in a list

    explicit GivenParams(const ParamList& list) : mList(list) {}

    /** The parameters of one naming, in the order of the document. */
    void add(const nx_json* params);

    /** Null when it is not given. */
    const nx_json* find(const ParamRow& row) const
    {
        return mParams[&row - mList.rows];
    }
    const nx_json* find(const char* key) const
    {
        const ParamRow* row = mList.find(key);
        return row != nullptr ? find(*row) : nullptr;
    }
    int64_t whole(const char* key) const
    {
        const nx_json* param = find(key);
        return param != nullptr ? param->int_value : 0;
    }
    const ParamList& list() const
    {
        return mList;
    }
    /** Null before the first. */
    const nx_json* lastNaming() const
    {
        return mLastNaming;
    }
    int namings() const
    {
        return mNamings;
    }

private:
    ParamList mList;
    const nx_json* mParams[kMost] = {};
    const nx_json* mLastNaming = nullptr;
    int mNamings = 0;
};

/** What the vocabulary adds to a row of HAL::kComponents. */
struct ComponentRow {
    ZKComponentId id;
    ParamList params;
    const char* words;  // for people: what is to be known of it
    /** Where there is more to do than to store the parameters one by one. */
    void (*fillSpecially)(void* record, const nx_json* params, const ParseContext& context) = nullptr;
    /** The next member of params (or params itself) for which fillComponent() would stop the process; null if none. */
    const nx_json* (*findFatal)(const nx_json* params, const nx_json* after) = nullptr;
    const char* fatalReason = nullptr;  // in words for people
};

/** The row beside one of HAL::kComponents. */
const ComponentRow& componentRow(size_t component);
/** The row of an id that the parser knows, else null. */
const ComponentRow* findComponent(uint32_t id);

/**
 * Parses the parameters of a component (a row of HAL::kComponents) into its record(s). Does nothing when the robot
 * registers none; false when the parser does not know the component.
 */
bool fillComponent(const HAL::Ctlr2BotMsg& message, size_t component, const nx_json* params,
                   const ParseContext& context);

/** The same into a record of the component's kind (for both wheels, a BothWheels). */
void fillRecord(const ComponentRow& row, void* record, const nx_json* params, const ParseContext& context);

/** The bit of a light that shows messages; 0 for all others. */
uint8_t messageLightBit(int64_t light);

/** What component 211 is parsed into. */
struct BothWheels {
    HALMotorWheel_t* left;
    HALMotorWheel_t* right;
};

}  // namespace APICore
