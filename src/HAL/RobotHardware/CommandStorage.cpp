#include "HAL/RobotHardware/CommandStorage.h"

#include <array>
#include <cstddef>
#include <cstring>

#include "CoreUtility/Messages.h"
#include "HAL/RobotHardware/CommandBits.h"

namespace HAL {

namespace {

// ---- Which bits a component sets -------------------------------------------------------------------------------

uint64_t eyeRingBits(robot_hw0_cmd_data& data)
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

uint64_t speakerBits(robot_hw0_cmd_data& data)
{
    // A sound without "volume" has volume 0, and sends it.
    return (data.speaker.fileName[0] != '\0' ? kBitSound : 0) | (data.speaker.volume < 101 ? kBitVolume : 0);
}

uint64_t animBits(robot_hw0_cmd_data& data)
{
    return data.anim.fileName[0] != '\0' ? kBitAnimByName : kBitAnimWithoutName;
}

// One setting per message: the first that is given.
uint64_t userSettingBits(robot_hw0_cmd_data& data)
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

struct RecordPlace {
    uint16_t offset, size;
};
#define ZK_RECORD(field)                                             \
    {                                                                \
        static_cast<uint16_t>(offsetof(robot_hw0_cmd_data, field)),  \
            static_cast<uint16_t>(sizeof(robot_hw0_cmd_data::field)) \
    }
constexpr RecordPlace kNoRecord = {0, 0};

// What a component is to the encoder. Its kind and its robots are kComponents'.
struct CommandRow {
    ZKComponentId id;
    uint64_t bits;
    uint64_t (*moreBits)(robot_hw0_cmd_data&);  // where they depend on the record
    RecordPlace record;                         // whose isSet flag is set
    RecordPlace record2 = kNoRecord;
};

constexpr CommandRow kCommands[] = {
    {ZK_COMPONENT_POWER, kBitPower, nullptr, ZK_RECORD(power)},
    {ZK_COMPONENT_EYE_RING, 0, eyeRingBits, ZK_RECORD(eyeRing)},
    {ZK_COMPONENT_RGB_101, kBitRgb104, nullptr, ZK_RECORD(rgb104)},  // sends 104's colour
    {ZK_COMPONENT_RGB_102, kBitRgb102, nullptr, ZK_RECORD(rgb102)},
    {ZK_COMPONENT_RGB_103, kBitRgb103, nullptr, ZK_RECORD(rgb103)},
    {ZK_COMPONENT_RGB_104, kBitRgb104, nullptr, ZK_RECORD(rgb104)},
    {ZK_COMPONENT_LED_105, kBitLed105, nullptr, ZK_RECORD(led105)},
    {ZK_COMPONENT_LED_106, kBitLed106, nullptr, ZK_RECORD(led106)},
    {ZK_COMPONENT_RGB_107, kBitRgb107, nullptr, ZK_RECORD(rgb107)},
    {ZK_COMPONENT_LED3_108, kBitLed3, nullptr, ZK_RECORD(led108)},
    {ZK_COMPONENT_LED_109, kBitLed109, nullptr, ZK_RECORD(led109)},
    {ZK_COMPONENT_LED_110, kBitLed110, nullptr, ZK_RECORD(led110)},
    {ZK_COMPONENT_LED_111, kBitLed111, nullptr, ZK_RECORD(led111)},
    {ZK_COMPONENT_WHEEL_LEFT, kBitWheelLeft, nullptr, ZK_RECORD(wheelLeft)},
    {ZK_COMPONENT_WHEEL_RIGHT, kBitWheelRight, nullptr, ZK_RECORD(wheelRight)},
    {ZK_COMPONENT_HEAD_TILT, kBitHeadTilt, nullptr, ZK_RECORD(headTilt)},
    {ZK_COMPONENT_HEAD_PAN, kBitHeadPan, nullptr, ZK_RECORD(headPan)},
    {ZK_COMPONENT_BODY_LINEAR_ANGULAR, kBitBodyMotion, nullptr, ZK_RECORD(bodyMotion)},
    {ZK_COMPONENT_BODY_POSE, kBitBodyPose, nullptr, ZK_RECORD(bodyPose)},
    {ZK_COMPONENT_TILT_206, kBitTilt206, nullptr, ZK_RECORD(tilt206)},
    {ZK_COMPONENT_PAN_207, kBitPan207, nullptr, ZK_RECORD(pan207)},
    {ZK_COMPONENT_TILT_208, kBitTilt208, nullptr, ZK_RECORD(tilt208)},
    {ZK_COMPONENT_PAN_209, kBitPan209, nullptr, ZK_RECORD(pan209)},
    {ZK_COMPONENT_NO_PARAMS_210, kBitNoParams210, nullptr, ZK_RECORD(noParams210)},
    {ZK_COMPONENT_BODY_WHEELS, kWheelBits, nullptr, ZK_RECORD(wheelLeft), ZK_RECORD(wheelRight)},
    {ZK_COMPONENT_NO_PARAMS_212, kBitNoParams212, nullptr, ZK_RECORD(noParams212)},
    {ZK_COMPONENT_SCALAR_213, kBitScalar213, nullptr, ZK_RECORD(scalar213)},
    {ZK_COMPONENT_SCALAR_214, kBitScalar214, nullptr, ZK_RECORD(scalar214)},
    {ZK_COMPONENT_SPEAKER, 0, speakerBits, ZK_RECORD(speaker)},
    {ZK_COMPONENT_ON_ROBOT_ANIM, 0, animBits, ZK_RECORD(anim)},
    {ZK_COMPONENT_AUDIO_SYNTH, kBitSynth, nullptr, ZK_RECORD(audioSynth)},
    {ZK_COMPONENT_305, 0, nullptr, kNoRecord},
    {ZK_COMPONENT_LAUNCHER_400, kBitLauncher400, nullptr, ZK_RECORD(launcher400)},
    {ZK_COMPONENT_LAUNCHER_401, kBitLauncher401, nullptr, ZK_RECORD(launcher401)},
    {ZK_COMPONENT_LED_MESSAGE, kBitLedMessage, nullptr, ZK_RECORD(ledMsg)},
    {ZK_COMPONENT_PAMPLEMOUSSE_START, kBitBehaviourStart, nullptr, ZK_RECORD(pamplemousseStart)},
    {ZK_COMPONENT_PAMPLEMOUSSE_STOP, kBitBehaviourStop, nullptr, ZK_RECORD(pamplemousseStop)},
    {ZK_COMPONENT_USER_SETTINGS, 0, userSettingBits, ZK_RECORD(userSettings)},
    {ZK_COMPONENT_6001, kBitClock, nullptr, kNoRecord},
    {ZK_COMPONENT_PING, kBitPing, nullptr, ZK_RECORD(ping)},
};
static_assert(runsBesideComponents(kCommands), "kCommands is found by componentIndex()");

// ---- What a robot type registers -------------------------------------------------------------------------------

// 101 and 211 stand for the records of others.
constexpr bool hasRecordOfItsOwn(size_t component)
{
    const CommandRow& row = kCommands[component];
    return kComponents[component].reads != kNoRobot && row.record.size != 0 && row.record2.size == 0;
}

constexpr size_t countRecords()
{
    size_t count = 0;
    for (size_t i = 0; i < kComponentCount; ++i) {
        if (hasRecordOfItsOwn(i)) {
            ++count;
        }
    }
    return count;
}
constexpr size_t kStorageRows = countRecords() + 1;
static_assert(kStorageRows <= 64, "each record has a bit in WorkingRecordHeader::touched");

constexpr bool isBefore(const StorageRow& a, const StorageRow& b)
{
    return a.kind < b.kind || (a.kind == b.kind && a.id < b.id);
}

// Sorted by kind, then by id: the rows of a kind stand together and in the order of an ordered map.
constexpr std::array<StorageRow, kStorageRows> storageRows()
{
    std::array<StorageRow, kStorageRows> rows{};
    size_t count = 0;
    const auto add = [&](const StorageRow& row) {
        size_t at = count++;
        for (; at > 0 && isBefore(row, rows[at - 1]); --at) {
            rows[at] = rows[at - 1];
        }
        rows[at] = row;
    };
    for (size_t i = 0; i < kComponentCount; ++i) {
        if (hasRecordOfItsOwn(i)) {
            const RecordPlace& record = kCommands[i].record;
            add({kComponents[i].kind, kComponents[i].id, record.offset, record.size, kComponents[i].reads});
        }
    }
    const RecordPlace light104 = ZK_RECORD(rgb104);  // stands under the eye ring's id too, on purpose
    add({RecordKind::RGB, ZK_COMPONENT_EYE_RING, light104.offset, light104.size, kEveryRobot});
    for (StorageRow& row : rows) {
        while (rows[row.bit].offset != row.offset) {
            ++row.bit;
        }
    }
    return rows;
}
constexpr std::array<StorageRow, kStorageRows> kStorage = storageRows();

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
            maps.ofComponent[static_cast<size_t>(componentIndex(each.id))] = each;
        }
    }
    return maps;
}
constexpr StorageMaps kStorageMaps = storageMaps();

// ---- Commanding a component ------------------------------------------------------------------------------------

// The row of a record in kStorage; null when there is no record.
constexpr const StorageRow* rowOf(const RecordPlace& record)
{
    for (const StorageRow& row : kStorage) {
        if (record.size != 0 && row.offset == record.offset) {
            return &row;
        }
    }
    return nullptr;
}

struct Marks {
    uint64_t bits;
    uint64_t (*moreBits)(robot_hw0_cmd_data&);
    const StorageRow *record, *record2;
};
constexpr std::array<Marks, kComponentCount> marksOfComponents()
{
    std::array<Marks, kComponentCount> marks{};
    for (size_t i = 0; i < kComponentCount; ++i) {
        const CommandRow& row = kCommands[i];
        marks[i] = {row.bits, row.moreBits, rowOf(row.record), rowOf(row.record2)};
    }
    return marks;
}
constexpr std::array<Marks, kComponentCount> kMarks = marksOfComponents();

// Marks a record as commanded, whether this robot registers it or not: it is sent all the same.
void markSet(robot_hw0_cmd_data& data, const StorageRow* row)
{
    if (row != nullptr) {
        // Every record begins with its id and the flag.
        constexpr size_t kIsSetAt = sizeof(ZKComponentId);
        static_assert(offsetof(HALEyeRing_t, isSet) == kIsSetAt && offsetof(HALMotorWheel_t, isSet) == kIsSetAt, "");
        static_cast<uint8_t*>(data.header.touch(*row))[kIsSetAt] = 1;
    }
}

}  // namespace

const StorageMaps& storageMapsOfRecords()
{
    return kStorageMaps;
}

const robot_hw0_cmd_data& freshData(RobotSet robot)
{
    struct Images {
        robot_hw0_cmd_data of[kOtherRobot + 1];
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

void setComponent(void* hwData, size_t component)
{
    if (hwData == nullptr) {
        return;
    }
    robot_hw0_cmd_data& data = *static_cast<robot_hw0_cmd_data*>(hwData);
    const Marks& marks = kMarks[component];
    markSet(data, marks.record);  // before the bits are asked for: a record that no document filled is fresh
    markSet(data, marks.record2);
    data.commandMask |= marks.moreBits != nullptr ? marks.moreBits(data) : marks.bits;
}

}  // namespace HAL
