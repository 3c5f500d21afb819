// What BlueZ has told of one device.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Host/BusMessage.h"
#include "Host/Transport.h"

namespace Host::Bluez {

/**
 * The manufacturer data of an advertisement, out of BlueZ's dictionary. BlueZ takes the first two bytes for a company,
 * but robots begin with their state there: each state is another company, and old ones may stay behind. before is the
 * dictionary of the time before, last what was picked from it.
 */
Bytes pickManufacturerData(const BytesByCompany& now, const BytesByCompany& before, const Bytes& last);

struct Device {
    RobotRef robot = 0;
    std::string address;  // its id: "DE:CA:00:12:34:56"
    std::string path;     // "" while BlueZ has forgotten it
    std::string name;     // as advertised
    BytesByCompany byCompany;
    Bytes data;
    bool hasService = false;
    std::optional<int16_t> rssi;
    double seenAt = 0;  // seconds of the transport
    bool isConnected = false, isResolved = false;

    struct Attribute {
        std::string uuid;
        std::string service;  // path
    };
    std::map<std::string, std::string> services;            // UUID by path
    std::map<std::string, Attribute> characteristics = {};  // by path

    /**
     * Takes what has changed, of any types. True when it is news of an advertisement. The name counts only while nobody
     * is connected: it may turn into that of the connection's own services then.
     */
    bool update(const BusProperties& changed, bool isNameFixed);
    void addService(const std::string& at, const BusProperties& properties);
    void addCharacteristic(const std::string& at, const BusProperties& properties);
    /** BlueZ has forgotten it. */
    void forgetPath();

    /** It advertises like one. */
    bool mayBeRobot() const;
    Advertisement advertisement() const;
    std::vector<Characteristic> listCharacteristics() const;
    /** "" when there is none. */
    std::string pathOf(const std::string& uuid) const;
};

}  // namespace Host::Bluez
