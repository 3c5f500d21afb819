// Where results and messages go.
#pragma once

#include <string>

namespace zkhal {

// A result file that replaces an existing one only when it is complete.
// Writes beside the target and renames; a device or a pipe is written to as it is, and "-" is stdout. Throws InputError
// with the reason; then an existing file is as it was.
void writeFile(const std::string& path, const std::string& content);

// What the library prints for people goes where messages go: results are the only thing on stdout.
void sendMessagesToStderr();

// While one exists, the library's messages are dropped.
class QuietLibrary {
public:
    QuietLibrary();
    ~QuietLibrary();
    QuietLibrary(const QuietLibrary&) = delete;
    QuietLibrary& operator=(const QuietLibrary&) = delete;
};

}  // namespace zkhal
