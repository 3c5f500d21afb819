/*
 * What the library knows of the robots: their types, the components of command documents with their parameters, the
 * behaviours, and the members of sensor documents. For bindings, editors, schemas and documentation: all of it comes
 * from the tables that the parser, the check and the decoder themselves use.
 *
 * Each function fills a struct of the host, of which `size` must be set to its sizeof beforehand: a host that was built
 * with another version gets the fields that both know. It returns whether there is such an entry, and fills nothing if
 * not; so lists are walked by index until false comes back.
 *
 * Texts are English, UTF-8, never null unless a comment says so, and live as long as the process. Names are for
 * programs: lower case, digits and underscores, unique in their list, and never changed. Words are for people and may
 * change. All of it can be called at any time on any thread.
 */
#ifndef ZKHAL_VOCABULARY_H
#define ZKHAL_VOCABULARY_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "ZKHAL/ZKExport.h"

ZK_EXTERN_C_BEGIN

/** Families of robots, as a set of bits. */
enum { ZK_ROBOTS_ORVIK = 1, ZK_ROBOTS_PELL = 2, ZK_ROBOTS_QUILL = 4, ZK_ROBOTS_RUSK = 8 };

/* Robot types. */

typedef struct ZKRobotTypeInfo {
    size_t size;
    uint32_t type;     /* code of ZKHAL/ZKRobotType.h */
    const char* name;  /* "orvik" */
    const char* words; /* "Orvik" */
    uint32_t robots;   /* its bit of ZK_ROBOTS_..., also in bootloader mode */
    bool isBootloader;
    bool hasCommands; /* takes command packets and sends sensor packets */
    bool hasHead;
    double panLow, panHigh; /* degrees; 0 without a head */
    double tiltLow, tiltHigh;
} ZKRobotTypeInfo;

ZK_API bool ZKGetRobotType(size_t index, ZKRobotTypeInfo* info);
/** nameOrCode   "orvik" in any case, or "1001" */
ZK_API bool ZKFindRobotType(const char* nameOrCode, ZKRobotTypeInfo* info);

/* Components of command documents. */

typedef struct ZKComponentInfo {
    size_t size;
    uint32_t id;           /* the key in a document */
    const char* name;      /* "light_102" */
    const char* title;     /* "colour light 102" */
    const char* words;     /* what is to be known of it */
    uint32_t robots;       /* ZK_ROBOTS_...: on which all of it works */
    uint32_t acceptedOn;   /* on which a command to it is no mistake, though its parameters may not be read */
    size_t parameterCount; /* 0: naming it is the command */
    bool isKnown;          /* false: reported as unknown when a document names it */
} ZKComponentInfo;

ZK_API bool ZKGetComponent(size_t index, ZKComponentInfo* info);
/** nameOrId   "light_102", or "102" */
ZK_API bool ZKFindComponent(const char* nameOrId, ZKComponentInfo* info);

/** What a parameter is written as. A value of another kind reads as 0, "" or no elements. */
typedef enum ZKParameterKind {
    ZK_PARAMETER_WHOLE = 0,     /* number; true is 1, and of 1.7 the 1 counts */
    ZK_PARAMETER_FLAG,          /* 0 or 1, false or true */
    ZK_PARAMETER_REAL,          /* number */
    ZK_PARAMETER_LEVEL,         /* number of 0 to 1 that goes out as a byte */
    ZK_PARAMETER_TEXT,          /* low and high are bytes of UTF-8 */
    ZK_PARAMETER_OBJECT,        /* with members of its own */
    ZK_PARAMETER_BYTES,         /* list of exactly six whole numbers */
    ZK_PARAMETER_LIGHTS,        /* list of light numbers */
    ZK_PARAMETER_EYE_LIGHTS,    /* list of 12 flags, or object of flags by light number, "1" to "12" */
    ZK_PARAMETER_EYE_BRIGHTNESS /* level, or above 1 the byte itself; or list of one or four of these */
} ZKParameterKind;

/** What becomes of a number outside its range. */
typedef enum ZKBeyondRange {
    ZK_BEYOND_LOW_BITS = 0, /* the low bits of it are sent */
    ZK_BEYOND_LIMITED,      /* the nearer end is sent */
    ZK_BEYOND_MAGNITUDE,    /* its sign is dropped, then it is limited */
    ZK_BEYOND_READ_AS,      /* readAs is sent */
    ZK_BEYOND_NOT_SENT
} ZKBeyondRange;

typedef struct ZKParameterInfo {
    size_t size;
    const char* key;   /* in the document: "left_cm_s" */
    const char* name;  /* "left" */
    const char* words; /* what it is for */
    const char* unit;  /* "cm/s"; "" for plain numbers */
    ZKParameterKind kind;
    bool isRequired; /* without it the document is refused */
    bool hasDefault; /* what counts when it is not given; false: nothing is sent of it */
    double defaultValue;
    size_t rangeCount;        /* of ZKGetRange(), at least 1 */
    size_t memberCount;       /* of an object */
    uint32_t sharedComponent; /* the parameter that writes the same value: of the two, the later one counts */
    const char* sharedKey;    /* null: there is none */
} ZKParameterInfo;

/** A parameter of a component. key: null, or the object of which it is a member. */
ZK_API bool ZKGetParameter(uint32_t componentId, const char* key, size_t index, ZKParameterInfo* info);

/** When a range holds. */
typedef enum ZKRangeCondition {
    ZK_RANGE_ALWAYS = 0,
    ZK_RANGE_WHEN_WITHIN,   /* the whole number of whenKey, 0 without it, is whenLow to whenHigh */
    ZK_RANGE_WHEN_NONZERO,  /* the whole number of whenKey is not 0 */
    ZK_RANGE_WHEN_BOTH,     /* whenKey and whenKey2 are given */
    ZK_RANGE_WHEN_NOT_GIVEN /* whenKey is not given */
} ZKRangeCondition;

/** What arrives whole. Of several ranges the first that holds counts; the last one holds always. */
typedef struct ZKRangeInfo {
    size_t size;
    double low, high;
    bool isSent; /* false: the parameter is read and not sent */
    ZKBeyondRange beyond;
    double readAs;
    uint32_t robots; /* ZK_ROBOTS_... on which it holds */
    ZKRangeCondition condition;
    const char *whenKey, *whenKey2; /* null where the condition has none */
    double whenLow, whenHigh;
} ZKRangeInfo;

/** Ranges of a parameter; parentKey is null, or the object of which it is a member. */
ZK_API bool ZKGetRange(uint32_t componentId, const char* parentKey, const char* key, size_t index, ZKRangeInfo* info);

/* Behaviours: what the parameters of component 450 become, by their "id". */

typedef struct ZKBehaviourInfo {
    size_t size;
    uint32_t id;
    const char* name;  /* "square" */
    const char* words; /* what the robot does */
    size_t valueCount;
} ZKBehaviourInfo;

ZK_API bool ZKGetBehaviour(size_t index, ZKBehaviourInfo* info);

/** Some bits of a value's number become bits of one of the six parameter bytes. */
typedef struct ZKBehaviourBits {
    uint8_t from, count; /* of the number; count 0: none */
    uint8_t byte, to;
} ZKBehaviourBits;

typedef enum ZKBehaviourNumber {
    ZK_NUMBER_FLAG = 0,     /* 1 or 0 */
    ZK_NUMBER_WHOLE,        /* truncated */
    ZK_NUMBER_TENTHS,       /* ten times the value, truncated */
    ZK_NUMBER_MILLISECONDS, /* 1000 times the value, truncated */
    ZK_NUMBER_NINE_BITS,    /* 511 times its place in its range, truncated */
    ZK_NUMBER_SCALE         /* 127.5 times the value, truncated, and 256 */
} ZKBehaviourNumber;

typedef struct ZKBehaviourValueInfo {
    size_t size;
    const char* key; /* of the parameter of component 450 */
    bool isOptional; /* others are packed as 0 when they are not given, with a message */
    double low, high;
    ZKBeyondRange beyond;
    double readAs;
    ZKBehaviourNumber number;
    ZKBehaviourBits bits[2];
} ZKBehaviourValueInfo;

ZK_API bool ZKGetBehaviourValue(uint32_t behaviourId, size_t index, ZKBehaviourValueInfo* info);

/* Members of sensor documents. */

typedef enum ZKSensorPart {
    ZK_SENSOR_EVERY_REPORT = 0,
    ZK_SENSOR_SECOND_PACKET, /* in reports of two packets */
    ZK_SENSOR_EVENT          /* when the robot tells of it */
} ZKSensorPart;

typedef struct ZKSensorInfo {
    size_t size;
    uint32_t id;      /* the key in a document; 0 for the document itself, which has "tm" */
    const char* name; /* "accelerometer" */
    const char* words;
    uint32_t robots; /* ZK_ROBOTS_... for which it means something; all others write it too */
    ZKSensorPart part;
    size_t valueCount;
} ZKSensorInfo;

ZK_API bool ZKGetSensor(size_t index, ZKSensorInfo* info);
/** nameOrId   "accelerometer", or "2003" */
ZK_API bool ZKFindSensor(const char* nameOrId, ZKSensorInfo* info);

typedef enum ZKSensorKind {
    ZK_SENSOR_WHOLE = 0,
    ZK_SENSOR_FLAG, /* 0 or 1 */
    ZK_SENSOR_REAL,
    ZK_SENSOR_BYTES /* list of whole numbers */
} ZKSensorKind;

typedef struct ZKSensorValueInfo {
    size_t size;
    const char* key;
    const char* words;
    const char* unit; /* "" for plain numbers */
    ZKSensorKind kind;
    bool isOptional; /* not in every such member */
    bool hasRange;   /* false: it grows without a bound */
    double low, high;
} ZKSensorValueInfo;

/** sensorId   0 for the document itself */
ZK_API bool ZKGetSensorValue(uint32_t sensorId, size_t index, ZKSensorValueInfo* info);

ZK_EXTERN_C_END

#endif
