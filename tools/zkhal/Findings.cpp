#include "Findings.h"

#include <algorithm>
#include <charconv>

namespace zkhal {

std::string placedFindings(const std::string& findings, const std::string& name, size_t firstLine)
{
    std::string lines;
    for (size_t begin = 0; begin < findings.size();) {
        const size_t end = std::min(findings.find('\n', begin), findings.size());
        size_t line = 0;
        const auto [rest, error] = std::from_chars(findings.data() + begin, findings.data() + end, line);
        if (error == std::errc()) {
            lines +=
                name + ':' + std::to_string(line + firstLine - 1) + std::string(rest, findings.data() + end) + '\n';
        } else {  // "... and more" has no place
            lines += findings.substr(begin, end - begin) + '\n';
        }
        begin = end + 1;
    }
    return lines;
}

}  // namespace zkhal
