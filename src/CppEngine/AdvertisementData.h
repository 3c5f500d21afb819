// What a robot's Bluetooth advertisement says about it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "HAL/RobotHardware/Battery.h"
#include "ZKHAL/ZKExport.h"

namespace Kestrel {

constexpr size_t kManufacturerBytes = 26;

/** The manufacturer-specific data of an advertisement, zero behind what was received. */
struct brio_advdata_manuf_data_t {
    uint8_t bytes[kManufacturerBytes];
};

constexpr uint32_t kNoAvatar = 255;
constexpr uint32_t kModeBootloader = 1, kModeApplication = 3;

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

/** The parsed fields; before any parse nothing is known. What a family of robots does not have is 0, false or "". */
class ZK_API AdvertisementData {
public:
    std::string name;        // at most 20 bytes
    uint32_t robotMode = 0;  // as read: 1 bootloader, 3 application
    uint32_t robotType = 0;  // code of ZKHAL/ZKRobotType.h
    uint32_t avatarId = kNoAvatar;
    uint32_t shellColor = 0;
    uint8_t version[kVersionBytes] = {};
    uint32_t batteryLevel = kUnknownLevel;
    uint32_t chargeMode = kUnknownLevel;
    uint8_t localeId = 0;  // index of the language table
    std::string uniqueId;
    uint8_t hardwareMinorVersion = 0;  // Orvik only
    bool flagA = false;                // crash dumps
    bool flagB = false;                // button pressed
    bool isCharging = false;
    // Rusk only.
    bool hasBackupImage = false;
    uint32_t wifiStatus = 0;
    uint32_t updateStatus = 0;
    uint8_t batteryVoltage = 0;
    std::string serialNumber;

    /**
     * Reads one scan report.
     * data, dataLength   manufacturer data, at most 26 bytes; missing bytes count as zero
     * name, nameLength   advertised local name, of which 11 bytes count; may be null
     * Returns false, with parseErrorMessage() and all fields as they were, when data is null or too long.
     */
    bool parse(const char* data, size_t dataLength, const char* name, size_t nameLength);

    /** Of the last parse that failed. */
    const std::string& parseErrorMessage() const
    {
        return mParseError;
    }

private:
    void parseRecord(const brio_advdata_manuf_data_t& record, const char* localName, size_t nameLength);
    void parseName(const brio_advdata_manuf_data_t& record, const char* localName, size_t length);
    void parseOrvikFamily(const brio_advdata_manuf_data_t& record);
    void parseRusk(const brio_advdata_manuf_data_t& record);

    std::string mParseError;
};

/** Writes the avatar id into a record. */
ZK_API void setAvatarId(brio_advdata_manuf_data_t& record, unsigned avatarId);

}  // namespace Kestrel
