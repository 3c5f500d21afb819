#include "Host/BluezDevice.h"

#include <algorithm>
#include <tuple>

namespace Host::Bluez {

namespace {

constexpr size_t kRecordSize = 26, kFamilyByte = 1;
constexpr size_t kLongestField = 255, kLongestName = 248;  // of an advertisement
constexpr int16_t kUnknownRssi = 127;                      // of a controller that does not measure
constexpr size_t kMostCompanies = 64, kMostAttributes = 256;

const char* const kServices[] = {
    "AF237777-879D-6186-1F49-DECA0E85D9C1",
    "AF237778-879D-6186-1F49-DECA0E85D9C1",
    "AF237779-879D-6186-1F49-DECA0E85D9C1",
};

Bytes wholeField(uint16_t company, const Bytes& rest)
{
    if (rest.size() == kRecordSize) {
        return rest;
    }
    Bytes field = {static_cast<uint8_t>(company & 0xFF), static_cast<uint8_t>(company >> 8)};
    field.insert(field.end(), rest.begin(), rest.end());
    return field;
}

bool looksLikeRobot(const Bytes& field)
{
    return field.size() == kRecordSize && field[kFamilyByte] >= 1 && field[kFamilyByte] <= 4;
}

bool hasRobotService(const std::vector<std::string>& uuids)
{
    return std::any_of(uuids.begin(), uuids.end(), [](const std::string& uuid) {
        const std::string upper = canonicalUuid(uuid);
        return std::find(std::begin(kServices), std::end(kServices), upper) != std::end(kServices);
    });
}

}  // namespace

Bytes pickManufacturerData(const BytesByCompany& now, const BytesByCompany& before, const Bytes& last)
{
    Bytes best;
    std::tuple<bool, bool, bool> bestRank;
    for (const auto& entry : now) {
        if (entry.second.size() > kLongestField) {
            continue;
        }
        Bytes field = wholeField(entry.first, entry.second);
        const bool isNew = std::find(before.begin(), before.end(), entry) == before.end();
        const auto rank = std::make_tuple(looksLikeRobot(field), isNew, field == last);
        // BlueZ appends: of equals, the one behind is the newer.
        if (best.empty() || rank >= bestRank) {
            best = std::move(field);
            bestRank = rank;
        }
    }
    return best;
}

bool Device::update(const BusProperties& changed, bool isNameFixed)
{
    bool isNews = false;
    if (const auto* const connected = find<bool>(changed, "Connected")) {
        isConnected = *connected;
    }
    if (const auto* const resolved = find<bool>(changed, "ServicesResolved")) {
        isResolved = *resolved;
    }
    const auto* const advertised = find<std::string>(changed, "Name");
    if (advertised && !isNameFixed && (name.empty() || !isConnected)) {
        isNews = true;
        name = advertised->substr(0, kLongestName);
    }
    if (const auto* const strength = find<int16_t>(changed, "RSSI")) {
        isNews = true;
        rssi = *strength != kUnknownRssi ? std::optional<int16_t>(*strength) : std::nullopt;
    }
    if (const auto* const uuids = find<std::vector<std::string>>(changed, "UUIDs")) {
        isNews = isNews || !isNameFixed;
        hasService = hasService || hasRobotService(*uuids);
    }
    if (const auto* const dictionary = find<BytesByCompany>(changed, "ManufacturerData")) {
        isNews = true;
        BytesByCompany now(dictionary->begin(),
                           dictionary->begin() + static_cast<ptrdiff_t>(std::min(dictionary->size(), kMostCompanies)));
        data = pickManufacturerData(now, byCompany, data);
        byCompany = std::move(now);
    }
    return isNews;
}

void Device::addService(const std::string& at, const BusProperties& properties)
{
    const auto* const uuid = find<std::string>(properties, "UUID");
    if (uuid && (services.size() < kMostAttributes || services.count(at) > 0)) {
        services[at] = canonicalUuid(uuid->substr(0, kLongestName));
    }
}

void Device::addCharacteristic(const std::string& at, const BusProperties& properties)
{
    const auto* const uuid = find<std::string>(properties, "UUID");
    const auto* const service = find<ObjectPath>(properties, "Service");
    if (uuid && service && (characteristics.size() < kMostAttributes || characteristics.count(at) > 0)) {
        characteristics[at] = {canonicalUuid(uuid->substr(0, kLongestName)), service->path};
    }
}

void Device::forgetPath()
{
    path.clear();
    services.clear();
    characteristics.clear();
    byCompany.clear();
    rssi.reset();
    isConnected = isResolved = false;
}

bool Device::mayBeRobot() const
{
    return hasService || looksLikeRobot(data);
}

Advertisement Device::advertisement() const
{
    return {robot, address, name, data, hasService, rssi.has_value(), rssi.value_or(0)};
}

std::vector<Characteristic> Device::listCharacteristics() const
{
    std::vector<Characteristic> list;
    for (const auto& [at, characteristic] : characteristics) {
        const auto service = services.find(characteristic.service);
        list.push_back({service == services.end() ? "" : service->second, characteristic.uuid});
    }
    return list;
}

std::string Device::pathOf(const std::string& uuid) const
{
    const std::string upper = canonicalUuid(uuid);
    for (const auto& [at, characteristic] : characteristics) {
        if (characteristic.uuid == upper) {
            return at;
        }
    }
    return "";
}

}  // namespace Host::Bluez
