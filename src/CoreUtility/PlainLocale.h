// The "C" locale as an object, for the C library calls that would otherwise follow the host's setlocale().
#pragma once

#include <locale.h>

namespace ZKHAL {

// Lives until the process ends. Null without memory, which uselocale() takes as "no change".
inline locale_t plainLocale()
{
    static const locale_t locale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
    return locale;
}

}  // namespace ZKHAL
