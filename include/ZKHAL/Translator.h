/*
 * Translator handles: one per robot, of any type, that never end the process on a bad document.
 *
 * A handle belongs to its creator and is used by one thread at a time; different handles share nothing and may be
 * used on different threads.
 */
#ifndef ZKHAL_TRANSLATOR_H
#define ZKHAL_TRANSLATOR_H

#include <stddef.h>
#include <stdint.h>

#include "ZKHAL/HALPacket.h"
#include "ZKHAL/ZKExport.h"

ZK_EXTERN_C_BEGIN

typedef struct ZKTranslator ZKTranslator;

enum { ZK_MAX_COMMAND_PACKETS = 3 };

/** A translator for a robot that has just been connected, to be released with ZKTranslatorDestroy(). */
ZK_API ZKTranslator* ZKTranslatorCreate(uint32_t robotType);

/** Null is allowed. */
ZK_API void ZKTranslatorDestroy(ZKTranslator* translator);

/**
 * Translates one command document into up to three packets, in sending order.
 *
 * json         NUL-terminated JSON object; null or empty gives no packets.
 * packets      room for three packets; count packets are written. May be null to only move the state on.
 * count        receives the number of packets, 0 to 3; 0 after a refusal. May be null.
 * message      after a refusal: one "LINE:COLUMN: refused: ..." line a reason; otherwise "". May be null.
 * messageSize  size of message in bytes; may be 0.
 *
 * Returns 1, or 0 when the document is refused: nothing is then sent and the robot's state is as before.
 * json2Packets() would return only the first two packets.
 */
ZK_API int ZKTranslatorTranslate(ZKTranslator* translator, const char* json, HALPacket_t* packets, size_t* count,
                                 char* message, size_t messageSize);

/** The robot has disconnected: its synthesizer state is forgotten, so the next synthesizer command is sent in full. */
ZK_API void ZKTranslatorHandleDisconnect(ZKTranslator* translator);

ZK_EXTERN_C_END

#endif
