// Puts a robot's advertisement on the air.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Host/Bus.h"
#include "Host/Error.h"

struct pollfd;

namespace Host::Bluez {

struct Advertised {
    std::vector<uint8_t> manufacturerData;
    std::string name;
};

/** Sends one advertisement over and over until it is destroyed. Nothing waits. */
class Advertiser {
public:
    /** For each advertise() whose content has gone out or cannot: without a code when all is well. */
    using OnDone = std::function<void(const Error& error)>;

    Advertiser() = default;
    virtual ~Advertiser() = default;
    Advertiser(const Advertiser&) = delete;
    Advertiser& operator=(const Advertiser&) = delete;

    /** Instead of what was advertised before. Of several in a row the last one counts. */
    virtual void advertise(const Advertised& content) = 0;
    virtual void process() {}
    virtual std::vector<pollfd> descriptors() const;
};

/**
 * By the kernel, with all that robots advertise: flags and manufacturer data, service and name in the scan response.
 * adapter: "hci0". Null, and error says why, where that cannot be; NotPermitted may also come later.
 */
std::unique_ptr<Advertiser> makeKernelAdvertiser(const std::string& adapter, const std::string& service,
                                                 Advertiser::OnDone onDone, Error& error);

/** By BlueZ's daemon, which refuses manufacturer data, service and name together as too long: without the service. */
std::unique_ptr<Advertiser> makeDaemonAdvertiser(Bus& bus, const std::string& adapterPath, Advertiser::OnDone onDone);

/**
 * Flags and manufacturer data; service and name. Empty when they are longer than the 31 bytes that either may have, or
 * the service is no UUID of 128 bits.
 */
std::vector<uint8_t> advertisingBytes(const std::vector<uint8_t>& manufacturerData);
std::vector<uint8_t> scanResponseBytes(const std::string& service, const std::string& name);

}  // namespace Host::Bluez
