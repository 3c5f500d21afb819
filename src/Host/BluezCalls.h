// Calls to BlueZ: only so many are open at a time, because dbus-daemon refuses more than 128.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "Host/Bus.h"
#include "Host/Error.h"
#include "Host/Transport.h"

namespace Host::Bluez {

/** Its calls' replies are told while this lives; calls that wait yet are not made any more. */
using CallOwner = std::shared_ptr<int>;

class Calls {
public:
    static constexpr size_t kMostOpen = 96, kMostOpenWrites = 64;

    explicit Calls(Bus& bus) : mBus(bus) {}

    BusMessage newCall(const std::string& path, const char* interface, const char* method);
    void call(BusMessage message, const CallOwner& owner, Bus::Handler onReply, double timeoutSeconds);
    /** Without an answer, and at once. */
    void tell(const std::string& path, const char* interface, const char* method);

private:
    struct Waiting {
        BusMessage message;
        std::weak_ptr<int> owner;
        Bus::Handler onReply;
        double timeoutSeconds;
    };

    void makeNext();

    Bus& mBus;
    std::deque<Waiting> mWaiting;
    std::map<uint64_t, BusSlot> mOpen;
    uint64_t mNextCall = 0;
};

/** What is to be told from poll(). */
using Events = std::deque<std::function<void(TransportListener&)>>;

/** What all links of a radio have in common. */
struct Air {
    Bus& bus;
    Calls calls{bus};
    Events events = {};
    std::function<double()> now = {};  // seconds
    double connectTimeoutSeconds = 20;
    std::function<Error()> whyOff = {};  // the adapter that is used
    size_t connectedLinks = 0;
};

}  // namespace Host::Bluez
