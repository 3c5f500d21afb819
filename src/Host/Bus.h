// A connection to the system's D-Bus. Nothing waits, except where it says so; what comes is told from process().
#pragma once

#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "Host/BusMessage.h"
#include "Host/Error.h"

struct pollfd;
struct sd_bus;
struct sd_bus_slot;

namespace Host {

/** Something that the bus calls: no more, once this is gone. */
class BusSlot {
public:
    BusSlot() = default;
    explicit BusSlot(sd_bus_slot* slot) : mSlot(slot) {}
    BusSlot(BusSlot&& other) noexcept : mSlot(std::exchange(other.mSlot, nullptr)) {}
    BusSlot& operator=(BusSlot&& other) noexcept
    {
        std::swap(mSlot, other.mSlot);
        return *this;
    }
    ~BusSlot();

private:
    sd_bus_slot* mSlot = nullptr;
};

class Bus {
public:
    /** Called from process(). What it throws comes out of process(). */
    using Handler = std::function<void(BusMessage& message)>;
    /** Says whether the call was meant for it, and is or will be answered. */
    using CallHandler = std::function<bool(BusMessage& call)>;

    /** The system's, or the one that DBUS_SYSTEM_BUS_ADDRESS names. Null, and error says why. */
    static std::unique_ptr<Bus> openSystem(Error& error);
    ~Bus();
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    /** The service must run already: where it cannot be started, trying that takes half a minute. */
    BusMessage newCall(const std::string& service, const std::string& path, const char* interface, const char* method);
    BusMessage newSignal(const std::string& path, const char* interface, const char* member);
    BusMessage newReply(const BusMessage& call);

    /** onReply gets the reply or an error, once, unless the slot goes before. dbus-daemon keeps no more than 128 open.
     */
    BusSlot call(const BusMessage& message, Handler onReply, double timeoutSeconds = 25);
    /** A signal, a reply, or a call of which no answer is wanted. False when it cannot be sent. */
    bool send(const BusMessage& message);
    /** An empty reply. */
    void reply(const BusMessage& call);
    void replyError(const BusMessage& call, const char* name, const std::string& text);

    /** Signals: "type='signal',sender='org.bluez',path_namespace='/org/bluez'". */
    BusSlot match(const std::string& rule, Handler onSignal);
    /** Calls to a path and to all below it. */
    BusSlot serve(const std::string& path, CallHandler onCall);

    /** Does one thing that is due. False when there was none, or when the bus has gone. */
    bool process();
    /** Waits until something is due. */
    void wait(double timeoutSeconds);
    pollfd descriptor() const;
    /** Seconds until process() is due without anything at the descriptor. Infinite when it is not. */
    double nextTimeout() const;
    bool isOpen() const
    {
        return mIsOpen;
    }
    /** ":1.7", once process() has met the bus; "" before. */
    std::string name() const;

private:
    explicit Bus(sd_bus* bus) : mBus(bus) {}

    // What C calls: none of these lets an exception out.
    struct Callback;
    static int onMessage(sd_bus_message* message, void* callback, void* error);
    static int onCall(sd_bus_message* message, void* callback, void* error);
    static void onGone(void* callback);
    BusSlot keep(int result, sd_bus_slot* slot, std::unique_ptr<Callback> callback);

    sd_bus* mBus;
    bool mIsOpen = true;
    std::deque<Handler> mUnsent;  // of calls that could not be sent
    std::exception_ptr mThrown;
};

}  // namespace Host
