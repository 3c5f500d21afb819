// What becomes of the components of a command document on a robot.
#pragma once

#include <cstdint>

#include "CoreUtility/Command/CheckFindings.h"
#include "CoreUtility/Json/nx_json.h"

namespace APICore {

/** Whether a member of a command document would stop the process. */
bool isFatal(const nx_json* member, uint32_t robotType);
/** A refusal for each such place in the member. */
void refuseMember(const nx_json* member, uint32_t robotType, Findings& findings);

/**
 * Refusals and remarks about an object of commands: runs the parser and the encoder themselves on a robot of its own.
 * isOfAnimation   for the commands of a frame: an animation takes all three of its packets
 */
void checkCommands(const nx_json* commands, uint32_t robotType, bool isOfAnimation, Findings& findings);

}  // namespace APICore
