#include "CppEngine/AdvertisementData.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "CoreUtility/Messages.h"
#include "CppEngine/AdvertisementLayout.h"
#include "ZKHAL/HostCallbacks.h"
#include "ZKHAL/ZKRobotType.h"

namespace Kestrel {

namespace {

using Record = brio_advdata_manuf_data_t;

constexpr uint8_t bits(const Record& record, Bits at)
{
    return static_cast<uint8_t>(record.bytes[at.byte] >> at.shift & ((1 << at.count) - 1));
}

unsigned little16(const uint8_t* bytes)
{
    return bytes[0] | static_cast<unsigned>(bytes[1]) << 8;
}

constexpr unsigned kFamilies[] = {ZK_ROBOT_ORVIK, ZK_ROBOT_PELL, ZK_ROBOT_QUILL, ZK_ROBOT_RUSK};
constexpr unsigned kBootloaderOffset = ZK_ROBOT_ORVIK_BOOTLOADER - ZK_ROBOT_ORVIK;

// Only for the choice of the layout.
unsigned extractBasicRobotType(const Record& record)
{
    const uint8_t family = record.bytes[kFamilyAt];
    if (family >= 1 && family <= 4) {
        return kFamilies[family - 1];
    }
    ZKLogE("unrecognized robot type: %d\n", family);
    return ZK_ROBOT_UNRECOGNISED;
}

unsigned extractRobotType(const Record& record, unsigned mode)
{
    const uint8_t family = record.bytes[kFamilyAt];
    if (family >= 1 && family <= 4 && (mode == kModeApplication || mode == kModeBootloader)) {
        return kFamilies[family - 1] + (mode == kModeBootloader ? kBootloaderOffset : 0);
    }
    ZKLogE("unrecognized robot type: %d and mode %d\n", family, static_cast<int>(mode));
    return ZK_ROBOT_UNRECOGNISED;
}

unsigned extractChargeMode(const Record& record, unsigned robotType)
{
    switch (robotType) {
        case ZK_ROBOT_QUILL:
            return bits(record, kQuillChargeMode) < 3 ? bits(record, kQuillChargeMode) : kUnknownLevel;
        case ZK_ROBOT_ORVIK:
        case ZK_ROBOT_PELL:
            return bits(record, kOrvikCharging);
        case ZK_ROBOT_RUSK: {
            constexpr unsigned kModes[] = {0, 1, 1, kUnknownLevel};
            return kModes[bits(record, kRuskChargeMode)];
        }
        default:
            return kUnknownLevel;
    }
}

unsigned extractBatteryLevel(const Record& record, unsigned robotType)
{
    switch (robotType) {
        case ZK_ROBOT_QUILL:
            return batteryLevelForChargeIndicator(robotType, bits(record, kQuillIndicator));
        case ZK_ROBOT_ORVIK:
        case ZK_ROBOT_PELL:
            return batteryLevelForChargeIndicator(robotType, bits(record, kOrvikIndicator));
        case ZK_ROBOT_RUSK:
            return batteryLevelForChargeIndicator(robotType, bits(record, kRuskIndicator));
        default:
            return kUnknownLevel;
    }
}

std::string extractSerialNumber(const Record& record, unsigned robotType)
{
    if (robotType != ZK_ROBOT_RUSK && robotType != ZK_ROBOT_RUSK_BOOTLOADER) {
        return "";
    }
    const uint8_t* id = record.bytes + kIdAt;
    constexpr size_t kMost = 16;  // a year or week of three digits pushes the last digit out
    const std::string text =
        ZKHAL::formatted("RK%02d%02d%03dJT%c%04X", id[2] & 0x3F, id[1] >> 1, static_cast<int>(little16(id) & 0x1FF),
                         record.bytes[kRuskLetterAt], little16(record.bytes + kRuskTailAt));
    return std::string(text.c_str()).substr(0, kMost);  // a letter of zero ends it
}

}  // namespace

bool AdvertisementData::parse(const char* data, size_t dataLength, const char* localName, size_t nameLength)
{
    if (dataLength > kManufacturerBytes) {
        // A negative length of the caller's reads the same on 32 bits.
        const auto length = static_cast<int64_t>(static_cast<ptrdiff_t>(dataLength));
        mParseError = "Unexpected dataLength of " + std::to_string(static_cast<uint64_t>(length));
        return false;
    }
    if (data == nullptr) {
        mParseError = "dataBytes is NULL";
        return false;
    }
    Record record = {};
    std::memcpy(record.bytes, data, dataLength);
    // Aside, and taken as a whole: a log line on the way may make the host report another scan of this robot.
    AdvertisementData read;
    read.mParseError = mParseError;
    read.parseRecord(record, localName, nameLength);
    *this = std::move(read);
    return true;
}

void AdvertisementData::parseRecord(const Record& record, const char* localName, size_t nameLength)
{
    const bool isRusk = extractBasicRobotType(record) == ZK_ROBOT_RUSK;
    robotMode = !isRusk ? bits(record, kMode) : bits(record, kRuskIsApplication) ? kModeApplication : kModeBootloader;
    robotType = extractRobotType(record, robotMode);
    parseName(record, localName, nameLength);
    version[kFirmwareMajor] = record.bytes[kVersionAt + 2];
    version[kFirmwareMinor] = record.bytes[kVersionAt + 1];
    version[kFirmwareSubMinor] = record.bytes[kVersionAt];
    version[kResourceVersion] = record.bytes[kResourceAt];
    batteryLevel = extractBatteryLevel(record, robotType);
    chargeMode = extractChargeMode(record, robotType);
    serialNumber = extractSerialNumber(record, robotType);
    if (isRusk) {
        parseRusk(record);
    } else {
        parseOrvikFamily(record);
    }
}

// The rest of the name follows what was advertised of it, up to the first zero byte.
void AdvertisementData::parseName(const Record& record, const char* localName, size_t length)
{
    char buffer[kLocalNameBytes + kNameRestBytes + 1] = {};
    const size_t advertised = localName != nullptr ? std::min(length, kLocalNameBytes) : 0;
    if (advertised > 0) {
        std::memcpy(buffer, localName, advertised);
    }
    if (robotMode == kModeApplication) {
        std::memcpy(buffer + advertised, record.bytes + kNameRestAt, kNameRestBytes);
    }
    name = buffer;
}

void AdvertisementData::parseOrvikFamily(const Record& record)
{
    const bool isApplication = robotMode == kModeApplication;
    const uint8_t animation = bits(record, kQuiet) != 0 ? kQuietAnimation : bits(record, kAnimationV2);
    version[kPersonalityColor] = isApplication ? bits(record, kColorV1) : 0;
    version[kPersonalityAnimation] = isApplication ? animation : 0;
    flagA = bits(record, kFlagA) != 0;
    flagB = bits(record, kFlagB) != 0;
    isCharging = bits(record, kOrvikCharging) != 0;
    localeId = record.bytes[kLocaleAt];

    const uint8_t color = record.bytes[kShellColorAt];
    const uint8_t avatar = record.bytes[kAvatarAt];
    const bool isQuill = robotType == ZK_ROBOT_QUILL;
    shellColor = isQuill && color >= 1 && color <= 4 ? color : 0;
    avatarId = isQuill && avatar <= 4 ? avatar : kNoAvatar;
    hardwareMinorVersion = robotType == ZK_ROBOT_ORVIK ? record.bytes[kHardwareAt] : 0;
    const uint8_t* id = record.bytes + kIdAt;
    uniqueId = ZKHAL::formatted("%02X%02X%02X", id[0], id[1], id[2]);

    hasBackupImage = false;
    wifiStatus = updateStatus = 0;
    batteryVoltage = 0;
}

void AdvertisementData::parseRusk(const Record& record)
{
    version[kPersonalityColor] = version[kPersonalityAnimation] = 0;
    flagA = bits(record, kRuskR3) != 0;
    flagB = false;
    isCharging = chargeMode == 1;
    localeId = record.bytes[kRuskLocaleAt];
    shellColor = 0;
    avatarId = kNoAvatar;
    hardwareMinorVersion = 0;
    uniqueId = serialNumber;
    hasBackupImage = bits(record, kRuskR4) != 0;
    wifiStatus = bits(record, kRuskR2);
    updateStatus = bits(record, kRuskR1);
    batteryVoltage = bits(record, kRuskR5);
}

void setAvatarId(brio_advdata_manuf_data_t& record, unsigned avatarId)
{
    record.bytes[kAvatarAt] = static_cast<uint8_t>(avatarId & 0xFF);
}

}  // namespace Kestrel
