// A result file that replaces an existing one only when it is complete.
#pragma once

#include <string>

namespace zkhal {

// Writes beside the target and renames. Throws InputError with the reason; then an existing file is as it was.
void writeFile(const std::string& path, const std::string& content);

}  // namespace zkhal
