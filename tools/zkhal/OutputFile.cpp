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

// Where path leads to, and what is written until it is complete: the same for a device or a pipe.
struct Target {
    std::string target, partial;
    bool isSpecial;
};

Target targetOf(const std::string& path)
{
    namespace fs = std::filesystem;
    std::error_code ignored;
    const std::string target =
        (fs::is_symlink(path, ignored) ? fs::weakly_canonical(path, ignored) : fs::path(path)).string();
    const bool isSpecial = fs::exists(target, ignored) && !fs::is_regular_file(target, ignored);
    return {target, isSpecial ? target : target + ".part", isSpecial};
}

}  // namespace

void writeFile(const std::string& path, const std::string& content)
{
    if (path == "-") {
        writeThrough(stdout, "standard output", content);
        return;
    }
    const auto [target, partial, isSpecial] = targetOf(path);
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

GrowingFile::GrowingFile(const std::string& path)
    : mPath(targetOf(path).target), mPartial(targetOf(path).partial), mFile(std::fopen(mPartial.c_str(), "wb"))
{
    if (mFile == nullptr) {
        throw InputError{path + ": " + std::strerror(errno)};
    }
}

GrowingFile::~GrowingFile()
{
    if (mFile != nullptr) {
        std::fclose(mFile);
    }
}

void GrowingFile::write(const std::string& text)
{
    mIsWhole = mIsWhole && std::fwrite(text.data(), 1, text.size(), mFile) == text.size() && std::fflush(mFile) == 0;
}

void GrowingFile::finish()
{
    const bool closed = std::fclose(mFile) == 0;
    mFile = nullptr;
    if (!closed || !mIsWhole || (mPartial != mPath && std::rename(mPartial.c_str(), mPath.c_str()) != 0)) {
        throw InputError{mPath + ": " + std::strerror(errno) + "; what there is is in " + mPartial};
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
