// What a robot's Bluetooth advertisement says about it.
#pragma once

#include <cstdint>
#include <string>

#include "ZKHAL/ZKExport.h"

namespace Kestrel {

constexpr uint32_t kUnknownLevel = 9999;  // battery level or charge mode that is not known
constexpr uint32_t kNoAvatar = 255;

// Places in AdvertisementData::version.
enum VersionByte {
    kFirmwareMajor,
    kFirmwareMinor,
    kFirmwareSubMinor,
    kResourceVersion,
    kPersonalityColor,      // three bits, 0 outside application mode
    kPersonalityAnimation,  // three bits, 0 outside application mode
    kVersionBytes
};

/** The parsed fields; before any parse, nothing is known. */
class ZK_API AdvertisementData {
public:
    std::string name;
    uint32_t robotMode = 0;  // 1 bootloader, 3 application
    uint32_t robotType = 0;  // code of ZKHAL/ZKRobotType.h
    uint32_t avatarId = kNoAvatar;
    uint32_t shellColor = 0;
    uint8_t version[kVersionBytes] = {};
    uint32_t batteryLevel = kUnknownLevel;
    uint32_t chargeMode = kUnknownLevel;
    uint8_t fieldNOrR6 = 0;  // byte 9 of Orvik, Pell and Quill, byte 8 of Rusk
    std::string uniqueId;
    uint8_t hardwareMinorVersion = 0;  // Orvik only
    bool flagA = false;                // of Rusk: field R3
    bool flagB = false;
    bool isCharging = false;
    // Rusk only.
    bool fieldR4 = false;
    uint32_t fieldR2 = 0;
    uint32_t fieldR1 = 0;
    uint8_t fieldR5 = 0;
    std::string serialNumber;

    std::string parseError;
};

}  // namespace Kestrel
