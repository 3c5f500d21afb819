/*
 * What a host supplies: sending, the ends of shell commands, and the log.
 *
 * The library defines all of them as replaceable defaults. A host that is linked with the library defines functions of
 * the same names, which then win; a host that loads the library at run time hands in a table with
 * ZKSetHostCallbacks(). Without either, sending and endings do nothing, and log lines go to stdout.
 * On Windows the linker has no replaceable functions: there the table is the only way, and defining a function of the
 * same name is an error.
 *
 * All are called on the thread that is inside a ZK... call, and may make any ZK... call themselves. Every pointer ends
 * with the call: copy what must outlive it. They must not throw: a command whose callback threw may stay in flight
 * until the robot disconnects.
 */
#ifndef ZKHAL_HOSTCALLBACKS_H
#define ZKHAL_HOSTCALLBACKS_H

#include <stddef.h>
#include <stdint.h>

#include "ZKHAL/HALPacket.h"
#include "ZKHAL/ZKExport.h"

ZK_EXTERN_C_BEGIN

/** Why a shell command failed. The library itself reports a time-out only, always with the message "timeout". */
typedef enum ZKErrorCode { ZK_ERROR_TIMEOUT = 4 } ZKErrorCode;

/**
 * Writes packets to a characteristic of a connected robot.
 * packets, count   In sending order, each 1 to 20 bytes long.
 */
ZK_API void ZKTransmitPackets(const char* robotId, const char* channelUuid, const HALPacket_t** packets, size_t count);

/** A shell command has its complete answer. command is the text as it was enqueued. */
ZK_API void ZKDidCompleteShellCommand(const char* robotId, const char* command, const char* answer);

/** A shell command has ended without an answer. */
ZK_API void ZKDidFailShellCommand(const char* robotId, const char* command, ZKErrorCode code, const char* message);

/**
 * Log lines: verbose, debug, information, warning, error. A few of the library's end in a line end, most do not.
 * The defaults print "message from API: " and then the first argument where the format's first conversion is %s, and
 * the formatted text otherwise.
 */
ZK_API void ZKLogV(const char* format, ...) ZK_PRINTF(1, 2);
ZK_API void ZKLogD(const char* format, ...) ZK_PRINTF(1, 2);
ZK_API void ZKLogI(const char* format, ...) ZK_PRINTF(1, 2);
ZK_API void ZKLogW(const char* format, ...) ZK_PRINTF(1, 2);
ZK_API void ZKLogE(const char* format, ...) ZK_PRINTF(1, 2);

typedef enum ZKLogSeverity {
    ZK_LOG_VERBOSE = 0,
    ZK_LOG_DEBUG = 1,
    ZK_LOG_INFO = 2,
    ZK_LOG_WARNING = 3,
    ZK_LOG_ERROR = 4
} ZKLogSeverity;

typedef struct ZKHostCallbacks {
    size_t size; /* sizeof(ZKHostCallbacks) of the host's build: entries not wholly inside count as absent */
    void* user;  /* passed first to each entry */
    void (*transmit)(void* user, const char* robotId, const char* channelUuid, const HALPacket_t** packets,
                     size_t count);
    void (*completed)(void* user, const char* robotId, const char* command, const char* answer);
    void (*failed)(void* user, const char* robotId, const char* command, ZKErrorCode code, const char* message);
    void (*log)(void* user, ZKLogSeverity severity, const char* text); /* the formatted text */
} ZKHostCallbacks;

/**
 * Installs a table of callbacks for the process. The struct is copied; a null entry means the default, a null argument
 * restores all defaults. Functions that the host defines at link time win over the table.
 */
ZK_API void ZKSetHostCallbacks(const ZKHostCallbacks* callbacks);

ZK_EXTERN_C_END

#endif
