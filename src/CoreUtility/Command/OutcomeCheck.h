// What a document writes, held against what its components come to in the end.
#pragma once

#include <cstdint>

#include "CoreUtility/Command/CheckFindings.h"
#include "CoreUtility/Command/CommandVocabulary.h"
#include "CoreUtility/Json/nx_json.h"
#include "HAL/RobotHardware/robot_hw0_cmd_data.h"

namespace APICore {

/** The records and pending commands at the end of a document, and what of a component counts in it. */
struct Outcome {
    const HAL::robot_hw0_cmd_data& records;
    const GivenParams& given;
    uint64_t ownBits;  // that the record of the component would set by itself, without earlier namings
    Findings& findings;
};

/** What is sent, or lost, of the component although nobody wrote it so; said at its last naming. */
void checkOutcome(uint32_t componentId, const Outcome& outcome);

/** Whether a number is given for a setting that is not sent. */
bool isBeatenSetting(const nx_json* param, const Outcome& outcome);

/** Whether the ring is commanded without a brightness: a remark, unless the combined packet takes it along. */
bool lacksBrightness(const Outcome& outcome);

}  // namespace APICore
