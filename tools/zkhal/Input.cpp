#include "Input.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace zkhal {

std::string readInput(const std::string& path)
{
    const bool isStdin = path == "-";
    std::FILE* file = isStdin ? stdin : std::fopen(path.c_str(), "rb");
    if (file == nullptr) {
        throw InputError{path + ": " + std::strerror(errno)};
    }
    const auto close = [isStdin](std::FILE* f) { return isStdin ? 0 : std::fclose(f); };
    const std::unique_ptr<std::FILE, decltype(close)> guard(file, close);
    std::string text;
    char chunk[65536];
    size_t count = 0;
    while ((count = std::fread(chunk, 1, sizeof chunk, file)) > 0) {
        text.append(chunk, count);
    }
    if (std::ferror(file) != 0) {  // a directory opens, but cannot be read
        throw InputError{path + ": " + std::strerror(errno)};
    }
    return text;
}

}  // namespace zkhal
