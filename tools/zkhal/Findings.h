// Findings of the check, where people look for them.
#pragma once

#include <cstddef>
#include <string>

namespace zkhal {

// The library counts lines from the start of the document; people count them from the start of the file.
std::string placedFindings(const std::string& findings, const std::string& name, size_t firstLine);

}  // namespace zkhal
