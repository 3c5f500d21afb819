#include "Host/ManagementSocket.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

namespace Host {

namespace {

// As the kernel counts; the headers with these names belong to a library that is not needed for anything else.
constexpr int kBluetoothFamily = 31, kHciProtocol = 1;
constexpr uint16_t kNoDevice = 0xFFFF, kControlChannel = 3;
struct HciAddress {
    sa_family_t family;
    uint16_t device, channel;
};

// A packet: command or event, adapter and length of the rest in 16 bits each, low byte first, then the rest.
constexpr size_t kHeaderBytes = 6, kLongestPacket = 4096;
constexpr uint16_t kCommandComplete = 1, kCommandStatus = 2;
constexpr size_t kReplyBytes = 3;  // the command and its status

struct StatusRow {
    uint8_t status;
    ErrorCode code;
    const char* words;
    const char* hint;
};
constexpr StatusRow kStatuses[] = {
    {0x0A, ErrorCode::Failed, "the adapter is busy", "try again"},
    {0x0C, ErrorCode::NotSupported, "the adapter cannot do that", ""},
    {0x0D, ErrorCode::Failed, "the kernel does not take the advertisement", ""},
    {0x0F, ErrorCode::AdapterOff, "the Bluetooth adapter is off", "bluetoothctl power on"},
    {0x11, ErrorCode::NoAdapter, "there is no such Bluetooth adapter", "bluetoothctl list shows those that work"},
    {0x12, ErrorCode::AdapterBlocked, "Bluetooth is blocked by rfkill", "rfkill unblock bluetooth"},
    {0x14, ErrorCode::NotPermitted, "only an administrator may send advertisements of any content",
     "run as root, or: sudo setcap cap_net_admin+ep on this program"},
};

Error errorOf(uint8_t status)
{
    if (status == 0) {
        return {};
    }
    for (const StatusRow& row : kStatuses) {
        if (row.status == status) {
            return {row.code, row.words, row.hint};
        }
    }
    return {ErrorCode::Failed, "the kernel refuses with status " + std::to_string(status), ""};
}

uint16_t littleEndian16(const uint8_t* bytes)
{
    return static_cast<uint16_t>(bytes[0] | bytes[1] << 8);
}

void put16(uint8_t* bytes, uint16_t value)
{
    bytes[0] = static_cast<uint8_t>(value & 0xFF);
    bytes[1] = static_cast<uint8_t>(value >> 8);
}

}  // namespace

std::unique_ptr<ManagementSocket> ManagementSocket::open(Error& error)
{
    const int descriptor = socket(kBluetoothFamily, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, kHciProtocol);
    std::unique_ptr<ManagementSocket> opened(descriptor < 0 ? nullptr : new ManagementSocket(descriptor));
    const HciAddress address = {kBluetoothFamily, kNoDevice, kControlChannel};
    sockaddr_storage storage = {};
    std::memcpy(&storage, &address, sizeof address);
    if (!opened || bind(descriptor, reinterpret_cast<const sockaddr*>(&storage), sizeof address) != 0) {
        const bool isForbidden = errno == EPERM || errno == EACCES;
        error = isForbidden ? errorOf(0x14)
                            : Error{ErrorCode::NoAdapter, "this kernel has no Bluetooth here", "modprobe bluetooth"};
        return nullptr;
    }
    return opened;
}

ManagementSocket::~ManagementSocket()
{
    close(mSocket);
}

void ManagementSocket::call(uint16_t command, uint16_t adapter, std::vector<uint8_t> parameters, OnReply onReply)
{
    mCalls.push_back({command, adapter, std::move(parameters), std::move(onReply)});
    if (mCalls.size() == 1) {
        sendNext();
    }
}

void ManagementSocket::tell(uint16_t command, uint16_t adapter, const std::vector<uint8_t>& parameters)
{
    send(command, adapter, parameters);
}

int ManagementSocket::send(uint16_t command, uint16_t adapter, const std::vector<uint8_t>& parameters)
{
    std::vector<uint8_t> packet(kHeaderBytes);
    put16(packet.data(), command);
    put16(packet.data() + 2, adapter);
    put16(packet.data() + 4, static_cast<uint16_t>(parameters.size()));
    packet.insert(packet.end(), parameters.begin(), parameters.end());
    // The kernel takes packets whole; of one that it refuses it says 0 bytes, and the reason in a reply.
    return write(mSocket, packet.data(), packet.size()) >= 0 ? 0 : errno;
}

void ManagementSocket::sendNext()
{
    const Call& next = mCalls.front();
    const int problem = send(next.command, next.adapter, next.parameters);
    if (problem != 0) {
        mProblem = {ErrorCode::Failed, std::string("the kernel takes no Bluetooth commands: ") + std::strerror(problem),
                    ""};
    }
}

void ManagementSocket::process()
{
    // Bounded, in case that something on this machine makes events faster than they are read.
    constexpr int kMostAtOnce = 100;
    while (mProblem && !mCalls.empty()) {
        finish(std::exchange(mProblem, {}), {});
    }
    uint8_t packet[kLongestPacket];
    for (int i = 0; i < kMostAtOnce; ++i) {
        const ssize_t length = read(mSocket, packet, sizeof packet);
        if (length <= 0) {
            return;
        }
        take(packet, static_cast<size_t>(length));
    }
}

void ManagementSocket::take(const uint8_t* packet, size_t length)
{
    if (length < kHeaderBytes + kReplyBytes || mCalls.empty()) {
        return;
    }
    const uint16_t event = littleEndian16(packet), adapter = littleEndian16(packet + 2);
    const uint8_t* const reply = packet + kHeaderBytes;
    const Call& call = mCalls.front();
    if ((event == kCommandComplete || event == kCommandStatus) && adapter == call.adapter &&
        littleEndian16(reply) == call.command) {
        finish(errorOf(reply[2]), {reply + kReplyBytes, packet + length});
    }
}

void ManagementSocket::finish(const Error& error, const std::vector<uint8_t>& parameters)
{
    const OnReply onReply = std::move(mCalls.front().onReply);
    mCalls.pop_front();
    if (!mCalls.empty()) {
        sendNext();
    }
    onReply(error, parameters);
}

pollfd ManagementSocket::descriptor() const
{
    return {mSocket, POLLIN, 0};
}

}  // namespace Host
