/*
 * Puppet recordings and animation files: while somebody moves a robot, the host samples its pose; a recording becomes
 * an animation sequence (a JSON text of timed frames of commands), and a sequence becomes the bytes of the robot's
 * animation file. docs/animation-files.md shows both formats.
 *
 * - Recordings stand in one store of the process, by name. Null names and texts count as empty.
 * - Not for more than one thread at a time.
 * - Messages are printed on stdout (see ZKSetMessageSink). An unknown recording is told with one line, and gives
 *   not-a-number, 0 or false.
 * - Buffers belong to the caller; a null one counts as one of size 0.
 */
#ifndef ZKHAL_PUPPET_H
#define ZKHAL_PUPPET_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "ZKHAL/ZKExport.h"

ZK_EXTERN_C_BEGIN

/** A recording without poses, new or emptied. Starts both CSV logs afresh when logging is on. */
ZK_API void ZKPuppetCore_init(const char* name);

/**
 * Adds a pose.
 * t                 seconds since the start of the recording, not before that of the pose before it
 * x, y              position; cm if the sequence is to be played on a robot
 * theta, pan, tilt  heading and head angles, radians
 */
ZK_API void ZKPuppetCore_addFrame(const char* name, float t, float x, float y, float theta, float pan, float tilt);

/** Time of the pose that was added last, which need not be the latest. */
ZK_API float ZKPuppetCore_duration(const char* name);

/** 0.1: the seconds that should lie between two poses. */
ZK_API float ZKPuppetCore_recommendedInterval(void);

/**
 * The size of the sequence of a recording, its NUL included: from the last pose at or before tStart up to the last one
 * before the first that is later than tEnd (seconds; a tEnd of -1 means to the end), or from 0 to the end. It is built
 * when poses or times have changed since the last one.
 */
ZK_API size_t ZKPuppetCore_subsequenceByteCount(const char* name, float tStart, float tEnd);
ZK_API size_t ZKPuppetCore_sequenceByteCount(const char* name);

/** Copies the sequence with its NUL. False when it does not fit: the buffer then holds "". */
ZK_API bool ZKPuppetCore_subsequence(const char* name, char* buffer, size_t bufferSize, float tStart, float tEnd);
ZK_API bool ZKPuppetCore_sequence(const char* name, char* buffer, size_t bufferSize);

/**
 * How many bytes the animation file of a sequence has; 0 when it cannot be converted.
 * robotType   a code of ZKHAL/ZKRobotType.h
 * Frames whose commands stop the process in json2Packets() stop it here too: ask ZKCheckAnimationDocument() first when
 * the text comes from a person.
 */
ZK_API size_t ZKPuppetCore_convertANByteCount(const char* json, unsigned robotType);

/**
 * The bytes of the animation file; what is left of the buffer is filled with zeros. False when they do not fit: the
 * buffer is then left alone. A text that cannot be converted has no bytes, which fit into any buffer: test
 * ZKPuppetCore_convertANByteCount() first.
 */
ZK_API bool ZKPuppetCore_convertAN(const char* json, unsigned robotType, uint8_t* buffer, size_t bufferSize);

/**
 * Says what would become of an animation document, without printing or changing anything: as ZKCheckCommandDocument(),
 * "LINE:COLUMN: refused: frame 3: ..." or "LINE:COLUMN: remark: frame 3: ...". Refused is what fails to convert or
 * stops the process; the remarks also tell of waits that the file cannot hold. Returns ZK_CHECK_ACCEPTED,
 * ZK_CHECK_REMARKS or ZK_CHECK_REFUSED.
 */
ZK_API int ZKCheckAnimationDocument(const char* json, uint32_t robotType, char* message, size_t messageSize);

/** Removes all recordings. */
ZK_API void ZKPuppetCore_clearAll(void);

/**
 * Switches the CSV logs on: measured.csv and commanded.csv in a folder that exists, angles in radians. Null or "":
 * off, as at the start. A file that cannot be opened is skipped without a word.
 */
ZK_API void ZKPuppetCore_setLogFolder(const char* folder);

/**
 * The robot's name of an animation file, "SYSTPUPPET3AN" for slot 3, and its parts "SYST" and "PUPPET3".
 * False, with a message, when bufferSize is below the text's length; the buffer then holds "". A buffer of exactly the
 * length takes the text without its last character, on purpose: give it one more.
 */
ZK_API bool ZKPuppetCore_fullPathForSlot(char* buffer, size_t bufferSize, unsigned slot, bool withExtension);
ZK_API bool ZKPuppetCore_justDirForSlot(char* buffer, size_t bufferSize, unsigned slot);
ZK_API bool ZKPuppetCore_justNameForSlot(char* buffer, size_t bufferSize, unsigned slot);

/**
 * Rotates a point about the origin, counter-clockwise by angle radians.
 * outX, outY   may not be null: that stops the process
 */
ZK_API void ZKMath_RotatePoint(double* outX, double* outY, double x, double y, double angle);

ZK_EXTERN_C_END

#endif
