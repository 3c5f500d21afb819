#include "OutputFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "Input.h"
#include "ZKHAL/ZKHAL.h"

namespace zkhal {

namespace {

void writeThrough(std::FILE* file, const std::string& name, const std::string& content)
{
    const bool written = std::fwrite(content.data(), 1, content.size(), file) == content.size();
    if (!written || std::fflush(file) != 0) {
        throw InputError{name + ": " + std::strerror(errno)};
    }
}

}  // namespace

void writeFile(const std::string& path, const std::string& content)
{
    namespace fs = std::filesystem;
    if (path == "-") {
        writeThrough(stdout, "standard output", content);
        return;
    }
    std::error_code ignored;
    const fs::path target = fs::is_symlink(path, ignored) ? fs::weakly_canonical(path, ignored) : fs::path(path);
    const bool isSpecial = fs::exists(target, ignored) && !fs::is_regular_file(target, ignored);
    const std::string partial = isSpecial ? target.string() : target.string() + ".part";
    std::FILE* file = std::fopen(partial.c_str(), "wb");
    if (file == nullptr) {
        throw InputError{path + ": " + std::strerror(errno)};
    }
    const bool written = std::fwrite(content.data(), 1, content.size(), file) == content.size();
    const bool closed = std::fclose(file) == 0;
    if (!written || !closed || (!isSpecial && std::rename(partial.c_str(), target.c_str()) != 0)) {
        const std::string reason = std::strerror(errno);
        if (!isSpecial) {
            std::remove(partial.c_str());
        }
        throw InputError{path + ": " + reason};
    }
}

void sendMessagesToStderr()
{
    ZKSetMessageSink([](void*, int, const char* text) { std::fputs(text, stderr); }, nullptr);
}

QuietLibrary::QuietLibrary()
{
    ZKSetMessageSink([](void*, int, const char*) {}, nullptr);
}

QuietLibrary::~QuietLibrary()
{
    sendMessagesToStderr();
}

}  // namespace zkhal
