// What would become of a command document, said beforehand.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "CoreUtility/Command/CheckFindings.h"
#include "CoreUtility/Command/ComponentCheck.h"
#include "CoreUtility/Json/JsonDocument.h"
#include "CoreUtility/Json/nx_json.h"

namespace APICore {

enum class CheckResult { Accepted = 0, Remarks = 1, Refused = 2 };

/**
 * Adds "LINE:COLUMN: refused: ..." to findings for everything that would stop the process, and returns whether there
 * is such a thing. document has just parsed text; root is its result, null after an error.
 */
bool findRefusals(const char* text, const ZKHAL::JsonDocument& document, const nx_json* root, uint32_t robotType,
                  std::string& findings);

/**
 * The same with remarks about all that is ignored, lost, or sent without being written. It walks the parser's own
 * tables and runs the parser and the encoder themselves on a robot of its own; nothing is printed.
 * findings is cut after about 64 KiB of text; the result counts all.
 */
CheckResult checkCommandDocument(const char* text, uint32_t robotType, std::string& findings);

// The pieces of it, for documents that hold commands.

/** Whether the text is JSON, and an object; what else it should be is said in `ofWhat`. */
bool isObjectText(const char* text, const ZKHAL::JsonDocument& document, const nx_json* root, const char* ofWhat,
                  Findings& findings);
/** What stands behind the document, and what its texts lose. */
void checkText(const char* text, const char* end, Findings& findings);
CheckResult resultOf(const Findings& findings);

}  // namespace APICore
