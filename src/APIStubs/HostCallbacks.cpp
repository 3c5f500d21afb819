// The replaceable defaults of what a host supplies. Weak, so that a definition in the program wins, also over the one
// in the shared library.
#include "ZKHAL/HostCallbacks.h"

#include <cstdarg>
#include <cstring>
#include <string>

#include "CoreUtility/Messages.h"
#include "CoreUtility/Text.h"

#if defined(__GNUC__) && !defined(_WIN32)
#define ZK_REPLACEABLE __attribute__((weak))
#else
#define ZK_REPLACEABLE  // no program can replace it: the table is the way
#endif

namespace {

ZKHostCallbacks gCallbacks = {sizeof(ZKHostCallbacks), nullptr, nullptr, nullptr, nullptr, nullptr};

// Whether the first conversion of a format is a plain %s.
bool beginsWithText(const char* format)
{
    for (const char* p = std::strchr(format, '%'); p != nullptr; p = std::strchr(p + 2, '%')) {
        if (p[1] != '%') {
            return p[1] == 's';
        }
    }
    return false;
}

ZK_PRINTF(2, 0) void log(ZKLogSeverity severity, const char* format, va_list arguments)
{
    if (gCallbacks.log != nullptr) {
        gCallbacks.log(gCallbacks.user, severity, ZKHAL::formattedList(format, arguments).c_str());
    } else if (beginsWithText(format)) {
        ZKHAL::printOut("message from API: %s", ZKHAL::orEmpty(va_arg(arguments, const char*)));
    } else {
        // The first argument is no text: the whole line, which never reads a number as one.
        ZKHAL::printOut("message from API: %s", ZKHAL::formattedList(format, arguments).c_str());
    }
}

}  // namespace

#define ZK_LOG(severity)                  \
    if (format != nullptr) {              \
        va_list arguments;                \
        va_start(arguments, format);      \
        log(severity, format, arguments); \
        va_end(arguments);                \
    }

ZK_REPLACEABLE void ZKLogV(const char* format, ...){ZK_LOG(ZK_LOG_VERBOSE)}

ZK_REPLACEABLE void ZKLogD(const char* format, ...){ZK_LOG(ZK_LOG_DEBUG)}

ZK_REPLACEABLE void ZKLogI(const char* format, ...){ZK_LOG(ZK_LOG_INFO)}

ZK_REPLACEABLE void ZKLogW(const char* format, ...){ZK_LOG(ZK_LOG_WARNING)}

ZK_REPLACEABLE void ZKLogE(const char* format, ...){ZK_LOG(ZK_LOG_ERROR)}

ZK_REPLACEABLE
    void ZKTransmitPackets(const char* robotId, const char* channelUuid, const HALPacket_t** packets, size_t count)
{
    if (gCallbacks.transmit != nullptr) {
        gCallbacks.transmit(gCallbacks.user, robotId, channelUuid, packets, count);
    }
}

ZK_REPLACEABLE void ZKDidCompleteShellCommand(const char* robotId, const char* command, const char* answer)
{
    if (gCallbacks.completed != nullptr) {
        gCallbacks.completed(gCallbacks.user, robotId, command, answer);
    }
}

ZK_REPLACEABLE void ZKDidFailShellCommand(const char* robotId, const char* command, ZKErrorCode code,
                                          const char* message)
{
    if (gCallbacks.failed != nullptr) {
        gCallbacks.failed(gCallbacks.user, robotId, command, code, message);
    }
}

void ZKSetHostCallbacks(const ZKHostCallbacks* callbacks)
{
    gCallbacks = {sizeof(ZKHostCallbacks), nullptr, nullptr, nullptr, nullptr, nullptr};
    if (callbacks == nullptr) {
        return;
    }
// An entry counts when the host's struct holds all of it.
#define ZK_TAKE(entry)                                                                          \
    if (callbacks->size >= offsetof(ZKHostCallbacks, entry) + sizeof(ZKHostCallbacks::entry)) { \
        gCallbacks.entry = callbacks->entry;                                                    \
    }
    ZK_TAKE(user)
    ZK_TAKE(transmit)
    ZK_TAKE(completed)
    ZK_TAKE(failed)
    ZK_TAKE(log)
#undef ZK_TAKE
}
