// Robots over the machine's own Bluetooth, by way of BlueZ.
#pragma once

#include <memory>
#include <string>

#include "Host/Error.h"
#include "Host/Transport.h"

namespace Host {

struct BluezOptions {
    std::string adapter = {};           // "hci0" or an address; "": the first that is powered
    double connectTimeoutSeconds = 20;  // to see a robot and connect to it; the same again to learn its services
    std::string rfkillFolder = "/sys/class/rfkill";
};

/**
 * Waits for the daemon's first answer, some milliseconds as a rule. Null when there is no adapter to use: error says
 * why. An adapter that goes, or is switched off, later on is told with onFailed(), and used again when it is back.
 */
std::unique_ptr<Transport> makeBluezTransport(const BluezOptions& options, Error& error);

}  // namespace Host
