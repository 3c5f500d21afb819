#include "Host/Transport.h"

namespace Host {

std::string canonicalUuid(const std::string& uuid)
{
    std::string upper = uuid;
    for (char& c : upper) {
        c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
    return upper;
}

bool isSameTextIgnoringCase(const std::string& a, const std::string& b)
{
    return a.size() == b.size() && canonicalUuid(a) == canonicalUuid(b);
}

}  // namespace Host
