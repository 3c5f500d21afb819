// The "C" locale for the C library calls that would otherwise follow the host's setlocale().
#pragma once

#include <locale.h>

#if defined(_WIN32)
#include <string>
#endif

namespace ZKHAL {

// This thread's locale only, and only for a while: the process-wide one belongs to the host.
#if defined(_WIN32)
class PlainLocaleHere {
public:
    PlainLocaleHere()
        : mWasOfThread(_configthreadlocale(_ENABLE_PER_THREAD_LOCALE)), mHost(setlocale(LC_NUMERIC, nullptr))
    {
        setlocale(LC_NUMERIC, "C");
    }
    ~PlainLocaleHere()
    {
        setlocale(LC_NUMERIC, mHost.c_str());
        _configthreadlocale(mWasOfThread);
    }
    PlainLocaleHere(const PlainLocaleHere&) = delete;
    PlainLocaleHere& operator=(const PlainLocaleHere&) = delete;

private:
    int mWasOfThread;
    std::string mHost;
};
#else
class PlainLocaleHere {
public:
    PlainLocaleHere() : mHost(uselocale(plain())) {}
    ~PlainLocaleHere()
    {
        uselocale(mHost);
    }
    PlainLocaleHere(const PlainLocaleHere&) = delete;
    PlainLocaleHere& operator=(const PlainLocaleHere&) = delete;

private:
    // Lives until the process ends. Null without memory, which uselocale() takes as "no change".
    static locale_t plain()
    {
        static const locale_t locale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
        return locale;
    }

    locale_t mHost;
};
#endif

}  // namespace ZKHAL
