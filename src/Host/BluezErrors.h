// What goes wrong between this program and BlueZ, in words for people.
#pragma once

#include <string>

#include "Host/BusMessage.h"
#include "Host/Error.h"

namespace Host::Bluez {

/** Without control characters and no longer than a line: others may send any text. */
std::string printable(const std::string& text);

/** True when a call failed because its object has gone. */
bool isUnknownObject(const BusError& error);
bool isInProgress(const BusError& error);
/** True when trying again does not help: not permitted, nobody there, adapter off. */
bool isFinal(ErrorCode code);

/** Why an adapter is not on: rfkill, or nobody switched it on. name is "hci0". */
Error whyOff(const std::string& name, const std::string& rfkillFolder);
/** With no adapter to use. wanted may be "". */
Error whyNoAdapter(const std::string& wanted, const std::string& present, const std::string& rfkillFolder);

/** what: "connecting failed"; otherwise: the code when the error's name says nothing more. */
Error explain(const BusError& error, const std::string& what, ErrorCode otherwise);

}  // namespace Host::Bluez
