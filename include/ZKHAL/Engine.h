/*
 * The connection engine: the host reports what its Bluetooth stack sees, robot by robot, and the engine answers through
 * the callbacks of ZKHAL/HostCallbacks.h. docs/engine.md shows who calls whom.
 *
 * - All calls come from one thread, ZKTick() included, and the callbacks are made on it. Every function may be called
 *   from inside every callback.
 * - robotId is the host's own id of a robot, any text. Null counts as empty, and no robot has an empty id.
 * - A function that is marked "known robots only" stops the process for a robot that was never scanned or added (or has
 *   been forgotten): ZKIsKnownRobot() tells.
 * - Everything that is passed in is copied or only read. Other arguments may be null, which means none.
 * - Channels are the UUIDs of characteristics; they compare without regard to case.
 */
#ifndef ZKHAL_ENGINE_H
#define ZKHAL_ENGINE_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "ZKHAL/ZKExport.h"

#ifdef __cplusplus
namespace Kestrel {
class TimerManager;
}
typedef Kestrel::TimerManager ZKTimerManager;
#else
typedef struct ZKTimerManager ZKTimerManager;
#endif

ZK_EXTERN_C_BEGIN

/**
 * One scan report. Makes the robot known, or updates what it advertises.
 *
 * data, dataLength   manufacturer data, at most 26 bytes. What cannot be read is logged as an error, ZKGetParseError()
 *                    returns the text, and the robot keeps what it advertised before.
 * name, nameLength   advertised name, of which 11 bytes count.
 *
 * The robot gets a fresh, empty queue of shell commands at the end of each call. What the queue before has not ended is
 * dropped without a callback, unless a command with a time-out is in flight there: its answer is lost, it fails in due
 * time, and the one behind it goes out, with the same fate. Inside the callback that tells a command's end, too, the
 * one behind it still goes out. So do not forward scan reports of a robot whose commands are under way.
 */
ZK_API void ZKProcessScan(const char* robotId, const char* data, size_t dataLength, const char* name,
                          size_t nameLength);

/**
 * Makes a robot known without an advertisement, for hosts that are given none (browsers keep them from a page): as
 * after the scan of a robot of this type that advertises its family, its mode, and zeros. What is then read back of it
 * is made up, and `hasReport` of ZKRobotInfo stays false until a report is scanned. A robot that is known is left as it
 * is. robotType   1001 to 1004, or 2001 to 2004 for their bootloaders Returns whether the robot is known now: false for
 * any other type, and for an empty id.
 */
ZK_API bool ZKAddRobot(const char* robotId, uint32_t robotType);

/** Whether the library knows every one of these characteristics in the robot's advertised mode; true for none at all.
 * Known robots only. */
ZK_API bool ZKValidateChannels(const char* robotId, const char** channels, size_t count);

/** Whether at least one of these services is a robot's. Known robots only. */
ZK_API bool ZKValidateEndPoints(const char* robotId, const char** services, size_t count);

/**
 * Queues a command to the robot's shell; sends it from inside this call when none is in flight. (Inside
 * ZKTransmitPackets() of this robot, when that returns.) Its end is told by ZKDidCompleteShellCommand() or
 * ZKDidFailShellCommand(), and the next one goes out right after that.
 *
 * command          NUL-terminated text of any length, without line end. Empty: nothing happens.
 * timeoutSeconds   counts from the last ZKTick() before the command is sent. Negative or not a number: an error is
 *                  logged, and the command waits for its answer or a disconnect. 0: it fails at the next tick; a host
 *                  that enqueues such a command from its own failure again keeps that tick busy for ever.
 * Known robots only.
 */
ZK_API void ZKEnqueueShellCommand(const char* robotId, const char* command, double timeoutSeconds);

/** Commands in the robot's queue that have not ended, the one in flight included; what a scan has replaced is not
 * counted. -1, with an error line, from inside the log lines of its first scan. Known robots only. */
ZK_API int ZKPendingShellCommandCount(const char* robotId);

/** Drops all commands of the robot, without a callback for any. Known robots only. */
ZK_API void ZKHandleDisconnect(const char* robotId);

/**
 * One notification, of any length, of a characteristic. Shell answers are collected up to their terminator (the first
 * 1 MiB of them; the rest is dropped with a warning). Sensor and file transfer data are ignored here: see
 * packets2Json(). A characteristic that does not notify stops the process: ZKAcceptsChannel() tells. Known robots only.
 */
ZK_API void ZKReceivedData(const char* robotId, const char* channel, const char* data, size_t length);

/** Moves the engine's time on and fires what is due. To be called every 15 ms, and at least every 2 s: a longer gap is
 * logged as an error by the next command that is sent or answered, or a disconnect. Works without any robot. */
ZK_API void ZKTick(void);

/**
 * Installs another timer manager (a C++ object of "CppEngine/TimerManager.h"); it stays the caller's, who destroys
 * neither it nor the one before inside a callback. Time-outs that are already armed stay with the manager before, and
 * come only if that one is ticked. Null: back to the library's own.
 */
ZK_API void ZKSetTimerManager(ZKTimerManager* manager);

/** The installed one, or else the library's own, whose time starts with the first call of this or of any function that
 * needs it. It lives until the process ends. */
ZK_API ZKTimerManager* ZKGetTimerManager(void);

/* Reading back. */

/** Whether the robot has been scanned or added, so that the functions for known robots may be called. */
ZK_API bool ZKIsKnownRobot(const char* robotId);

/** Whether ZKReceivedData() takes notifications of this characteristic. */
ZK_API bool ZKAcceptsChannel(const char* channel);

/**
 * The ids of the known robots in ascending order; each stays valid until its robot is forgotten.
 * ids, capacity   receives at most capacity ids.
 * Returns how many robots are known.
 */
ZK_API size_t ZKListKnownRobots(const char** ids, size_t capacity);

/** What a robot advertises, as of its last readable scan report. What its family does not have is 0, false or "", and
 * 255 for the avatar. */
typedef struct ZKRobotInfo {
    size_t size;        /* in: sizeof(ZKRobotInfo) of the host's build; out: the bytes that were filled */
    bool known;         /* false: all the rest is 0 */
    bool hasReport;     /* false: no report could be read yet */
    bool hasCrashDumps; /* flags of the advertisement */
    bool isButtonPressed;
    bool isCharging;
    bool hasBackupImage;        /* Rusk */
    uint32_t type;              /* code of ZKHAL/ZKRobotType.h; 0 when neither a report nor ZKAddRobot() told */
    uint32_t mode;              /* 1 bootloader, 3 application */
    uint32_t batteryLevel;      /* as the robot's family counts; 9999 unknown */
    uint32_t chargeMode;        /* 0 not charging, 1 charging, Quill also 2; 9999 unknown */
    uint32_t avatarId;          /* Quill; 255 none */
    uint32_t shellColor;        /* Quill, 1 to 4; 0 none */
    uint32_t wifiStatus;        /* Rusk */
    uint32_t updateStatus;      /* Rusk */
    uint8_t firmwareVersion[3]; /* major, minor, sub-minor */
    uint8_t resourceVersion;
    uint8_t personalityColor;     /* 0 to 7 */
    uint8_t personalityAnimation; /* 0 to 7 */
    uint8_t localeId;
    uint8_t hardwareMinorVersion; /* Orvik */
    uint8_t batteryVoltage;       /* Rusk, as read */
    char name[32];                /* NUL-terminated, at most 20 bytes */
    char uniqueId[32];
    char serialNumber[32]; /* Rusk */
} ZKRobotInfo;

/** Fills info, of which size must be set. Returns whether the robot is known. */
ZK_API bool ZKGetRobotInfo(const char* robotId, ZKRobotInfo* info);

/**
 * Why the robot's last unreadable scan report could not be read; "" when there was none, or no such robot.
 * buffer, bufferSize   receives the text and a NUL, cut to the size.
 * Returns the size that the whole text needs, its NUL included.
 */
ZK_API size_t ZKGetParseError(const char* robotId, char* buffer, size_t bufferSize);

/** Drops all commands of the robot, as ZKHandleDisconnect() does, and what the engine knows of it. Returns whether it
 * was known. */
ZK_API bool ZKForgetRobot(const char* robotId);

ZK_EXTERN_C_END

#endif
