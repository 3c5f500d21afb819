#include "HAL/RobotHardware/RobotHW_rev0.h"

#include <array>
#include <cmath>
#include <cstring>

#include "CoreUtility/ByteOrder.h"
#include "CoreUtility/Messages.h"
#include "CoreUtility/Numbers.h"
#include "HAL/RobotHardware/CommandBits.h"
#include "HAL/RobotHardware/RobotHW.h"
#include "HAL/RobotHardware/WorkingRecordPool.h"
#include "HAL/RobotMessages/CommandBytes.h"
#include "HAL/RobotMessages/Components.h"
#include "ZKHAL/Utilities.h"

namespace HAL {

namespace {

using Data = robot_hw0_cmd_data;
using ZKHAL::clampReal;
using ZKHAL::low16;
using ZKHAL::low32;
using ZKHAL::low8;
using ZKHAL::roundHalfAway;
using ZKHAL::truncate;

// ---- What a robot type registers -------------------------------------------------------------------------------

#define ZK_AT(field) static_cast<uint16_t>(offsetof(Data, field))
#define ZK_RECORD(field) ZK_AT(field), static_cast<uint16_t>(sizeof(Data::field))

// Sorted by kind, then by id.
constexpr StorageRow kStorageTable[] = {
    {RecordKind::NoParams, ZK_COMPONENT_NO_PARAMS_210, ZK_RECORD(noParams210), kWheeledRobots},
    {RecordKind::NoParams, ZK_COMPONENT_NO_PARAMS_212, ZK_RECORD(noParams212), kWheeledRobots},
    {RecordKind::Launcher, ZK_COMPONENT_LAUNCHER_400, ZK_RECORD(launcher400), kWheeledRobots},
    {RecordKind::Launcher, ZK_COMPONENT_LAUNCHER_401, ZK_RECORD(launcher401), kWheeledRobots},
    {RecordKind::LedMsg, ZK_COMPONENT_LED_MESSAGE, ZK_RECORD(ledMsg), kEveryRobot},
    {RecordKind::Speaker, ZK_COMPONENT_SPEAKER, ZK_RECORD(speaker), kEveryRobot},
    {RecordKind::Anim, ZK_COMPONENT_ON_ROBOT_ANIM, ZK_RECORD(anim), kEveryRobot},
    {RecordKind::UserSetting, ZK_COMPONENT_USER_SETTINGS, ZK_RECORD(userSettings), kEveryRobot},
    {RecordKind::MotorWheel, ZK_COMPONENT_WHEEL_LEFT, ZK_RECORD(wheelLeft), kWheeledRobots},
    {RecordKind::MotorWheel, ZK_COMPONENT_WHEEL_RIGHT, ZK_RECORD(wheelRight), kWheeledRobots},
    {RecordKind::MotorServo, ZK_COMPONENT_HEAD_TILT, ZK_RECORD(headTilt), kWheeledRobots},
    {RecordKind::MotorServo, ZK_COMPONENT_HEAD_PAN, ZK_RECORD(headPan), kWheeledRobots},
    {RecordKind::MotorServo, ZK_COMPONENT_TILT_206, ZK_RECORD(tilt206), kWheeledRobots},
    {RecordKind::MotorServo, ZK_COMPONENT_PAN_207, ZK_RECORD(pan207), kWheeledRobots},
    {RecordKind::MotorServo, ZK_COMPONENT_TILT_208, ZK_RECORD(tilt208), kWheeledRobots},
    {RecordKind::MotorServo, ZK_COMPONENT_PAN_209, ZK_RECORD(pan209), kWheeledRobots},
    {RecordKind::LED, ZK_COMPONENT_LED_105, ZK_RECORD(led105), kWheeledRobots},
    {RecordKind::LED, ZK_COMPONENT_LED_106, ZK_RECORD(led106), kEveryRobot},
    {RecordKind::LED, ZK_COMPONENT_LED_109, ZK_RECORD(led109), kEveryRobot},
    {RecordKind::LED, ZK_COMPONENT_LED_110, ZK_RECORD(led110), kEveryRobot},
    {RecordKind::LED, ZK_COMPONENT_LED_111, ZK_RECORD(led111), kEveryRobot},
    {RecordKind::LED3, ZK_COMPONENT_LED3_108, ZK_RECORD(led108), kEveryRobot},
    {RecordKind::RGB, ZK_COMPONENT_EYE_RING, ZK_RECORD(rgb104), kEveryRobot},  // the record of 104, on purpose
    {RecordKind::RGB, ZK_COMPONENT_RGB_102, ZK_RECORD(rgb102), kEveryRobot},
    {RecordKind::RGB, ZK_COMPONENT_RGB_103, ZK_RECORD(rgb103), kEveryRobot},
    {RecordKind::RGB, ZK_COMPONENT_RGB_104, ZK_RECORD(rgb104), kEveryRobot},
    {RecordKind::RGB, ZK_COMPONENT_RGB_107, ZK_RECORD(rgb107), kEveryRobot},
    {RecordKind::EyeRing, ZK_COMPONENT_EYE_RING, ZK_RECORD(eyeRing), kEveryRobot},
    {RecordKind::Power, ZK_COMPONENT_POWER, ZK_RECORD(power), kEveryRobot},
    {RecordKind::Ping, ZK_COMPONENT_PING, ZK_RECORD(ping), kEveryRobot},
    {RecordKind::BodyMotionLinearAngular, ZK_COMPONENT_BODY_LINEAR_ANGULAR, ZK_RECORD(bodyMotion), kWheeledRobots},
    {RecordKind::BodyPose, ZK_COMPONENT_BODY_POSE, ZK_RECORD(bodyPose), kWheeledRobots},
    {RecordKind::AudioSynth, ZK_COMPONENT_AUDIO_SYNTH, ZK_RECORD(audioSynth), kEveryRobot},
    {RecordKind::Pamplemousse, ZK_COMPONENT_PAMPLEMOUSSE_START, ZK_RECORD(pamplemousseStart), kQuill},
    {RecordKind::Pamplemousse, ZK_COMPONENT_PAMPLEMOUSSE_STOP, ZK_RECORD(pamplemousseStop), kQuill},
    {RecordKind::Scalar, ZK_COMPONENT_SCALAR_213, ZK_RECORD(scalar213), kWheeledRobots},
    {RecordKind::Scalar, ZK_COMPONENT_SCALAR_214, ZK_RECORD(scalar214), kWheeledRobots},
};
constexpr size_t kStorageRows = sizeof kStorageTable / sizeof kStorageTable[0];
static_assert(kStorageRows <= 64, "each record has a bit in WorkingRecordHeader::touched");

constexpr std::array<StorageRow, kStorageRows> withBits(const StorageRow (&table)[kStorageRows])
{
    std::array<StorageRow, kStorageRows> rows{};
    for (size_t i = 0; i < kStorageRows; ++i) {
        rows[i] = table[i];
        while (table[rows[i].bit].offset != table[i].offset) {
            ++rows[i].bit;
        }
    }
    return rows;
}
constexpr std::array<StorageRow, kStorageRows> kStorage = withBits(kStorageTable);

constexpr bool isSorted(const std::array<StorageRow, kStorageRows>& rows)
{
    for (size_t i = 1; i < kStorageRows; ++i) {
        const bool ascending =
            rows[i - 1].kind < rows[i].kind || (rows[i - 1].kind == rows[i].kind && rows[i - 1].id < rows[i].id);
        if (!ascending) {
            return false;
        }
    }
    return true;
}
static_assert(isSorted(kStorage), "the rows of a kind stand together and in the order of an ordered map");

// Registered under 100, but the record is 104's.
constexpr bool isAlias(const StorageRow& row)
{
    return row.kind == RecordKind::RGB && row.id == ZK_COMPONENT_EYE_RING;
}

constexpr StorageMaps storageMaps()
{
    StorageMaps maps{kStorage.data(), {}, {}};
    size_t row = 0;
    for (size_t kind = 0; kind <= static_cast<size_t>(RecordKind::Count); ++kind) {
        while (row < kStorageRows && static_cast<size_t>(kStorage[row].kind) < kind) {
            ++row;
        }
        maps.begin[kind] = static_cast<uint8_t>(row);
    }
    for (const StorageRow& each : kStorage) {
        if (!isAlias(each)) {
            maps.ofComponent[componentIndex(each.id)] = each;
        }
    }
    return maps;
}
constexpr StorageMaps kStorageMaps = storageMaps();

RobotSet robotSet(uint32_t robotType)
{
    switch (robotType) {
        case ZK_ROBOT_ORVIK:
            return kOrvik;
        case ZK_ROBOT_PELL:
            return kPell;
        case ZK_ROBOT_QUILL:
            return kQuill;
        default:
            return kOtherRobot;
    }
}

// Zero but for the ids of the registered records; copied into a working record at the start of a conversion.
const Data& freshData(RobotSet robot)
{
    struct Images {
        Data of[kOtherRobot + 1];
        Images() : of()
        {
            for (const RobotSet set : {kOrvik, kPell, kQuill, kOtherRobot}) {
                for (const StorageRow& row : kStorage) {
                    if ((row.robots & set) != 0 && !isAlias(row)) {
                        std::memcpy(reinterpret_cast<uint8_t*>(&of[set]) + row.offset, &row.id, sizeof row.id);
                    }
                }
            }
        }
    };
    static const Images images;
    return images.of[robot];
}

// ---- Which bits a component sets -------------------------------------------------------------------------------

uint64_t eyeRingBits(Data& data)
{
    const HALEyeRing_t& eye = data.eyeRing;
    uint64_t bits = kBitEyeBrightness;
    if (eye.brightnessMode == 1) {
        bits = kBitEyeBrightnessQuad;
    } else if (eye.brightnessMode != 0) {
        ZKHAL::printOut("error: unsupported brightnessMode: %d\n", static_cast<int>(eye.brightnessMode));
    }
    data.commandMask &= ~(kBitEyeAnimation | kBitEyeBitmap);  // never both
    return bits | (eye.animationId != kNoEyeAnimation ? kBitEyeAnimation : kBitEyeBitmap);
}

uint64_t speakerBits(Data& data)
{
    // A sound without "volume" has volume 0, and sends it.
    return (data.speaker.fileName[0] != '\0' ? kBitSound : 0) | (data.speaker.volume < 101 ? kBitVolume : 0);
}

uint64_t animBits(Data& data)
{
    return data.anim.fileName[0] != '\0' ? kBitAnimByName : kBitAnimWithoutName;
}

// One setting per message: the first that is given.
uint64_t userSettingBits(Data& data)
{
    const HALUserSetting_t& settings = data.userSettings;
    if (settings.name[0] != '\0') {
        return kBitSettingName;
    }
    const bool hasColor = settings.colorId < kSettingNotGiven;
    const bool hasAnim = settings.animId < kSettingNotGiven;
    if (hasColor && hasAnim) {
        return kBitSettingColorAnim;
    }
    if (hasColor) {
        ZKHAL::printOut("error: personality color is set but animation is not.\n");
        return kBitSettingColor;
    }
    if (hasAnim) {
        ZKHAL::printOut("error: personality animation is set but color is not.\n");
        return kBitSettingAnim;
    }
    if (settings.avatarId < kSettingNotGiven) {
        return kBitSettingAvatar;
    }
    if (!(settings.pvolume > 1.0)) {
        return kBitSettingVolume;
    }
    return !(settings.peyebright > 1.0) ? kBitSettingEyeBrightness : 0;
}

// The row of a record in kStorage; null when there is no record.
constexpr const StorageRow* rowOf(size_t record)
{
    for (const StorageRow& row : kStorage) {
        if (row.offset == record) {
            return &row;
        }
    }
    return nullptr;
}

struct CommandRow {
    ZKComponentId id;
    uint64_t bits;
    uint64_t (*moreBits)(Data&);  // where they depend on the record
    uint16_t record, record2;     // whose isSet flags are set
    const StorageRow* row = rowOf(record);
    const StorageRow* row2 = rowOf(record2);
};

constexpr uint16_t kNoRecord = ZK_AT(header);  // the header lies there, and no record

constexpr CommandRow kCommands[] = {
    {ZK_COMPONENT_POWER, kBitPower, nullptr, ZK_AT(power), kNoRecord},
    {ZK_COMPONENT_EYE_RING, 0, eyeRingBits, ZK_AT(eyeRing), kNoRecord},
    {ZK_COMPONENT_RGB_101, kBitRgb104, nullptr, ZK_AT(rgb104), kNoRecord},  // sends 104's colour
    {ZK_COMPONENT_RGB_102, kBitRgb102, nullptr, ZK_AT(rgb102), kNoRecord},
    {ZK_COMPONENT_RGB_103, kBitRgb103, nullptr, ZK_AT(rgb103), kNoRecord},
    {ZK_COMPONENT_RGB_104, kBitRgb104, nullptr, ZK_AT(rgb104), kNoRecord},
    {ZK_COMPONENT_LED_105, kBitLed105, nullptr, ZK_AT(led105), kNoRecord},
    {ZK_COMPONENT_LED_106, kBitLed106, nullptr, ZK_AT(led106), kNoRecord},
    {ZK_COMPONENT_RGB_107, kBitRgb107, nullptr, ZK_AT(rgb107), kNoRecord},
    {ZK_COMPONENT_LED3_108, kBitLed3, nullptr, ZK_AT(led108), kNoRecord},
    {ZK_COMPONENT_LED_109, kBitLed109, nullptr, ZK_AT(led109), kNoRecord},
    {ZK_COMPONENT_LED_110, kBitLed110, nullptr, ZK_AT(led110), kNoRecord},
    {ZK_COMPONENT_LED_111, kBitLed111, nullptr, ZK_AT(led111), kNoRecord},
    {ZK_COMPONENT_WHEEL_LEFT, kBitWheelLeft, nullptr, ZK_AT(wheelLeft), kNoRecord},
    {ZK_COMPONENT_WHEEL_RIGHT, kBitWheelRight, nullptr, ZK_AT(wheelRight), kNoRecord},
    {ZK_COMPONENT_HEAD_TILT, kBitHeadTilt, nullptr, ZK_AT(headTilt), kNoRecord},
    {ZK_COMPONENT_HEAD_PAN, kBitHeadPan, nullptr, ZK_AT(headPan), kNoRecord},
    {ZK_COMPONENT_BODY_LINEAR_ANGULAR, kBitBodyMotion, nullptr, ZK_AT(bodyMotion), kNoRecord},
    {ZK_COMPONENT_BODY_POSE, kBitBodyPose, nullptr, ZK_AT(bodyPose), kNoRecord},
    {ZK_COMPONENT_TILT_206, kBitTilt206, nullptr, ZK_AT(tilt206), kNoRecord},
    {ZK_COMPONENT_PAN_207, kBitPan207, nullptr, ZK_AT(pan207), kNoRecord},
    {ZK_COMPONENT_TILT_208, kBitTilt208, nullptr, ZK_AT(tilt208), kNoRecord},
    {ZK_COMPONENT_PAN_209, kBitPan209, nullptr, ZK_AT(pan209), kNoRecord},
    {ZK_COMPONENT_NO_PARAMS_210, kBitNoParams210, nullptr, ZK_AT(noParams210), kNoRecord},
    {ZK_COMPONENT_BODY_WHEELS, kWheelBits, nullptr, ZK_AT(wheelLeft), ZK_AT(wheelRight)},
    {ZK_COMPONENT_NO_PARAMS_212, kBitNoParams212, nullptr, ZK_AT(noParams212), kNoRecord},
    {ZK_COMPONENT_SCALAR_213, kBitScalar213, nullptr, ZK_AT(scalar213), kNoRecord},
    {ZK_COMPONENT_SCALAR_214, kBitScalar214, nullptr, ZK_AT(scalar214), kNoRecord},
    {ZK_COMPONENT_SPEAKER, 0, speakerBits, ZK_AT(speaker), kNoRecord},
    {ZK_COMPONENT_ON_ROBOT_ANIM, 0, animBits, ZK_AT(anim), kNoRecord},
    {ZK_COMPONENT_AUDIO_SYNTH, kBitSynth, nullptr, ZK_AT(audioSynth), kNoRecord},
    {ZK_COMPONENT_305, 0, nullptr, kNoRecord, kNoRecord},
    {ZK_COMPONENT_LAUNCHER_400, kBitLauncher400, nullptr, ZK_AT(launcher400), kNoRecord},
    {ZK_COMPONENT_LAUNCHER_401, kBitLauncher401, nullptr, ZK_AT(launcher401), kNoRecord},
    {ZK_COMPONENT_LED_MESSAGE, kBitLedMessage, nullptr, ZK_AT(ledMsg), kNoRecord},
    {ZK_COMPONENT_PAMPLEMOUSSE_START, kBitBehaviourStart, nullptr, ZK_AT(pamplemousseStart), kNoRecord},
    {ZK_COMPONENT_PAMPLEMOUSSE_STOP, kBitBehaviourStop, nullptr, ZK_AT(pamplemousseStop), kNoRecord},
    {ZK_COMPONENT_USER_SETTINGS, 0, userSettingBits, ZK_AT(userSettings), kNoRecord},
    {ZK_COMPONENT_6001, kBitClock, nullptr, kNoRecord, kNoRecord},
    {ZK_COMPONENT_PING, kBitPing, nullptr, ZK_AT(ping), kNoRecord},
};
static_assert(runsBesideComponents(kCommands), "kCommands is found by componentIndex()");

// Marks a record as commanded, whether this robot registers it or not: it is sent all the same.
void markSet(Data& data, const StorageRow* row)
{
    if (row != nullptr) {
        // Every record begins with its id and the flag.
        constexpr size_t kIsSetAt = sizeof(ZKComponentId);
        static_assert(offsetof(HALEyeRing_t, isSet) == kIsSetAt && offsetof(HALMotorWheel_t, isSet) == kIsSetAt, "");
        static_cast<uint8_t*>(data.header.touch(*row))[kIsSetAt] = 1;
    }
}

// ---- First-fit packing -----------------------------------------------------------------------------------------

struct Room {
    HALPacket_t* packet;  // null: none of the three has room
    Placement placement;

    uint8_t* append(uint32_t size) const
    {
        uint8_t* bytes = packet->data + packet->length;
        packet->length += size;
        return bytes;
    }
};

Room findRoom(Data& data, uint32_t size)
{
    for (size_t i = 0; i < kPacketCount; ++i) {
        if (data.packets[i].length <= HAL_PACKET_SIZE - size) {
            return {&data.packets[i], static_cast<Placement>(i)};
        }
    }
    return {nullptr, Placement::NoRoom};
}

// Whole-packet commands: 20 bytes, zero beyond what is written.
Room appendWholePacket(Data& data, uint8_t*& bytes)
{
    const Room room = findRoom(data, HAL_PACKET_SIZE);
    if (room.packet != nullptr) {
        bytes = room.append(HAL_PACKET_SIZE);
        std::memset(bytes, 0, HAL_PACKET_SIZE);
    }
    return room;
}

template <size_t kSize>
Placement tryEncode(Data* data, uint64_t mask, const uint8_t (&bytes)[kSize])
{
    if (!testAndClearCommandMaskBit(data, mask)) {
        return Placement::NotPending;
    }
    const Room room = findRoom(*data, kSize);
    if (room.packet != nullptr) {
        std::memcpy(room.append(kSize), bytes, kSize);
    }
    return room.placement;
}

// ---- Field conversions -----------------------------------------------------------------------------------------

constexpr double kMinInt16 = -32768, kMaxInt16 = 32767, kMaxUInt16 = 65535;

uint16_t wheelUnits(const HALMotorWheel_t& wheel)
{
    return low16(truncate(wheel.speed / 100 / (1.0 / 3000)));  // 30 units per cm/s
}

// The negated angle in hundredths of a degree, as a real.
double servoHundredths(const HALMotorServo_t& servo)
{
    return -100 * servo.angle / ZKHAL::kTwoPi * 360;
}

uint16_t roundClamped(double value, double low, double high)
{
    return low16(roundHalfAway(clampReal(value, low, high)));
}

// ---- Commands --------------------------------------------------------------------------------------------------

Placement encodeCombined(Data* data, RobotHW*)
{
    data->commandMask &= ~(kCombinedBits | kSwallowedBits);
    uint8_t* bytes = nullptr;
    const Room room = appendWholePacket(*data, bytes);
    if (room.packet != nullptr) {
        *bytes++ = kCmdCombined;
        bytes = bigEndianEncode16(bytes, wheelUnits(data->wheelLeft));
        bytes = bigEndianEncode16(bytes, wheelUnits(data->wheelRight));
        // Hundredths of a radian and not negated, unlike commands 0x06 and 0x07, on purpose.
        bytes = bigEndianEncode16(bytes, low16(roundHalfAway(data->headPan.angle * 100)));
        bytes = bigEndianEncode16(bytes, low16(roundHalfAway(data->headTilt.angle * 100)));
        for (const HALRGB_t* light : {&data->rgb104, &data->rgb102, &data->rgb103}) {
            *bytes++ = light->red;
            *bytes++ = light->green;
            *bytes++ = light->blue;
        }
        bigEndianEncode16(bytes, data->eyeRing.ledBitmap);
    }
    return room.placement;
}

Placement encodeWheels(Data* data, RobotHW*)
{
    return tryEncodeCommandBig16_2(data, kWheelBits, kCmdWheels, wheelUnits(data->wheelLeft),
                                   wheelUnits(data->wheelRight));
}

template <uint64_t kMask, uint8_t kCommand, auto kLight>
Placement encodeRGB(Data* data, RobotHW*)
{
    return tryEncodeCommandRGB(data, kMask, kCommand, data->*kLight);
}

template <uint64_t kMask, uint8_t kCommand, auto kLight>
Placement encodeLED(Data* data, RobotHW*)
{
    return tryEncodeCommand___8_1(data, kMask, kCommand, (data->*kLight).brightness);
}

Placement encodeLED3(Data* data, RobotHW*)
{
    const HALLED3_t& lights = data->led108;
    return tryEncodeCommand___8_3(data, kBitLed3, kCmdLed3, lights.brightness1, lights.brightness2, lights.brightness3);
}

template <uint64_t kMask, uint8_t kCommand>
Placement encodeNoParams(Data* data, RobotHW*)
{
    return tryEncodeCommand___8_0(data, kMask, kCommand);
}

// "STOPSOUND" anywhere in the name.
bool namesStopSound(const HALSpeaker_t& speaker)
{
    constexpr char kStop[] = "STOPSOUND";
    constexpr int kLength = sizeof kStop - 1;
    for (int at = 0; at + kLength <= kMediaNameLength; ++at) {
        if (std::memcmp(speaker.fileName + at, kStop, kLength) == 0) {
            return true;
        }
    }
    return false;
}

Placement encodeSound(Data* data, RobotHW* robot)
{
    testAndClearCommandMaskBit(data, kBitSound);
    const Room room = findRoom(*data, 1 + kMediaNameLength);  // also for the short form
    if (room.packet != nullptr) {
        if (namesStopSound(data->speaker)) {
            *room.append(1) = kCmdStopSound;
        } else {
            uint8_t* bytes = room.append(1 + kMediaNameLength);
            *bytes = kCmdSound;
            std::memcpy(bytes + 1, data->speaker.fileName, kMediaNameLength);
        }
        robot->invalidateCachedSynthSettings();  // the sound overwrites the robot's synthesizer state
    }
    return room.placement;
}

Placement encodeAnimByName(Data* data, RobotHW*)
{
    uint8_t bytes[1 + kMediaNameLength] = {kCmdAnimByName};
    std::memcpy(bytes + 1, data->anim.fileName, kMediaNameLength);
    return tryEncode(data, kBitAnimByName, bytes);
}

void writeName(const HALUserSetting_t& settings, uint8_t* bytes)
{
    std::memcpy(bytes, settings.name, kRobotNameLength);
}

void writeColor(const HALUserSetting_t& settings, uint8_t* bytes)
{
    *bytes = low8(settings.colorId);
}

void writeAnim(const HALUserSetting_t& settings, uint8_t* bytes)
{
    *bytes = low8(settings.animId);
}

void writeColorAnim(const HALUserSetting_t& settings, uint8_t* bytes)
{
    const uint8_t color = settings.colorId & 7;
    // Animation 7 goes out as 1 with a flag of its own.
    *bytes = settings.animId == 7 ? low8(color | 1 << 3 | 1 << 6) : low8(color | (settings.animId & 7) << 3);
}

void writeAvatar(const HALUserSetting_t& settings, uint8_t* bytes)
{
    *bytes = low8(settings.avatarId);
}

void writeVolume(const HALUserSetting_t& settings, uint8_t* bytes)
{
    *bytes = low8(truncate(settings.pvolume * 100));
}

void writeEyeBrightness(const HALUserSetting_t& settings, uint8_t* bytes)
{
    *bytes = low8(truncate(settings.peyebright * 255));
}

template <uint64_t kMask, uint8_t kSubCommand, void (*kWrite)(const HALUserSetting_t&, uint8_t*)>
Placement encodeSetting(Data* data, RobotHW*)
{
    testAndClearCommandMaskBit(data, kMask);
    uint8_t* bytes = nullptr;
    const Room room = appendWholePacket(*data, bytes);
    if (room.packet != nullptr) {
        bytes[0] = kCmdUserSettings;
        bytes[1] = kSubCommand;
        kWrite(data->userSettings, bytes + 2);
    }
    return room.placement;
}

Placement encodeClock(Data* data, RobotHW*)
{
    testAndClearCommandMaskBit(data, kBitClock);
    uint8_t* bytes = nullptr;
    const Room room = appendWholePacket(*data, bytes);
    if (room.packet != nullptr) {
        bytes[0] = kCmdClock;
        bytes[1] = kClockSet;
        bigEndianEncode32(bytes + 2, low32(truncate(BREpoch())));
    }
    return room.placement;
}

template <uint64_t kMask, uint8_t kCommand, auto kServo>
Placement encodeServoAngle(Data* data, RobotHW*)
{
    return tryEncodeCommandBig16_1(data, kMask, kCommand, low16(roundHalfAway(servoHundredths(data->*kServo))));
}

template <uint64_t kMask, uint8_t kCommand, uint8_t kHoldCommand, auto kServo>
Placement encodeServoMove(Data* data, RobotHW*)
{
    const HALMotorServo_t& servo = data->*kServo;
    const uint16_t angle = low16(truncate(clampReal(std::round(servoHundredths(servo)), kMinInt16, kMaxInt16)));
    if (servo.hold != 0) {
        const auto hundredths = static_cast<uint16_t>((roundHalfAway(100 * servo.time) & 0x3FFF) | 0x4000);
        return tryEncodeCommandBig16_2(data, kMask, kHoldCommand, angle, hundredths);
    }
    // Milliseconds here, hundredths of a second above: the two units differ on purpose.
    const uint16_t milliseconds = low16(truncate(clampReal(std::round(1000 * servo.time), kMinInt16, kMaxInt16)));
    return tryEncodeCommandBig16_2(data, kMask, kCommand, angle, milliseconds);
}

template <uint64_t kMask, uint8_t kCommand, auto kServo>
Placement encodeServoSpeed(Data* data, RobotHW*)
{
    const double units = clampReal(1000 * (data->*kServo).angularSpeed / 8, kMinInt16, kMaxInt16);
    return tryEncodeCommandBig16_1(data, kMask, kCommand, low16(truncate(units)));
}

template <uint64_t kMask, uint8_t kCommand, auto kScalar>
Placement encodePercentage(Data* data, RobotHW*)
{
    return tryEncodeCommand___8_1(data, kMask, kCommand,
                                  low8(roundHalfAway(clampReal((data->*kScalar).percent, -100.0, 100.0))));
}

template <uint64_t kMask, uint8_t kCommand, auto kLauncher>
Placement encodeLauncher(Data* data, RobotHW*)
{
    return tryEncodeCommand___8_1(data, kMask, kCommand, (data->*kLauncher).value);
}

Placement encodeEyeBrightness(Data* data, RobotHW*)
{
    return tryEncodeCommand___8_1(data, kBitEyeBrightness, kCmdEyeBrightness, data->eyeRing.brightness);
}

Placement encodeEyeBrightnessQuad(Data* data, RobotHW*)
{
    const uint8_t* quad = data->eyeRing.brightnessQuad;
    return tryEncodeCommand___8_4(data, kBitEyeBrightnessQuad, kCmdEyeBrightnessQuad, quad[0], quad[1], quad[2],
                                  quad[3]);
}

Placement encodeEyeBitmap(Data* data, RobotHW*)
{
    return tryEncodeCommandBig16_1(data, kBitEyeBitmap, kCmdEyeBitmap, data->eyeRing.ledBitmap);
}

Placement encodeEyeAnimation(Data* data, RobotHW*)
{
    return tryEncodeCommand___8_3(data, kBitEyeAnimation, kCmdEyeAnimation, low8(data->eyeRing.animationId), 0xFF,
                                  0x01);
}

Placement encodeVolume(Data* data, RobotHW*)
{
    return tryEncodeCommand___8_1(data, kBitVolume, kCmdVolume, low8(data->speaker.volume));
}

Placement encodeBodyMotion(Data* data, RobotHW*)
{
    const HALBodyMotionLinearAngular_t& motion = data->bodyMotion;
    const int64_t linear = truncate(clampReal(10 * motion.linearVelocity / 2, -750.0, 750.0));
    const int64_t angular = truncate(clampReal(1000 * motion.angularVelocity / 8, -1000.0, 1000.0));
    // Bits 8 to 10 of both 11-bit values share a byte.
    const uint8_t highBits = low8((linear >> 8 & 7) | (angular >> 8 & 7) << 3);
    if (std::isnan(motion.linearAcceleration) || std::isnan(motion.angularAcceleration)) {
        return tryEncodeCommand___8_3(data, kBitBodyMotion, motion.isPose != 0 ? kCmdBodyMotionPose : kCmdBodyMotion,
                                      low8(linear), low8(angular), highBits);
    }
    const int64_t linearAcc = truncate(clampReal(std::fabs(motion.linearAcceleration), 0.0, 1023.0));
    const int64_t angularAcc = truncate(clampReal(1000 * std::fabs(motion.angularAcceleration) / 64, 0.0, 1023.0));
    const uint8_t bytes[7] = {kCmdBodyMotionWithAcceleration,
                              low8(linear),
                              low8(angular),
                              highBits,
                              low8(linearAcc),
                              low8(angularAcc),
                              low8((linearAcc >> 8 & 3) | (angularAcc >> 8 & 3) << 2)};
    return tryEncode(data, kBitBodyMotion, bytes);
}

constexpr uint32_t kPoseRelative = 1, kPoseMode3 = 3, kPoseMode4 = 4, kPoseMode5 = 5;

Placement encodeBodyPose(Data* data, RobotHW* robot)
{
    testAndClearCommandMaskBit(data, kBitBodyPose);
    constexpr uint32_t kSize = 9;
    const Room room = findRoom(*data, kSize);
    if (room.packet == nullptr) {
        return room.placement;  // the robot will not see this pose, so its remainder stays too
    }
    const HALBodyPose_t& pose = data->bodyPose;
    if (pose.mode <= kPoseMode5 && pose.mode != kPoseRelative) {
        robot->setPoseAngleRemainder(0);
    }
    uint8_t* bytes = room.append(kSize);
    if (pose.mode == kPoseMode3 || pose.mode == kPoseMode4) {
        *bytes++ = pose.mode == kPoseMode3 ? kCmdBodyPoseMode3 : kCmdBodyPoseMode4;
        bytes = bigEndianEncode16(bytes, roundClamped(10 * pose.x, kMinInt16, kMaxInt16));
        bytes = bigEndianEncode16(bytes, roundClamped(10 * pose.y, kMinInt16, kMaxInt16));
        bytes = bigEndianEncode16(bytes, roundClamped(100 * pose.theta, kMinInt16, kMaxInt16));
        bigEndianEncode16(bytes, roundClamped(1000 * pose.time, 0, kMaxUInt16));
        return room.placement;
    }
    const int64_t x = roundHalfAway(10 * pose.x);
    const int64_t y = roundHalfAway(10 * pose.y);
    // What rounding takes from this angle is given to the next relative one.
    const double exact = 100 * pose.theta - robot->poseAngleRemainder();
    const double rounded = std::isfinite(exact) ? std::round(exact) : 0;
    robot->setPoseAngleRemainder(std::isfinite(exact) ? rounded - exact : 0);
    const int64_t theta = truncate(rounded);
    const uint32_t mode = pose.mode == kPoseMode5 ? 3 : pose.mode & 3;
    bytes[0] = kCmdBodyPose;
    bytes[1] = low8(x);
    bytes[2] = low8(y);
    bytes[3] = low8(theta);
    bigEndianEncode16(bytes + 4, low16(truncate(clampReal(1000 * pose.time, 0.0, kMaxUInt16))));
    bytes[6] = low8((x >> 8 & 0x3F) | (theta >> 8 & 3) << 6);
    bytes[7] = low8((y >> 8 & 0x3F) | (theta >> 10 & 3) << 6);
    bytes[8] = low8(mode << 6 | (pose.ease != 0 ? 1u : 0u) << 5 | (pose.wrapTheta & 1) << 4 | (pose.dir & 0xFF));
    return room.placement;
}

Placement encodePower(Data* data, RobotHW*)
{
    return tryEncodeCommand___8_1(data, kBitPower, kCmdPower, low8(data->power.state));
}

Placement encodePing(Data* data, RobotHW*)
{
    return tryEncodeCommandLtl16_1(data, kBitPing, kCmdPing, data->ping.pingId);  // low byte first, on purpose
}

struct SynthValues {
    uint8_t toneTypes[kSynthTones];
    uint16_t frequencies[kSynthTones];  // 0.1 Hz
    uint16_t phases[kSynthTones];
};

// All settings: everything in its own bits, nothing shared with the tones of the update below.
void writeSynth(const HALAudioSynth_t& synth, const SynthValues& values, uint8_t* bytes)
{
    const auto toneType = [&synth](int tone) { return synth.tones[tone].type & 7; };
    bytes[0] = 0;
    bytes[1] = low8(toneType(0) << 5 | (toneType(1) >> 2) << 4 | (synth.duration >> 8 & 0x0F));
    bytes[2] = low8(synth.duration);
    bytes[3] = low8((toneType(1) & 3) << 6 | toneType(2) << 3 | toneType(3));
    uint8_t* tone = bytes + 4;
    for (int i = 0; i < kSynthTones; ++i) {
        tone = bigEndianEncode16(tone, values.frequencies[i]);
        *tone++ = low8(values.phases[i]);
    }
    bytes[16] = low8((synth.perc1 >> 8 & 0x0F) << 4 | (synth.perc2 >> 8 & 0x0F));
    bytes[17] = low8(synth.perc1);
    bytes[18] = low8(synth.perc2);
}

// Frequencies only, as phase increments of the robot's 24 kHz oscillator.
void writeSynthUpdate(const SynthValues& values, uint8_t* bytes)
{
    uint8_t* increment = bytes + 3;
    for (const uint16_t frequency : values.frequencies) {
        const uint64_t phaseIncrement = (static_cast<uint64_t>(frequency) << 26) / 240000 >> 1;
        increment = littleEndianEncode32(increment, low32(static_cast<int64_t>(phaseIncrement)));
    }
}

Placement encodeSynth(Data* data, RobotHW* robot)
{
    testAndClearCommandMaskBit(data, kBitSynth);
    uint8_t* bytes = nullptr;
    const Room room = appendWholePacket(*data, bytes);
    if (room.packet == nullptr) {
        return room.placement;  // the robot keeps its state, so the cache does
    }
    const HALAudioSynth_t& synth = data->audioSynth;
    SynthValues values;
    for (int i = 0; i < kSynthTones; ++i) {
        values.toneTypes[i] = low8(synth.tones[i].type);
        values.frequencies[i] = low16(truncate(10 * synth.tones[i].frequency));
        values.phases[i] = low16(truncate(synth.tones[i].phase));
    }
    const bool changed =
        robot->setSynthStateAndCheckForChange(low8(synth.type), synth.duration, values.toneTypes, values.frequencies,
                                              values.phases, synth.perc1, synth.perc2);
    if (changed) {
        bytes[0] = kCmdSynth;
        writeSynth(synth, values, bytes + 1);
    } else {
        bytes[0] = kCmdSynthUpdate;
        writeSynthUpdate(values, bytes + 1);
    }
    return room.placement;
}

Placement encodeBehaviourStart(Data* data, RobotHW* robot)
{
    const HALPamplemousse_t& behaviour = data->pamplemousseStart;
    uint8_t bytes[4 + kBehaviourParams] = {kCmdBehaviourStart};
    bigEndianEncode16(bytes + 1, behaviour.commandId);
    bytes[3] = behaviour.weight;
    std::memcpy(bytes + 4, behaviour.params, kBehaviourParams);
    if (robot->getRobotType() != ZK_ROBOT_QUILL) {
        testAndClearCommandMaskBit(data, kBitBehaviourStart);
        return Placement::NotPending;  // only a Quill has behaviours
    }
    return tryEncode(data, kBitBehaviourStart, bytes);
}

Placement encodeBehaviourStop(Data* data, RobotHW* robot)
{
    if (robot->getRobotType() != ZK_ROBOT_QUILL) {
        testAndClearCommandMaskBit(data, kBitBehaviourStop);
        return Placement::NotPending;
    }
    return tryEncodeCommandBig16_1(data, kBitBehaviourStop, kCmdBehaviourStop, data->pamplemousseStop.commandId);
}

Placement encodeLedMessage(Data* data, RobotHW*)
{
    const HALLedMsg_t& message = data->ledMsg;
    const uint8_t number = low8((message.message & 63) | (message.flag1 & 1) << 6 | (message.flag2 & 1) << 7);
    const uint8_t bytes[3] = {kCmdLedMessage, number, message.ledMask};
    return tryEncode(data, kBitLedMessage, bytes);
}

struct PackingRow {
    const char* name;
    uint64_t mask;  // all bits must be set
    Placement (*encode)(Data*, RobotHW*);
};

// Earlier rows get first pick of the free bytes: this order is part of the wire format.
constexpr PackingRow kPacking[] = {
    {"combined state", kCombinedBits, encodeCombined},
    {"wheel speeds", kWheelBits, encodeWheels},
    {"colour light 104", kBitRgb104, encodeRGB<kBitRgb104, kCmdRgb104, &Data::rgb104>},
    {"colour light 102", kBitRgb102, encodeRGB<kBitRgb102, kCmdRgb102, &Data::rgb102>},
    {"colour light 103", kBitRgb103, encodeRGB<kBitRgb103, kCmdRgb103, &Data::rgb103>},
    {"colour light 107", kBitRgb107, encodeRGB<kBitRgb107, kCmdRgb107, &Data::rgb107>},
    {"three-light group 108", kBitLed3, encodeLED3},
    {"light 109", kBitLed109, encodeLED<kBitLed109, kCmdLed109, &Data::led109>},
    {"light 110", kBitLed110, encodeLED<kBitLed110, kCmdLed110, &Data::led110>},
    {"light 111", kBitLed111, encodeLED<kBitLed111, kCmdLed111, &Data::led111>},
    {"light 105", kBitLed105, encodeLED<kBitLed105, kCmdLed105, &Data::led105>},
    {"light 106", kBitLed106, encodeLED<kBitLed106, kCmdLed106, &Data::led106>},
    {"sound", kBitSound, encodeSound},
    {"on-robot animation", kBitAnimByName, encodeAnimByName},
    {"on-robot animation without a name", kBitAnimWithoutName,
     encodeNoParams<kBitAnimWithoutName, kCmdAnimWithoutName>},
    {"robot name", kBitSettingName, encodeSetting<kBitSettingName, kSettingName, writeName>},
    {"personality colour", kBitSettingColor, encodeSetting<kBitSettingColor, kSettingColor, writeColor>},
    {"personality animation", kBitSettingAnim, encodeSetting<kBitSettingAnim, kSettingAnim, writeAnim>},
    {"personality colour and animation", kBitSettingColorAnim,
     encodeSetting<kBitSettingColorAnim, kSettingColorAnim, writeColorAnim>},
    {"avatar", kBitSettingAvatar, encodeSetting<kBitSettingAvatar, kSettingAvatar, writeAvatar>},
    {"personality volume", kBitSettingVolume, encodeSetting<kBitSettingVolume, kSettingVolume, writeVolume>},
    {"personality eye brightness", kBitSettingEyeBrightness,
     encodeSetting<kBitSettingEyeBrightness, kSettingEyeBrightness, writeEyeBrightness>},
    {"clock", kBitClock, encodeClock},
    {"command 0x1A", kBitNoParams1A, encodeNoParams<kBitNoParams1A, kCmdStopSound>},
    {"head pan", kBitHeadPan, encodeServoAngle<kBitHeadPan, kCmdHeadPan, &Data::headPan>},
    {"head tilt", kBitHeadTilt, encodeServoAngle<kBitHeadTilt, kCmdHeadTilt, &Data::headTilt>},
    {"timed head pan", kBitPan207, encodeServoMove<kBitPan207, kCmdPan207, kCmdPan207Hold, &Data::pan207>},
    {"timed head tilt", kBitTilt206, encodeServoMove<kBitTilt206, kCmdTilt206, kCmdTilt206Hold, &Data::tilt206>},
    {"head pan speed", kBitPan209, encodeServoSpeed<kBitPan209, kCmdPan209, &Data::pan209>},
    {"head tilt speed", kBitTilt208, encodeServoSpeed<kBitTilt208, kCmdTilt208, &Data::tilt208>},
    {"percentage 213", kBitScalar213, encodePercentage<kBitScalar213, kCmdScalar213, &Data::scalar213>},
    {"percentage 214", kBitScalar214, encodePercentage<kBitScalar214, kCmdScalar214, &Data::scalar214>},
    {"command 210", kBitNoParams210, encodeNoParams<kBitNoParams210, kCmdNoParams210>},
    {"launcher 400", kBitLauncher400, encodeLauncher<kBitLauncher400, kCmdLauncher400, &Data::launcher400>},
    {"launcher 401", kBitLauncher401, encodeLauncher<kBitLauncher401, kCmdLauncher401, &Data::launcher401>},
    {"eye brightness", kBitEyeBrightness, encodeEyeBrightness},
    {"eye brightness in quarters", kBitEyeBrightnessQuad, encodeEyeBrightnessQuad},
    {"eye lights", kBitEyeBitmap, encodeEyeBitmap},
    {"eye animation", kBitEyeAnimation, encodeEyeAnimation},
    {"volume", kBitVolume, encodeVolume},
    {"body motion", kBitBodyMotion, encodeBodyMotion},
    {"body pose", kBitBodyPose, encodeBodyPose},
    {"power", kBitPower, encodePower},
    {"ping", kBitPing, encodePing},
    {"command 212", kBitNoParams212, encodeNoParams<kBitNoParams212, kCmdNoParams212>},
    {"synthesizer", kBitSynth, encodeSynth},
    {"behaviour start", kBitBehaviourStart, encodeBehaviourStart},
    {"behaviour stop", kBitBehaviourStop, encodeBehaviourStop},
    {"light message", kBitLedMessage, encodeLedMessage},
};
constexpr size_t kPackingRows = sizeof kPacking / sizeof kPacking[0];
static_assert(kPackingRows <= 64, "the rows to visit are a set of bits");

// For each command bit the later row that it takes part in; the combined state, row 0, is looked at by itself.
struct RowOfBit {
    uint8_t row[64];
};
constexpr RowOfBit rowOfBit()
{
    RowOfBit rows{};
    for (size_t row = 1; row < kPackingRows; ++row) {
        for (int bit = 0; bit < 64; ++bit) {
            if ((kPacking[row].mask >> bit & 1) != 0) {
                rows.row[bit] = static_cast<uint8_t>(row);
            }
        }
    }
    return rows;
}
constexpr RowOfBit kRowOfBit = rowOfBit();

void packRow(const PackingRow& row, Data* data, RobotHW* robot, PackTrace* trace)
{
    const uint64_t before = data->commandMask;
    if ((before & row.mask) != row.mask) {
        return;
    }
    const Placement placement = row.encode(data, robot);
    if (trace != nullptr) {
        trace->push_back({row.name, row.mask, (before ^ data->commandMask) & ~row.mask, placement});
    }
}

}  // namespace

bool testAndClearCommandMaskBit(robot_hw0_cmd_data* data, uint64_t mask)
{
    if ((data->commandMask & mask) != mask) {
        return false;
    }
    data->commandMask &= ~mask;
    return true;
}

Placement tryEncodeCommand___8_0(robot_hw0_cmd_data* data, uint64_t mask, uint8_t command)
{
    const uint8_t bytes[] = {command};
    return tryEncode(data, mask, bytes);
}

Placement tryEncodeCommand___8_1(robot_hw0_cmd_data* data, uint64_t mask, uint8_t command, uint8_t value)
{
    const uint8_t bytes[] = {command, value};
    return tryEncode(data, mask, bytes);
}

Placement tryEncodeCommand___8_3(robot_hw0_cmd_data* data, uint64_t mask, uint8_t command, uint8_t value1,
                                 uint8_t value2, uint8_t value3)
{
    const uint8_t bytes[] = {command, value1, value2, value3};
    return tryEncode(data, mask, bytes);
}

Placement tryEncodeCommand___8_4(robot_hw0_cmd_data* data, uint64_t mask, uint8_t command, uint8_t value1,
                                 uint8_t value2, uint8_t value3, uint8_t value4)
{
    const uint8_t bytes[] = {command, value1, value2, value3, value4};
    return tryEncode(data, mask, bytes);
}

Placement tryEncodeCommandRGB(robot_hw0_cmd_data* data, uint64_t mask, uint8_t command, const HALRGB_t& light)
{
    return tryEncodeCommand___8_3(data, mask, command, light.red, light.green, light.blue);
}

Placement tryEncodeCommandBig16_1(robot_hw0_cmd_data* data, uint64_t mask, uint8_t command, uint16_t value)
{
    uint8_t bytes[3] = {command};
    bigEndianEncode16(bytes + 1, value);
    return tryEncode(data, mask, bytes);
}

Placement tryEncodeCommandBig16_2(robot_hw0_cmd_data* data, uint64_t mask, uint8_t command, uint16_t value1,
                                  uint16_t value2)
{
    uint8_t bytes[5] = {command};
    bigEndianEncode16(bigEndianEncode16(bytes + 1, value1), value2);
    return tryEncode(data, mask, bytes);
}

Placement tryEncodeCommandLtl16_1(robot_hw0_cmd_data* data, uint64_t mask, uint8_t command, uint16_t value)
{
    uint8_t bytes[3] = {command};
    littleEndianEncode16(bytes + 1, value);
    return tryEncode(data, mask, bytes);
}

void RobotHW_rev0::initComponentsForCtlr2BotMsg(Ctlr2BotMsg* message, RobotHW* robot)
{
    if (message == nullptr || robot == nullptr) {
        return;
    }
    const RobotSet robots = robotSet(robot->getRobotType());
    if (robots == kOtherRobot) {
        ZKHAL::printOut("Unandled robot type: %d\n", static_cast<int>(robot->getRobotType()));
    }
    message->clear();
    const auto& pool = robot->workingRecords();
    Data* data = pool->take(freshData(robots));
    if (data != nullptr) {
        message->bindStorage(kStorageMaps, robots, &data->header, pool);
    }
    message->SetHwData(data);
}

bool RobotHW_rev0::registersComponent(uint32_t robotType, uint32_t componentId)
{
    const uint32_t id = componentId == ZK_COMPONENT_BODY_WHEELS ? ZK_COMPONENT_WHEEL_LEFT : componentId;
    for (const StorageRow& row : kStorage) {
        if (row.id == id && !isAlias(row)) {
            return (row.robots & robotSet(robotType)) != 0;
        }
    }
    return false;
}

void RobotHW_rev0::setCommand(void* hwData, unsigned componentId)
{
    const int index = componentIndex(componentId);
    if (index >= 0) {
        setComponent(hwData, static_cast<size_t>(index));
    }
}

void setComponent(void* hwData, size_t component)
{
    if (hwData == nullptr) {
        return;
    }
    Data& data = *static_cast<Data*>(hwData);
    const CommandRow& row = kCommands[component];
    markSet(data, row.row);  // before the bits are asked for: a record that no document filled is fresh
    markSet(data, row.row2);
    data.commandMask |= row.moreBits != nullptr ? row.moreBits(data) : row.bits;
}

std::vector<HALPacket_t*> RobotHW_rev0::packetizeCtlr2BotMsg(Ctlr2BotMsg* message, RobotHW* robot)
{
    const PacketList& list = pack(message, robot);
    return {list.packets, list.packets + list.count};
}

const PacketList& RobotHW_rev0::pack(Ctlr2BotMsg* message, RobotHW* robot, PackTrace* trace)
{
    static const PacketList kEmptyList = {};
    auto* data = message != nullptr ? static_cast<Data*>(message->GetHwData()) : nullptr;
    if (data == nullptr || robot == nullptr) {
        return kEmptyList;
    }
    data->result.count = 0;
    packRow(kPacking[0], data, robot, trace);
    uint64_t rows = 0;
    for (uint64_t bits = data->commandMask; bits != 0; bits &= bits - 1) {
        rows |= uint64_t{1} << kRowOfBit.row[__builtin_ctzll(bits)];
    }
    for (; rows != 0; rows &= rows - 1) {
        packRow(kPacking[__builtin_ctzll(rows)], data, robot, trace);
    }
    for (HALPacket_t& packet : data->packets) {
        if (packet.length != 0) {
            data->result.packets[data->result.count++] = &packet;
        }
    }
    return data->result;
}

}  // namespace HAL
