// What would become of an animation document, said beforehand.
#pragma once

#include <cstdint>
#include <string>

#include "CoreUtility/Command/CommandCheck.h"

namespace ZKAnimConvert {

/** As APICore::checkCommandDocument(), with the number of the frame. Refused is what fails or stops the process. */
APICore::CheckResult checkAnimationDocument(const char* text, uint32_t robotType, std::string& findings);

}  // namespace ZKAnimConvert
