// What a command reads, and how it is named in messages.
#pragma once

#include <string>

namespace zkhal {

// Thrown for what cannot be read; the text names the input and the reason.
struct InputError {
    std::string message;
};

// A file, or "-" for standard input.
std::string readInput(const std::string& path);

}  // namespace zkhal
