// What a command reads, and how it is named in messages.
#pragma once

#include <string>

namespace zkhal {

// Thrown for what cannot be read; the text names the input and the reason.
struct InputError {
    std::string message;
};

// The bytes of a file, or of standard input for "-".
std::string readBytes(const std::string& path);

// The same for text: without the byte order mark that some editors begin it with.
std::string readInput(const std::string& path);

// Takes the mark off the beginning of text. Throws for UTF-16, which is as good as no text here.
void dropByteOrderMark(std::string& text, const std::string& name);

}  // namespace zkhal
