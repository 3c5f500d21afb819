#include "HAL/RobotHardware/RobotHW.h"

#include <cstring>
#include <typeinfo>

#include "CoreUtility/Assertion.h"
#include "CoreUtility/Messages.h"
#include "CoreUtility/Text.h"
#include "HAL/MessagePacketizers/PacketizerInteraction.h"
#include "HAL/MessagePacketizers/PacketizerShell.h"
#include "HAL/MessagePacketizers/RobotTypeOf.h"
#include "HAL/RobotHardware/RobotHW_rev0.h"
#include "HAL/RobotHardware/Uuid.h"
#include "HAL/RobotHardware/WorkingRecordPool.h"
#include "HAL/RobotMessages/Components.h"

namespace HAL {

namespace {

constexpr const char* kLanguages[] = {"en_US", "zh_CN", "de_DE", "ko_KR", "es", "fr_FR", "zh_TW"};
constexpr size_t kLanguageCount = sizeof kLanguages / sizeof kLanguages[0];
constexpr char kUnknownLanguage[] = "unknown";

// Which characteristic serves what: by family, mode and type.
struct CharacteristicRow {
    bool isRusk;
    uint32_t mode;
    _ZKCharacteristicTypes type;
    const char* uuid;
};
constexpr CharacteristicRow kCharacteristics[] = {
    {false, Kestrel::kModeApplication, ZK_CHARACTERISTIC_SHELL_CONTROL, ZK_UUID("AF230000")},
    {false, Kestrel::kModeApplication, ZK_CHARACTERISTIC_SHELL_PACKET, ZK_UUID("AF230001")},
    {false, Kestrel::kModeApplication, ZK_CHARACTERISTIC_FILE_TRANSFER_CONTROL, ZK_UUID("AF230004")},
    {false, Kestrel::kModeApplication, ZK_CHARACTERISTIC_FILE_TRANSFER_PACKET, ZK_UUID("AF230005")},
    {false, Kestrel::kModeApplication, ZK_CHARACTERISTIC_COMMAND_CONTROL, ZK_UUID("AF230002")},
    {false, Kestrel::kModeApplication, ZK_CHARACTERISTIC_SENSOR_PACKET1, ZK_UUID("AF230003")},
    {false, Kestrel::kModeApplication, ZK_CHARACTERISTIC_SENSOR_PACKET2, ZK_UUID("AF230006")},
    {false, Kestrel::kModeBootloader, ZK_CHARACTERISTIC_DFU_CONTROL, ZK_UUID("AF230004")},
    {false, Kestrel::kModeBootloader, ZK_CHARACTERISTIC_DFU_PACKET, ZK_UUID("AF230005")},
    {true, Kestrel::kModeApplication, ZK_CHARACTERISTIC_SHELL_CONTROL, ZK_UUID("AF230000")},
    {true, Kestrel::kModeApplication, ZK_CHARACTERISTIC_SHELL_PACKET, ZK_UUID("AF230001")},
};

// An existing packetizer of exactly this class stays, and with it what it remembers.
template <class Packetizer>
void ensure(std::unique_ptr<Packetizer>& packetizer)
{
    const Packetizer* existing = packetizer.get();
    if (existing == nullptr || typeid(*existing) != typeid(Packetizer)) {
        packetizer = std::make_unique<Packetizer>();
    }
}

}  // namespace

const char* const RobotHW::serviceIds[] = {ZK_UUID("AF237777"), ZK_UUID("AF237778"), ZK_UUID("AF237779")};
const size_t RobotHW::serviceIdCount = sizeof RobotHW::serviceIds / sizeof RobotHW::serviceIds[0];

uint32_t robotTypeOf(const RobotHW& robot)
{
    return robot.getRobotType();
}

RobotHW::RobotHW()
    : mAdvertisement(std::make_unique<Kestrel::AdvertisementData>()),
      mLanguage(kUnknownLanguage),
      mWorkingRecords(std::make_shared<WorkingRecordPool>())
{
}

RobotHW::~RobotHW() = default;

void RobotHW::_setRobotType(uint32_t code)
{
    mAdvertisement->robotType = code;
}

uint32_t RobotHW::getRobotType() const
{
    return mAdvertisement->robotType;
}

void RobotHW::ParseAdvertisementData(const void* advData, int advLength, const void* scanResponse, int scanLength)
{
    // A negative data length is too long an advertisement, which changes nothing.
    const size_t nameLength = scanLength > 0 ? static_cast<size_t>(scanLength) : 0;
    if (!mAdvertisement->parse(static_cast<const char*>(advData), static_cast<size_t>(advLength),
                               static_cast<const char*>(scanResponse), nameLength)) {
        ZKHAL::printOut("Error parsing advertisement data: %s\n", mAdvertisement->parseErrorMessage().c_str());
    }
    if (mAdvertisement->robotMode == Kestrel::kModeApplication) {
        setLanguageId(getRobotLocaleID());
    }
    initializePacketizers();
}

void RobotHW::initializePacketizers()
{
    ensure(mShell);
    ensure(mInteraction);
}

PacketizerInteraction* RobotHW::getPacketizerInteraction() const
{
    return mInteraction.get();
}

bool RobotHW::getDataPacketsShellCommand(const std::string& text, std::vector<HALPacket_t>& packets)
{
    return mShell != nullptr && mShell->serializePayloadToPackets(*this, text, packets);
}

bool RobotHW::getMetaPayloadShellResponse(const std::vector<HALPacket_t>& packets, std::string& text)
{
    return mShell != nullptr && mShell->deserializePacketsToPayload(*this, packets, text);
}

bool RobotHW::getDataPacketsInteractionCommand(const std::string& text, std::vector<HALPacket_t>& packets)
{
    return mInteraction != nullptr && mInteraction->serializePayloadToPackets(*this, text, packets);
}

bool RobotHW::getMetaPayloadInteractionState(const std::vector<HALPacket_t>& packets, std::string& text)
{
    return mInteraction != nullptr && mInteraction->deserializePacketsToPayload(*this, packets, text);
}

void RobotHW::_setShellColor(uint8_t color)
{
    mAdvertisement->shellColor = color;
}

uint8_t RobotHW::getShellColor() const
{
    return static_cast<uint8_t>(mAdvertisement->shellColor & 0xFF);
}

void RobotHW::setUniqueId(const std::string& id)
{
    mAdvertisement->uniqueId = id;
}

// Which advertised field each getter returns.
#define ZK_ADVERTISED(Type, getter, field) \
    Type RobotHW::getter() const           \
    {                                      \
        return mAdvertisement->field;      \
    }

ZK_ADVERTISED(const std::string&, getUniqueId, uniqueId)
ZK_ADVERTISED(const std::string&, getLocalName, name)
ZK_ADVERTISED(const std::string&, getRobotSerialNumber, serialNumber)
ZK_ADVERTISED(uint32_t, getRobotAvatarId, avatarId)
ZK_ADVERTISED(uint32_t, getBatteryChargeMode, chargeMode)
ZK_ADVERTISED(uint8_t, getRobotFirmwareVersionMajor, version[Kestrel::kFirmwareMajor])
ZK_ADVERTISED(uint8_t, getRobotFirmwareVersionMinor, version[Kestrel::kFirmwareMinor])
ZK_ADVERTISED(uint8_t, getRobotFirmwareVersionSubMinor, version[Kestrel::kFirmwareSubMinor])
ZK_ADVERTISED(uint8_t, getRobotFirmwareResourceVersion, version[Kestrel::kResourceVersion])
ZK_ADVERTISED(uint32_t, getRobotPersonalityColorId, version[Kestrel::kPersonalityColor])
ZK_ADVERTISED(uint32_t, getRobotPersonalityAnimId, version[Kestrel::kPersonalityAnimation])
ZK_ADVERTISED(uint32_t, getRobotAdvBatteryLevel, batteryLevel)
ZK_ADVERTISED(bool, getRobotHasCrashDumps, flagA)
ZK_ADVERTISED(bool, getRobotAdvIsUSBConnected, isCharging)
ZK_ADVERTISED(bool, getRobotAdvIsButtonPressed, flagB)
ZK_ADVERTISED(bool, getRobotHasBackupFWImage, hasBackupImage)
ZK_ADVERTISED(uint32_t, getRobotWifiStatus, wifiStatus)
ZK_ADVERTISED(uint32_t, getRobotUpdateStatus, updateStatus)
ZK_ADVERTISED(uint8_t, getRobotBatteryVoltage, batteryVoltage)
ZK_ADVERTISED(language_t, getRobotLocaleID, localeId)

bool RobotHW::getRobotIsOrvikPro() const
{
    constexpr uint8_t kFirstPro = 16, kLastPro = 31;
    const uint8_t hardware = mAdvertisement->hardwareMinorVersion;
    return getRobotType() == ZK_ROBOT_ORVIK && hardware >= kFirstPro && hardware <= kLastPro;
}

void RobotHW::setLanguageId(language_t id)
{
    mLanguage = langStringFromID(id);
}

const char* RobotHW::getRobotLang() const
{
    return mLanguage;
}

language_t RobotHW::langIDFromString(const char* text)
{
    for (size_t id = 0; id < kLanguageCount; ++id) {
        if (ZKHAL::isSameText(kLanguages[id], ZKHAL::orEmpty(text))) {
            return static_cast<language_t>(id);
        }
    }
    ZKHAL::printOut("error: unknown language string: %s\n", ZKHAL::orEmpty(text));
    return kNoLanguage;
}

const char* RobotHW::langStringFromID(language_t id)
{
    return id < kLanguageCount ? kLanguages[id] : kUnknownLanguage;
}

const char* RobotHW::getSupportedCharacteristic(_ZKCharacteristicTypes type) const
{
    const uint32_t mode = mAdvertisement->robotMode;
    const bool isKnownMode = mode == 0 || mode == Kestrel::kModeBootloader || mode == Kestrel::kModeApplication;
    if (!isKnownMode) {
        ZKHAL::printOut("error: unhandled robot mode: %d\n", static_cast<int>(mode));
        ZK_ASSERT(isKnownMode);
    }
    const bool isRusk = getRobotType() == ZK_ROBOT_RUSK || getRobotType() == ZK_ROBOT_RUSK_BOOTLOADER;
    for (const CharacteristicRow& row : kCharacteristics) {
        if (row.isRusk == isRusk && row.mode == mode && row.type == type) {
            return row.uuid;
        }
    }
    return nullptr;
}

bool RobotHW::validateNewName(const char* name, size_t length, size_t* excess)
{
    constexpr size_t kFirstPart = 11, kSecondPart = 9, kMost = 16;
    const auto answer = [excess](bool isValid, size_t toCut) {
        if (excess != nullptr) {
            *excess = toCut;
        }
        return isValid;
    };
    if (name == nullptr || length == 0) {
        return answer(false, 0);
    }
    if (length < kFirstPart) {
        return answer(true, 0);
    }
    const auto byteAt = [name](size_t i) { return static_cast<unsigned char>(name[i]); };
    // How many of the first bytes the first part takes without breaking a character.
    size_t p = 0;
    for (size_t i = 0; i < kFirstPart; ++i) {
        const unsigned char byte = byteAt(i);
        if ((byte & 0x80) != 0 || byte == 0) {
            const size_t sequence = (byte & 0xF0) == 0xE0 ? 3 : (byte & 0xF0) == 0xF0 ? 4 : 2;
            if (p + sequence > kFirstPart) {
                break;
            }
        }
        ++p;
    }
    size_t r = length - p;
    if (r <= kSecondPart && length <= kMost) {
        return answer(true, 0);
    }
    r = r < kSecondPart ? r : kSecondPart;
    r = p + r <= kMost ? r : kMost - p;
    while (r > 0 && (byteAt(p + r) & 0xC0) == 0x80) {
        --r;
    }
    if (r > 0 && (byteAt(p + r - 1) & 0xC0) == 0xC0) {
        --r;
    }
    return answer(false, length - p - r);
}

bool RobotHW::validCommandComponentIndex(ZKComponentId componentId) const
{
    const uint32_t robotType = getRobotType();
    const RobotTypeRow* row = findRobotType(robotType);
    if (row == nullptr || row->isBootloader) {
        ZKHAL::printOut("error: unhandled robot type: %d at %s\n", static_cast<int>(robotType),
                        "bool HAL::RobotHW::validCommandComponentIndex(ZKComponentId)");
        return false;
    }
    const int index = componentIndex(componentId);
    const RobotSet has = index >= 0 ? kComponents[index].has : kWheeledRobots;  // these take any other number too
    return (has & row->set) != 0;
}

void RobotHW::initComponentsForCtlr2BotMsg(Ctlr2BotMsg* message)
{
    RobotHW_rev0::initComponentsForCtlr2BotMsg(message, this);
}

void RobotHW::setCommand(void* data, unsigned componentId)
{
    RobotHW_rev0::setCommand(data, componentId);
}

std::vector<HALPacket_t*> RobotHW::packetizeCtlr2BotMsg(Ctlr2BotMsg* message)
{
    return RobotHW_rev0::packetizeCtlr2BotMsg(message, this);
}

bool RobotHW::setSynthStateAndCheckForChange(uint8_t type, uint16_t duration, const uint8_t (&toneTypes)[kSynthTones],
                                             const uint16_t (&)[kSynthTones], const uint16_t (&phases)[kSynthTones],
                                             uint16_t percentage1, uint16_t percentage2)
{
    SynthCache state = {};
    state.type = type;
    state.duration = duration;
    std::memcpy(state.toneTypes, toneTypes, sizeof state.toneTypes);
    std::memcpy(state.phases, phases, sizeof state.phases);
    state.percentage1 = percentage1;
    state.percentage2 = percentage2;
    const bool unchanged = duration == 0 && mSynthCacheValid && std::memcmp(&state, &mSynthCache, sizeof state) == 0;
    mSynthCache = state;
    mSynthCacheValid = true;
    return !unchanged;
}

void RobotHW::invalidateCachedSynthSettings()
{
    mSynthCache = {};
    mSynthCacheValid = false;
}

void RobotHW::handleRobotDisconnect()
{
    invalidateCachedSynthSettings();
}

}  // namespace HAL
