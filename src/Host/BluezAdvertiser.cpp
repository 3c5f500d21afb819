#include "Host/BluezAdvertiser.h"

#include <poll.h>

#include <algorithm>
#include <utility>

#include "Host/BluezErrors.h"
#include "Host/BluezNames.h"
#include "Host/BusTree.h"
#include "Host/ManagementSocket.h"

namespace Host::Bluez {

namespace {

constexpr size_t kMostAdvertisedBytes = 31;
constexpr uint8_t kTypeFlags = 0x01, kTypeServices128 = 0x07, kTypeName = 0x09, kTypeManufacturer = 0xFF;
// Discoverable, and LE only: seeing anything else, centrals try the other kind of connection to a dual-mode adapter.
constexpr uint8_t kFlags = 0x02 | 0x04;

void addField(std::vector<uint8_t>& bytes, uint8_t type, const std::vector<uint8_t>& content)
{
    bytes.push_back(static_cast<uint8_t>(content.size() + 1));
    bytes.push_back(type);
    bytes.insert(bytes.end(), content.begin(), content.end());
}

int hexDigit(char c)
{
    return c >= '0' && c <= '9'   ? c - '0'
           : c >= 'A' && c <= 'F' ? c - 'A' + 10
           : c >= 'a' && c <= 'f' ? c - 'a' + 10
                                  : -1;
}

// On the air a UUID goes out with its last byte first. Empty for a text that is none.
std::vector<uint8_t> airBytes(const std::string& uuid)
{
    std::vector<uint8_t> bytes;
    std::string digits = uuid;
    digits.erase(std::remove(digits.begin(), digits.end(), '-'), digits.end());
    for (size_t i = digits.size(); i >= 2; i -= 2) {
        const int high = hexDigit(digits[i - 2]), low = hexDigit(digits[i - 1]);
        if (high < 0 || low < 0) {
            return {};
        }
        bytes.push_back(static_cast<uint8_t>(high << 4 | low));
    }
    return bytes.size() == 16 ? bytes : std::vector<uint8_t>();
}

// ---- By the kernel -----------------------------------------------------------------------------------------------

constexpr uint16_t kReadAdvertisingFeatures = 0x003D, kAddAdvertising = 0x003E, kRemoveAdvertising = 0x003F;
constexpr size_t kMostInstancesAt = 6;  // in the reply, behind flags and two lengths
constexpr uint8_t kConnectable = 0x01;

class KernelAdvertiser final : public Advertiser {
public:
    KernelAdvertiser(std::unique_ptr<ManagementSocket> socket, uint16_t adapter, std::string service, OnDone onDone)
        : mSocket(std::move(socket)), mAdapter(adapter), mService(std::move(service)), mOnDone(std::move(onDone))
    {
        // BlueZ's daemon takes the lowest free instances: the highest one meets none of its own.
        mSocket->call(kReadAdvertisingFeatures, mAdapter, {}, [this](const Error& error, const auto& features) {
            mIsBusy = false;
            if (error) {
                mOnDone(error);
            } else if (features.size() <= kMostInstancesAt || features[kMostInstancesAt] == 0) {
                mOnDone({ErrorCode::NotSupported, "the adapter cannot advertise", ""});
            } else {
                mInstance = features[kMostInstancesAt];
                sendNewest();
            }
        });
    }

    ~KernelAdvertiser() override
    {
        // The kernel would go on without this program.
        if (mInstance != 0) {
            mSocket->tell(kRemoveAdvertising, mAdapter, {mInstance});
        }
    }

    void advertise(const Advertised& content) override
    {
        mNewest = content;
        mHasNewest = true;
        sendNewest();
    }

    void process() override
    {
        mSocket->process();
    }

    std::vector<pollfd> descriptors() const override
    {
        return {mSocket->descriptor()};
    }

private:
    void sendNewest()
    {
        if (mIsBusy || mInstance == 0 || !mHasNewest) {
            return;
        }
        mHasNewest = false;
        const std::vector<uint8_t> data = advertisingBytes(mNewest.manufacturerData);
        const std::vector<uint8_t> response = scanResponseBytes(mService, mNewest.name);
        if (data.empty() || response.empty()) {
            mOnDone({ErrorCode::Failed, "the advertisement is too long", ""});
            return;
        }
        // Instance, flags (four bytes), no limit of its turn and none of its life (two bytes each), two lengths.
        std::vector<uint8_t> parameters = {mInstance,
                                           kConnectable,
                                           0,
                                           0,
                                           0,
                                           0,
                                           0,
                                           0,
                                           0,
                                           static_cast<uint8_t>(data.size()),
                                           static_cast<uint8_t>(response.size())};
        parameters.insert(parameters.end(), data.begin(), data.end());
        parameters.insert(parameters.end(), response.begin(), response.end());
        mIsBusy = true;
        mSocket->call(kAddAdvertising, mAdapter, std::move(parameters), [this](const Error& error, const auto&) {
            mIsBusy = false;
            sendNewest();
            mOnDone(error);
        });
    }

    const std::unique_ptr<ManagementSocket> mSocket;
    const uint16_t mAdapter;
    const std::string mService;
    const OnDone mOnDone;
    uint8_t mInstance = 0;
    bool mIsBusy = true, mHasNewest = false;
    Advertised mNewest;
};

// ---- By the daemon -----------------------------------------------------------------------------------------------

constexpr char kAdvertisement[] = "org.bluez.LEAdvertisement1", kManager[] = "org.bluez.LEAdvertisingManager1";
constexpr char kRoot[] = "/zkhal/advertisement";

class DaemonAdvertiser final : public Advertiser {
public:
    DaemonAdvertiser(Bus& bus, std::string adapterPath, OnDone onDone)
        : mBus(bus), mAdapterPath(std::move(adapterPath)), mOnDone(std::move(onDone)), mTree(bus, kRoot)
    {
    }

    void advertise(const Advertised& content) override
    {
        const std::vector<uint8_t>& data = content.manufacturerData;
        if (data.size() < 2) {
            mOnDone({ErrorCode::Failed, "the advertisement is too short", ""});
            return;
        }
        // BlueZ takes the first two bytes for the number of a company.
        const auto company = static_cast<uint16_t>(data[0] | data[1] << 8);
        const BusProperties properties = {
            {"Type", std::string("peripheral")},
            {"ManufacturerData", BytesByCompany{{company, Bytes(data.begin() + 2, data.end())}}},
            {"LocalName", content.name},
            {"Discoverable", true},
        };
        if (mIsRegistered) {
            mTree.change(kRoot, kAdvertisement, properties);
            return;
        }
        mIsRegistered = true;
        BusInterface interface;
        interface.properties = properties;
        interface.methods["Release"] = [this](BusMessage& call) { mBus.reply(call); };
        mTree.add(kRoot, {{kAdvertisement, interface}});
        BusMessage call = mBus.newCall(Bluez::kService, mAdapterPath, kManager, "RegisterAdvertisement");
        call.append(BusValue(ObjectPath{kRoot})).append(BusProperties());
        mRegistering = mBus.call(call, [this](BusMessage& reply) {
            const BusError error = reply.error();
            mOnDone(error ? explain(error, "the advertisement is refused", ErrorCode::Failed) : Error());
        });
    }

private:
    Bus& mBus;
    const std::string mAdapterPath;
    const OnDone mOnDone;
    BusTree mTree;
    BusSlot mRegistering;
    bool mIsRegistered = false;
};

}  // namespace

std::vector<pollfd> Advertiser::descriptors() const
{
    return {};
}

std::unique_ptr<Advertiser> makeKernelAdvertiser(const std::string& adapter, const std::string& service,
                                                 Advertiser::OnDone onDone, Error& error)
{
    constexpr unsigned kMostAdapters = 0xFFFF;
    const std::string number = adapter.compare(0, 3, "hci") == 0 ? adapter.substr(3) : "";
    unsigned index = 0;
    for (const char c : number) {
        index =
            c >= '0' && c <= '9' && index < kMostAdapters ? index * 10 + static_cast<unsigned>(c - '0') : kMostAdapters;
    }
    if (number.empty() || index >= kMostAdapters) {
        error = {ErrorCode::NotSupported, "the kernel does not know the adapter " + printable(adapter), ""};
        return nullptr;
    }
    std::unique_ptr<ManagementSocket> socket = ManagementSocket::open(error);
    if (!socket) {
        return nullptr;
    }
    return std::make_unique<KernelAdvertiser>(std::move(socket), static_cast<uint16_t>(index), service,
                                              std::move(onDone));
}

std::unique_ptr<Advertiser> makeDaemonAdvertiser(Bus& bus, const std::string& adapterPath, Advertiser::OnDone onDone)
{
    return std::make_unique<DaemonAdvertiser>(bus, adapterPath, std::move(onDone));
}

std::vector<uint8_t> advertisingBytes(const std::vector<uint8_t>& manufacturerData)
{
    std::vector<uint8_t> bytes;
    addField(bytes, kTypeFlags, {kFlags});
    addField(bytes, kTypeManufacturer, manufacturerData);
    return bytes.size() <= kMostAdvertisedBytes ? bytes : std::vector<uint8_t>();
}

std::vector<uint8_t> scanResponseBytes(const std::string& service, const std::string& name)
{
    std::vector<uint8_t> bytes;
    const std::vector<uint8_t> uuid = airBytes(service);
    addField(bytes, kTypeServices128, uuid);
    addField(bytes, kTypeName, {name.begin(), name.end()});
    return !uuid.empty() && bytes.size() <= kMostAdvertisedBytes ? bytes : std::vector<uint8_t>();
}

}  // namespace Host::Bluez
