/*
 * Where the library's printed lines go, what happens on a fatal assertion, and which clock it reads.
 *
 * These settings hold for the whole process. Make them before other threads use the library.
 */
#ifndef ZKHAL_DIAGNOSTICS_H
#define ZKHAL_DIAGNOSTICS_H

#include <stdint.h>

#include "ZKHAL/ZKExport.h"

ZK_EXTERN_C_BEGIN

enum { ZK_STREAM_OUT = 1, ZK_STREAM_ERR = 2 };

/**
 * Receives one printed message of the library instead of stdout (ZK_STREAM_OUT) or stderr (ZK_STREAM_ERR).
 * text   NUL-terminated, as it would have been printed, with its line end where it has one; ends with the call.
 * Called on the thread that is inside the library. It may call the library.
 */
typedef void (*ZKMessageSink)(void* user, int stream, const char* text);

/** Redirects all printed messages, but for the one line of a fatal assertion, to a program that owns its stdout. A null
 * sink restores stdout and stderr. */
ZK_API void ZKSetMessageSink(ZKMessageSink sink, void* user);

/**
 * Called once when a fatal assertion fails: after both streams are flushed and the condition is on stderr, and
 * before the process is aborted. It may end the process in its own way; when it returns, abort() follows.
 * condition   the failed expression as written, e.g. "ledNum >= 1".
 */
typedef void (*ZKAssertionHandler)(const char* condition, const char* function, const char* file, int line);

/** Installs the handler; null removes it. Assertions hold in every build, also with NDEBUG. */
ZK_API void ZKSetAssertionHandler(ZKAssertionHandler handler);

typedef struct ZKClock {
    void* user; /* passed first to both entries */
    /* Time since 1970, as whole seconds and 0 to 999999 microseconds. May go backwards, as a set clock does. */
    void (*wallTime)(void* user, int64_t* seconds, int32_t* microseconds);
    /* Nanoseconds since any fixed origin; never goes backwards. */
    uint64_t (*monotonicNanoseconds)(void* user);
} ZKClock;

/**
 * Replaces both clocks of the library, for tests and for replaying recordings. The struct is copied.
 * A null entry means the system's clock; a null argument restores both.
 */
ZK_API void ZKSetClock(const ZKClock* clock);

ZK_EXTERN_C_END

#endif
