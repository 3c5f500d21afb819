/*
 * Translator handles: one per robot, of any type, that never end the process on a bad document.
 *
 * A handle belongs to its creator and is used by one thread at a time. Different handles share nothing but the settings
 * of ZKHAL/Diagnostics.h and may be used on different threads.
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

/**
 * A translator for a robot that has just been connected, to be released with ZKTranslatorDestroy(); null without
 * memory. robotType   a code of ZKHAL/ZKRobotType.h. Any other, and a bootloader's, has the components that all robots
 * share, and is reported on stdout at each document.
 */
ZK_API ZKTranslator* ZKTranslatorCreate(uint32_t robotType);

/** Null is allowed. */
ZK_API void ZKTranslatorDestroy(ZKTranslator* translator);

/**
 * Translates one command document into up to three packets, in sending order.
 *
 * json         NUL-terminated JSON object; null or empty gives no packets.
 * packets      room for three packets; count packets are written. May be null to only move the state on.
 * count        receives the number of packets, 0 to 3; 0 after a refusal. May be null.
 * message      after a refusal: one "LINE:COLUMN: refused: ..." line a reason, as ZKCheckCommandDocument() writes
 *              them; otherwise "". May be null.
 * messageSize  size of message in bytes; may be 0.
 *
 * Returns 1, or 0 when the document is refused: nothing is then sent and the robot's state is as before. Also 0, with
 * an empty message, for a null handle and without memory. What the parser finds odd is printed on stdout.
 * json2Packets() would return only the first two packets.
 */
ZK_API int ZKTranslatorTranslate(ZKTranslator* translator, const char* json, HALPacket_t* packets, size_t* count,
                                 char* message, size_t messageSize);

enum { ZK_MAX_REPORT_SIZE = 2048 };

/**
 * Decodes one sensor report of one or two packets into a JSON document.
 *
 * packets, count   the report in order. A packet of length 0 is left out, a length above 20 counts as 20, and bytes
 *                  that a shorter packet lacks count as zero. Packets beyond the second are not looked at.
 * buffer           receives the document and a NUL; ZK_MAX_REPORT_SIZE bytes always suffice. May be null.
 * bufferSize       when it is too small, the buffer receives "". The report has been taken all the same.
 *
 * Returns the size that the document needs, its NUL included; 0 when there is no packet.
 * Distances, claps and attitude build on the reports that this handle decoded before.
 */
ZK_API size_t ZKTranslatorDecode(ZKTranslator* translator, const HALPacket_t* packets, size_t count, char* buffer,
                                 size_t bufferSize);

/** The robot has disconnected: its synthesizer state is forgotten, so the next synthesizer command is sent in full. */
ZK_API void ZKTranslatorHandleDisconnect(ZKTranslator* translator);

ZK_EXTERN_C_END

#endif
