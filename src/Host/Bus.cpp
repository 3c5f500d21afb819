#include "Host/Bus.h"

#include <poll.h>
#include <systemd/sd-bus.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>

namespace Host {

namespace {

// Seconds to microseconds, within what the bus takes.
uint64_t microseconds(double seconds)
{
    return static_cast<uint64_t>(std::clamp(seconds, 0.001, 1e9) * 1e6);
}

Error whyNotOpen(int result)
{
    if (result == -EACCES || result == -EPERM) {
        return {ErrorCode::NotPermitted, "this user may not use the system's D-Bus", "run as a user of the machine"};
    }
    return {ErrorCode::NoDaemon, "there is no system D-Bus on this machine", "systemctl start dbus"};
}

}  // namespace

struct Bus::Callback {
    Bus* bus;
    Handler onMessage;
    CallHandler onCall;
};

BusSlot::~BusSlot()
{
    sd_bus_slot_unref(mSlot);
}

std::unique_ptr<Bus> Bus::openSystem(Error& error)
{
    sd_bus* bus = nullptr;
    const int result = sd_bus_open_system(&bus);
    if (result < 0) {
        error = whyNotOpen(result);
        return nullptr;
    }
    return std::unique_ptr<Bus>(new Bus(bus));
}

Bus::~Bus()
{
    // Slots may live longer, and hold what is left of the connection until then.
    sd_bus_close(mBus);
    sd_bus_unref(mBus);
}

BusMessage Bus::newCall(const std::string& service, const std::string& path, const char* interface, const char* method)
{
    sd_bus_message* message = nullptr;
    if (sd_bus_message_new_method_call(mBus, &message, service.c_str(), path.c_str(), interface, method) >= 0) {
        sd_bus_message_set_auto_start(message, 0);
    }
    return BusMessage(message);
}

BusMessage Bus::newSignal(const std::string& path, const char* interface, const char* member)
{
    sd_bus_message* message = nullptr;
    sd_bus_message_new_signal(mBus, &message, path.c_str(), interface, member);
    return BusMessage(message);
}

BusMessage Bus::newReply(const BusMessage& call)
{
    sd_bus_message* message = nullptr;
    if (call.get()) {
        sd_bus_message_new_method_return(call.get(), &message);
    }
    return BusMessage(message);
}

int Bus::onMessage(sd_bus_message* message, void* callback, void*)
{
    auto* const own = static_cast<Callback*>(callback);
    try {
        BusMessage shared = BusMessage::share(message);
        own->onMessage(shared);
    } catch (...) {
        own->bus->mThrown = std::current_exception();
    }
    return 0;
}

int Bus::onCall(sd_bus_message* message, void* callback, void*)
{
    auto* const own = static_cast<Callback*>(callback);
    try {
        BusMessage shared = BusMessage::share(message);
        return own->onCall(shared) ? 1 : 0;
    } catch (...) {
        own->bus->mThrown = std::current_exception();
        return -EIO;
    }
}

void Bus::onGone(void* callback)
{
    delete static_cast<Callback*>(callback);
}

BusSlot Bus::keep(int result, sd_bus_slot* slot, std::unique_ptr<Callback> callback)
{
    if (result < 0) {
        return {};
    }
    sd_bus_slot_set_destroy_callback(slot, onGone);
    callback.release();
    return BusSlot(slot);
}

BusSlot Bus::call(const BusMessage& message, Handler onReply, double timeoutSeconds)
{
    auto callback = std::make_unique<Callback>(Callback{this, std::move(onReply), {}});
    sd_bus_slot* slot = nullptr;
    const int result =
        message.get()
            ? sd_bus_call_async(
                  mBus, &slot, message.get(),
                  [](sd_bus_message* reply, void* user, sd_bus_error* error) { return onMessage(reply, user, error); },
                  callback.get(), microseconds(timeoutSeconds))
            : -EINVAL;
    if (result < 0) {
        mUnsent.push_back(std::move(callback->onMessage));
    }
    return keep(result, slot, std::move(callback));
}

bool Bus::send(const BusMessage& message)
{
    return message.get() && sd_bus_send(mBus, message.get(), nullptr) >= 0;
}

void Bus::reply(const BusMessage& call)
{
    send(newReply(call));
}

void Bus::replyError(const BusMessage& call, const char* name, const std::string& text)
{
    if (call.get()) {
        sd_bus_reply_method_errorf(call.get(), name, "%s", text.c_str());
    }
}

BusSlot Bus::match(const std::string& rule, Handler onSignal)
{
    auto callback = std::make_unique<Callback>(Callback{this, std::move(onSignal), {}});
    sd_bus_slot* slot = nullptr;
    const int result = sd_bus_add_match_async(
        mBus, &slot, rule.c_str(),
        [](sd_bus_message* signal, void* user, sd_bus_error* error) { return onMessage(signal, user, error); }, nullptr,
        callback.get());
    return keep(result, slot, std::move(callback));
}

BusSlot Bus::serve(const std::string& path, CallHandler onCallTo)
{
    auto callback = std::make_unique<Callback>(Callback{this, {}, std::move(onCallTo)});
    sd_bus_slot* slot = nullptr;
    const int result = sd_bus_add_fallback(
        mBus, &slot, path.c_str(),
        [](sd_bus_message* message, void* user, sd_bus_error* error) { return onCall(message, user, error); },
        callback.get());
    return keep(result, slot, std::move(callback));
}

bool Bus::process()
{
    if (!mUnsent.empty()) {
        const Handler handler = std::move(mUnsent.front());
        mUnsent.pop_front();
        BusMessage failed(BusError{SD_BUS_ERROR_DISCONNECTED, "the call could not be sent"});
        handler(failed);
        return true;
    }
    if (!mIsOpen) {
        return false;
    }
    const int result = sd_bus_process(mBus, nullptr);
    if (mThrown) {
        std::rethrow_exception(std::exchange(mThrown, nullptr));
    }
    // When the bus goes, that comes in steps: first an error for each open call.
    mIsOpen = result >= 0;
    return result > 0;
}

void Bus::wait(double timeoutSeconds)
{
    pollfd waited = descriptor();
    const double seconds = std::min(timeoutSeconds, nextTimeout());
    const int milliseconds = static_cast<int>(std::ceil(std::clamp(seconds * 1000, 0.0, 1e9)));
    poll(&waited, 1, milliseconds);
}

pollfd Bus::descriptor() const
{
    const int descriptor = mIsOpen ? sd_bus_get_fd(mBus) : -1;
    const int events = mIsOpen ? sd_bus_get_events(mBus) : 0;
    return {descriptor, static_cast<short>(events > 0 ? events : 0), 0};
}

double Bus::nextTimeout() const
{
    if (!mUnsent.empty()) {
        return 0;
    }
    constexpr double kNever = std::numeric_limits<double>::infinity();
    uint64_t until = 0;
    if (!mIsOpen || sd_bus_get_timeout(mBus, &until) <= 0 || until == UINT64_MAX) {
        return kNever;
    }
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::max(0.0, static_cast<double>(until) / 1e6 -
                             (static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9));
}

std::string Bus::name() const
{
    const char* name = nullptr;
    return sd_bus_get_unique_name(mBus, &name) >= 0 && name ? name : "";
}

}  // namespace Host
