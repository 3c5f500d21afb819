#include "OutputFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "Input.h"
#include "ZKHAL/ZKHAL.h"

namespace zkhal {

void writeFile(const std::string& path, const std::string& content)
{
    const std::string partial = path + ".part";
    std::FILE* file = std::fopen(partial.c_str(), "wb");
    if (file == nullptr) {
        throw InputError{path + ": " + std::strerror(errno)};
    }
    const bool written = std::fwrite(content.data(), 1, content.size(), file) == content.size();
    const bool closed = std::fclose(file) == 0;
    if (!written || !closed || std::rename(partial.c_str(), path.c_str()) != 0) {
        const std::string reason = std::strerror(errno);
        std::remove(partial.c_str());
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
