/*
 * A virtual robot: the robot's side of everything that goes over the air, to develop and test an app without a radio.
 *
 * It advertises, takes writes to its characteristics, notifies sensor reports and shell answers, and stands in a
 * rectangular room. Time moves in ZKVirtualRobotAdvance() only. With the same seed and the same calls it gives the same
 * bytes on every machine.
 *
 * - Linked from its own library: ZKHAL::Simulator in CMake, ZKHALSimulator otherwise.
 * - A robot belongs to its creator and is used by one thread at a time. Different robots do not meet.
 * - Lengths are in cm, angles in degrees counter-clockwise, headings from -180 to 180. The room's origin is its middle,
 * where the robot starts, looking along x. It is 200 cm long in x and 150 cm wide in y.
 * - Nothing that is written to a robot is fatal: what it cannot read is counted and told in its state.
 */
#ifndef ZKHAL_SIMULATOR_H
#define ZKHAL_SIMULATOR_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "ZKHAL/ZKExport.h"

ZK_EXTERN_C_BEGIN

typedef struct ZKVirtualRobot ZKVirtualRobot;

enum {
    ZK_ADVERTISED_SIZE = 26,      /* bytes of manufacturer data */
    ZK_ADVERTISED_NAME_SIZE = 12, /* bytes of the local name, with its NUL */
    ZK_VIRTUAL_ROBOT_BEHAVIOURS = 16,
    ZK_VIRTUAL_ROBOT_TEXT = 24
};

typedef struct ZKVirtualColor {
    uint8_t red, green, blue;
} ZKVirtualColor;

/** What a robot is and does. What its family does not have stays 0. */
typedef struct ZKVirtualRobotState {
    double seconds; /* its own time */

    /* Where it stands in the room, and where it believes to be. They part when it is carried. */
    double x, y, heading;
    double odometryX, odometryY, odometryHeading;
    double leftTravel, rightTravel; /* of the wheels, cm */
    double pan, tilt;               /* of the head */
    double roll, pitch;
    bool isDriving, isStalled, isLifted;
    uint8_t posesReached; /* counts on from 255 to 0 */

    ZKVirtualColor light102, light103, light104, light107;
    uint8_t light105, light106, light108[3], light109, light110, light111;
    uint16_t eyeLights;       /* light 1 is bit 1, light 12 is bit 0 */
    uint8_t eyeBrightness[4]; /* by quarter */
    uint8_t eyeAnimation;
    uint8_t lightMessage, lightMessageLights; /* the last one sent, and to which */

    char sound[ZK_VIRTUAL_ROBOT_TEXT]; /* the last one played */
    bool isSounding;
    uint8_t volume; /* percent */
    uint32_t soundsPlayed;
    uint16_t synthDuration, synthPercentage[2];
    double synthFrequency[4]; /* Hz */
    uint8_t synthType[4], synthPhase[4];
    char animation[ZK_VIRTUAL_ROBOT_TEXT];
    bool isAnimating;

    uint8_t launcher[2]; /* 400 and 401: the last value */
    uint32_t launches[2];
    int8_t percentage[2]; /* 213 and 214 */
    uint32_t signals[2];  /* how often 210 and 212 came */
    uint16_t behaviours[ZK_VIRTUAL_ROBOT_BEHAVIOURS];
    size_t behaviourCount;

    uint8_t power;
    uint32_t clock; /* as set, seconds since 1970 */
    char name[ZK_VIRTUAL_ROBOT_TEXT];
    uint8_t personalityColor, personalityAnimation, personalityVolume, personalityEyeBrightness, avatar;

    uint32_t commandsDone;
    uint32_t commandsIgnored;   /* to parts that it does not have, or too many to keep */
    uint32_t packetsUnreadable; /* in part or wholly */
    uint32_t fileWrites;        /* to its file transfer, which takes anything and keeps nothing */
    uint32_t wrongWrites;       /* to characteristics that take none */
    uint32_t shellLines;        /* shell commands heard */
    uint32_t shellTextLost;     /* shell packets without a frame, and lines that are too long */
    uint32_t notificationsLost; /* that nobody fetched in time */
    char problem[96];           /* the last of these, in words */
} ZKVirtualRobotState;

/**
 * robotType   1001 to 1004
 * seed        for its unique id and the noise of its sensors
 * Null for another type, and without memory. To be released with ZKVirtualRobotDestroy().
 */
ZK_STATIC_API ZKVirtualRobot* ZKVirtualRobotCreate(uint32_t robotType, uint64_t seed);

/** Null is allowed. */
ZK_STATIC_API void ZKVirtualRobotDestroy(ZKVirtualRobot* robot);

/** What it advertises now: manufacturer data, whose length is returned, and the NUL-terminated local name. */
ZK_STATIC_API size_t ZKVirtualRobotAdvertise(const ZKVirtualRobot* robot, uint8_t data[ZK_ADVERTISED_SIZE],
                                             char name[ZK_ADVERTISED_NAME_SIZE]);

/** Its service, and its characteristics: at most capacity of them are stored, and how many there are is returned. */
ZK_STATIC_API const char* ZKVirtualRobotService(const ZKVirtualRobot* robot);
ZK_STATIC_API size_t ZKVirtualRobotCharacteristics(const ZKVirtualRobot* robot, const char** channels, size_t capacity);

/** Writes to a characteristic. Any bytes of any length; false when the characteristic takes no writes. */
ZK_STATIC_API bool ZKVirtualRobotWrite(ZKVirtualRobot* robot, const char* channel, const uint8_t* data, size_t length);

/** Lets time pass, at most an hour in one call. Orvik, Pell and Quill report 30 times a second. */
ZK_STATIC_API void ZKVirtualRobotAdvance(ZKVirtualRobot* robot, double seconds);

/**
 * The oldest notification that has not been fetched; false when there is none.
 * channel, data, length   receive it; both pointers are valid until the next call with this robot.
 * Of 4096 unfetched ones the oldest is lost.
 */
ZK_STATIC_API bool ZKVirtualRobotNextNotification(ZKVirtualRobot* robot, const char** channel, const uint8_t** data,
                                                  size_t* length);

/** Valid until the robot is destroyed; changes with each call. */
ZK_STATIC_API const ZKVirtualRobotState* ZKVirtualRobotGetState(const ZKVirtualRobot* robot);

/** The connection is gone: it stops, and forgets a half command line and what it was about to notify. */
ZK_STATIC_API void ZKVirtualRobotHandleDisconnect(ZKVirtualRobot* robot);

/** Answers a shell command from now on with a text of your own; null: with none at all. */
ZK_STATIC_API void ZKVirtualRobotSetAnswer(ZKVirtualRobot* robot, const char* command, const char* answer);

/* Hands on the robot. */

/** Moves it over the floor, where its wheels turn along, or through the air when it is lifted. Walls stop it. Numbers
 * that are not finite leave it, or its head, where it is. */
ZK_STATIC_API void ZKVirtualRobotMoveByHand(ZKVirtualRobot* robot, double x, double y, double heading);
/** Turns its head by hand, up to its limits. */
ZK_STATIC_API void ZKVirtualRobotTurnHead(ZKVirtualRobot* robot, double pan, double tilt);
ZK_STATIC_API void ZKVirtualRobotLift(ZKVirtualRobot* robot, bool isLifted);
/** Tilts it, at 90 degrees a second. */
ZK_STATIC_API void ZKVirtualRobotTilt(ZKVirtualRobot* robot, double roll, double pitch);
/** A clap from a direction relative to its heading. */
ZK_STATIC_API void ZKVirtualRobotClap(ZKVirtualRobot* robot, double direction);
/** button 0 to 3. */
ZK_STATIC_API void ZKVirtualRobotPress(ZKVirtualRobot* robot, int button, bool isPressed);
/** indicator as the robot's family counts: Orvik and Pell 0 to 31, Quill 0 to 7, Rusk 0 to 3. */
ZK_STATIC_API void ZKVirtualRobotSetBattery(ZKVirtualRobot* robot, unsigned indicator, bool isCharging);

ZK_EXTERN_C_END

#endif
