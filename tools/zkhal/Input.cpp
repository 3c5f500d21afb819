#include "Input.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace zkhal {

std::string readBytes(const std::string& path)
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

std::string readInput(const std::string& path)
{
    std::string text = readBytes(path);
    dropByteOrderMark(text, path);
    return text;
}

void dropByteOrderMark(std::string& text, const std::string& name)
{
    const std::string first = text.substr(0, 2);
    if (first == "\xFF\xFE" || first == "\xFE\xFF") {
        throw InputError{name + ": this text is UTF-16: save it as UTF-8"};
    }
    constexpr char kMark[] = "\xEF\xBB\xBF";
    if (text.compare(0, 3, kMark) == 0) {
        text.erase(0, 3);
    }
}

}  // namespace zkhal
