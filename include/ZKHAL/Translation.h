/*
 * Translation without objects: one process-wide robot of type 1001 (Orvik), created on first use.
 *
 * Not for more than one thread at a time. What the encoder keeps about the robot (synthesizer state, rounding
 * remainder of relative poses) lasts from call to call. For other robots, or several at once: ZKHAL/Translator.h.
 */
#ifndef ZKHAL_TRANSLATION_H
#define ZKHAL_TRANSLATION_H

#include <stddef.h>
#include <stdint.h>

#include "ZKHAL/ZKExport.h"

ZK_EXTERN_C_BEGIN

enum { ZK_SLOT_SIZE = 21, ZK_BLOCK_SIZE = 2 * ZK_SLOT_SIZE };

/**
 * Translates one JSON command document into at most two robot packets.
 *
 * json   NUL-terminated JSON object, null or empty; only read, not kept. What follows the object is ignored. Any
 *        other text (also one of blanks) stops the process, and so does an eye-ring light outside 1 to 12:
 *        ask ZKCheckCommandDocument() first when the text comes from a person.
 * out    42 bytes of the caller: two slots of a length byte (0 to 20) and 20 data bytes.
 *        Unused slots and bytes are zero; a document without commands, and a lack of memory, give 42 zeros.
 *        Null is allowed. It may be the buffer that json is in: json is read before out is written.
 *
 * What the parser finds odd is printed on stdout (see ZKSetMessageSink).
 *
 * More than two packets: the first two are kept, the rest is dropped with one line on stderr.
 */
ZK_API void json2Packets(const char* json, uint8_t* out);

/** Two slots, each a length byte and 20 data bytes. */
typedef struct ZKPacketBlock_t {
    uint8_t bytes[ZK_BLOCK_SIZE];
} ZKPacketBlock_t;

/**
 * Decodes one sensor report into a JSON document.
 *
 * slots   the report's two packets; a length of 0 leaves a slot out, and a report may consist of its first packet
 * alone. Any other length than 20 gives "{}" and a line on stderr, and nothing of the report counts.
 *
 * Returns the document, owned by the library and valid until the next call; "" when both slots are left out.
 * State lasts from call to call: the wheels' distances, the last clap, the attitude.
 */
ZK_API const char* packets2Json(ZKPacketBlock_t slots);

enum {
    ZK_CHECK_ACCEPTED = 0, /* it can be translated, and there is nothing to remark */
    ZK_CHECK_REMARKS = 1,  /* it can be translated, but something is ignored, lost, or sent without being written */
    ZK_CHECK_REFUSED = 2   /* translating it would stop the process */
};

/**
 * Says what would become of a command document, without sending, printing or changing anything.
 *
 * json         as for json2Packets().
 * robotType    a code of ZKHAL/ZKRobotType.h; json2Packets() always speaks to type 1001.
 * message      all findings, one a line, as "LINE:COLUMN: refused: ..." or "LINE:COLUMN: remark: ...", both counted
 *              from 1 (columns in bytes), without a line end behind the last. Bytes of the document are passed on as
 *              they are. Cut at a character when too long, always terminated. May be null.
 *              After 64 KiB of findings the rest is left out, and the last line says so; the result counts all.
 * messageSize  size of message in bytes; may be 0.
 *
 * Returns ZK_CHECK_ACCEPTED, ZK_CHECK_REMARKS or ZK_CHECK_REFUSED. The robot is taken as freshly connected.
 */
ZK_API int ZKCheckCommandDocument(const char* json, uint32_t robotType, char* message, size_t messageSize);

ZK_EXTERN_C_END

#endif
