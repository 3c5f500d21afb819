#include "Host/BluezErrors.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace Host::Bluez {

namespace {

constexpr size_t kLongestText = 200;

struct ErrorRow {
    const char* name;  // of an error on the bus; one that ends in a dot stands for all that begin so
    ErrorCode code;
    const char* words;
    const char* hint;
};
constexpr char kStartDaemon[] = "systemctl start bluetooth; Debian package bluez";
constexpr char kNoDaemon[] = "the Bluetooth service is not running";
constexpr ErrorRow kErrors[] = {
    {"org.freedesktop.DBus.Error.ServiceUnknown", ErrorCode::NoDaemon, kNoDaemon, kStartDaemon},
    {"org.freedesktop.DBus.Error.NameHasNoOwner", ErrorCode::NoDaemon, kNoDaemon, kStartDaemon},
    {"org.freedesktop.DBus.Error.Spawn.", ErrorCode::NoDaemon, kNoDaemon, kStartDaemon},
    {"org.freedesktop.systemd1.", ErrorCode::NoDaemon, kNoDaemon, kStartDaemon},
    {"org.freedesktop.DBus.Error.Disconnected", ErrorCode::NoDaemon, "the connection to D-Bus is broken",
     "systemctl status dbus"},
    {"org.freedesktop.DBus.Error.AccessDenied", ErrorCode::NotPermitted, "this user may not use Bluetooth",
     "sudo adduser $USER bluetooth, then log in again"},
    {"org.bluez.Error.NotAuthorized", ErrorCode::NotPermitted, "BlueZ does not let this user do that",
     "sudo adduser $USER bluetooth, then log in again; or a polkit rule for org.bluez"},
    {"org.bluez.Error.NotReady", ErrorCode::AdapterOff, "the Bluetooth adapter is off", "bluetoothctl power on"},
    {"org.bluez.Error.Blocked", ErrorCode::AdapterBlocked, "Bluetooth is blocked", "rfkill unblock bluetooth"},
    {"org.bluez.Error.NotConnected", ErrorCode::Lost, "the connection is lost", ""},
};

const ErrorRow* findRow(const std::string& name)
{
    for (const ErrorRow& row : kErrors) {
        const size_t length = std::strlen(row.name);
        const bool isPrefix = row.name[length - 1] == '.';
        if (isPrefix ? name.compare(0, length, row.name) == 0 : name == row.name) {
            return &row;
        }
    }
    return nullptr;
}

std::string firstLine(const std::filesystem::path& path)
{
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

enum class Blocked { No, Softly, Hard };

// name "": any adapter.
Blocked blockedBy(const std::string& folder, const std::string& name)
{
    Blocked blocked = Blocked::No;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
        if (firstLine(entry.path() / "type") != "bluetooth" ||
            (!name.empty() && firstLine(entry.path() / "name") != name)) {
            continue;
        }
        if (firstLine(entry.path() / "hard") == "1") {
            return Blocked::Hard;
        }
        blocked = firstLine(entry.path() / "soft") == "1" ? Blocked::Softly : blocked;
    }
    return blocked;
}

Error whyBlocked(Blocked blocked)
{
    return blocked == Blocked::Hard
               ? Error{ErrorCode::AdapterBlocked, "Bluetooth is switched off by a switch of the machine",
                       "turn the switch or key for wireless on"}
               : Error{ErrorCode::AdapterBlocked, "Bluetooth is blocked by rfkill", "rfkill unblock bluetooth"};
}

}  // namespace

std::string printable(const std::string& text)
{
    std::string clean = text.substr(0, kLongestText);
    for (char& c : clean) {
        c = c >= ' ' && c <= '~' ? c : '?';
    }
    return clean;
}

bool isUnknownObject(const BusError& error)
{
    return error.name == "org.freedesktop.DBus.Error.UnknownObject" ||
           error.name == "org.freedesktop.DBus.Error.UnknownMethod" || error.name == "org.bluez.Error.DoesNotExist";
}

bool isInProgress(const BusError& error)
{
    return error.name == "org.bluez.Error.InProgress";
}

bool isFinal(ErrorCode code)
{
    return code == ErrorCode::NoDaemon || code == ErrorCode::NotPermitted || code == ErrorCode::AdapterOff ||
           code == ErrorCode::AdapterBlocked || code == ErrorCode::NoAdapter;
}

Error whyOff(const std::string& name, const std::string& rfkillFolder)
{
    const Blocked blocked = blockedBy(rfkillFolder, name);
    return blocked != Blocked::No ? whyBlocked(blocked)
                                  : Error{ErrorCode::AdapterOff, "the Bluetooth adapter " + printable(name) + " is off",
                                          "bluetoothctl power on"};
}

Error whyNoAdapter(const std::string& wanted, const std::string& present, const std::string& rfkillFolder)
{
    if (!present.empty()) {
        return {ErrorCode::NoAdapter, "there is no Bluetooth adapter " + printable(wanted),
                "there is: " + printable(present)};
    }
    // A blocked adapter may be off the list altogether.
    const Blocked blocked = blockedBy(rfkillFolder, "");
    return blocked != Blocked::No ? whyBlocked(blocked)
                                  : Error{ErrorCode::NoAdapter, "this machine has no Bluetooth adapter",
                                          "plug one in; bluetoothctl list shows those that work"};
}

Error explain(const BusError& error, const std::string& what, ErrorCode otherwise)
{
    if (const ErrorRow* const row = findRow(error.name)) {
        return {row->code, row->words, row->hint};
    }
    const std::string reason = printable(error.text.empty() ? error.name : error.text);
    return {otherwise, what + ": " + reason, ""};
}

}  // namespace Host::Bluez
