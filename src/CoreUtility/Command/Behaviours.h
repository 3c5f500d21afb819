// The behaviours of a Quill: which named values each takes, and how its six parameter bytes are made of them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "CoreUtility/Command/CommandVocabulary.h"
#include "HAL/RobotMessages/CommandRecords.h"

namespace APICore {

struct BehaviourValues;

/** How a value becomes a number. Reals are held in single precision, in which each step is rounded. */
enum class Packed : uint8_t {
    Flag,          // 1 or 0
    Whole,         // truncated
    Tenths,        // ten times the value, truncated
    Milliseconds,  // 1000 times the value, truncated
    NineBits,      // its place in its range, 0 to 511
    Scale,         // half of it as a level, and bit 8 says that it is given
};

/** Some bits of the number go into a parameter byte. */
struct BitPiece {
    uint8_t from, bits;  // of the number
    uint8_t byte, to;    // the lowest of the bits that they become
    bool isAdded;        // or-ed to what the byte holds, which may be of a list of "params" that was too short
};

struct BehaviourValueRow {
    const char* key;  // of its parameter
    float BehaviourValues::*number;
    int BehaviourValues::*flag;  // null for numbers
    const char* missing;         // printed when it is not given, and 0 is packed; null: it may be left out
    Packed packed;
    Limits limits;
    BitPiece pieces[2];  // without bits: none
};

struct BehaviourRow {
    uint16_t id;
    const char* name;   // for programs: short, unique, and never changed
    const char* words;  // for people
    const BehaviourValueRow* values;
    size_t valueCount;
};

constexpr size_t kBehaviourCount = 8;
/** By ascending id. */
extern const BehaviourRow kBehaviours[kBehaviourCount];

/** Null for an id that no values are packed for. */
const BehaviourRow* findBehaviour(int64_t id);

// Of components 450 and 451: the parameters, what reads them, and what would stop the process.
struct BehaviourParams {
    ParamRow rows[14];
};
extern const BehaviourParams kBehaviourStart, kBehaviourStop;
void fillBehaviourStart(void* record, const nx_json* params, const ParseContext& context);
void fillBehaviourStop(void* record, const nx_json* params, const ParseContext& context);
const nx_json* findMissingBehaviourId(const nx_json* params, const nx_json* after);

constexpr char kBehaviourIdKey[] = "id", kBehaviourBytesKey[] = "params";

}  // namespace APICore
