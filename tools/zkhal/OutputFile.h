// Where results and messages go.
#pragma once

#include <cstdio>
#include <string>

namespace zkhal {

// A result file that replaces an existing one only when it is complete.
// Writes beside the target and renames; a device or a pipe is written to as it is, and "-" is stdout. Throws InputError
// with the reason; then an existing file is as it was.
void writeFile(const std::string& path, const std::string& content);

// A file that grows line by line beside its target, so that nothing is lost with the program, and takes the target's
// place in the end. Throws InputError with the reason where it cannot.
class GrowingFile {
public:
    explicit GrowingFile(const std::string& path);
    ~GrowingFile();
    GrowingFile(const GrowingFile&) = delete;
    GrowingFile& operator=(const GrowingFile&) = delete;

    void write(const std::string& text);
    void finish();

private:
    std::string mPath, mPartial;
    std::FILE* mFile;
    bool mIsWhole = true;
};

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
