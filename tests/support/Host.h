// A host that records what the engine tells it, with a clock that moves when told.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "CppEngine/PlatformAdapter.h"
#include "CppEngine/TimerManager.h"
#include "support/Support.h"

namespace support {

constexpr char kShellPacket[] = "AF230001-879D-6186-1F49-DECA0E85D9C1";

// What the engine calls a host for.
enum class Told { Send, Done, Failed, Debug, Warning, Error };

class Host {
public:
    Host()
    {
        static const ZKClock clock = {nullptr,
                                      [](void*, int64_t* seconds, int32_t* microseconds) {
                                          *seconds = milliseconds() / 1000;
                                          *microseconds = static_cast<int32_t>(milliseconds() % 1000 * 1000);
                                      },
                                      nullptr};
        milliseconds() = 1000000;
        ZKSetClock(&clock);
        timers = std::make_unique<Kestrel::TimerManager>();
        ZKSetTimerManager(timers.get());
        const ZKHostCallbacks callbacks = {sizeof callbacks, this, transmit, completed, failed, logged};
        ZKSetHostCallbacks(&callbacks);
    }
    ~Host()
    {
        on = nullptr;
        forgetAll();
        ZKSetHostCallbacks(nullptr);
        ZKSetTimerManager(nullptr);
        ZKSetClock(nullptr);
    }
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    static int64_t& milliseconds()
    {
        static int64_t now = 0;
        return now;
    }
    static void forgetAll()
    {
        std::vector<const char*> ids(ZKListKnownRobots(nullptr, 0));
        ZKListKnownRobots(ids.data(), ids.size());
        for (const char* id : ids) {
            ZKForgetRobot(std::string(id).c_str());
        }
    }
    // Application mode of family 1 Orvik, 2 Pell, 3 Quill, 4 Rusk.
    static void scan(const char* id, char family = 1)
    {
        const char data[] = {3, family, 0, 0};
        ZKProcessScan(id, data, sizeof data, "Robbie", 6);
    }
    // These ask first, as a host does that forgets robots.
    static void enqueue(const char* id, const char* command, double timeout = 1.0)
    {
        if (ZKIsKnownRobot(id)) {
            ZKEnqueueShellCommand(id, command, timeout);
        }
    }
    static void disconnect(const char* id)
    {
        if (ZKIsKnownRobot(id)) {
            ZKHandleDisconnect(id);
        }
    }
    static void receive(const char* id, const std::string& bytes)
    {
        if (ZKIsKnownRobot(id)) {
            ZKReceivedData(id, kShellPacket, bytes.data(), bytes.size());
        }
    }
    // A whole framed answer.
    static void answer(const char* id, const std::string& text)
    {
        receive(id, "\xC8>" + text + "\x03");
    }
    static void wait(double seconds)
    {
        milliseconds() += static_cast<int64_t>(seconds * 1000 + 0.5);
        ZKTick();
    }
    // All lines since the last call.
    std::string take()
    {
        std::string text;
        text.swap(lines);
        return text;
    }

    std::unique_ptr<Kestrel::TimerManager> timers;
    std::string lines;
    bool withDebug = false;
    bool withBytes = false;                                      // packets as hex instead of as text
    std::function<void(Told told, const std::string& what)> on;  // also called at each
    std::function<void(const char* id, const char* channel, const HALPacket_t& packet)> onPacket;

private:
    void tell(Told told, const std::string& what, bool record = true)
    {
        if (record) {
            lines += what + "\n";
        }
        if (on != nullptr) {
            on(told, what);
        }
    }
    static Host& host(void* user)
    {
        return *static_cast<Host*>(user);
    }
    static void transmit(void* user, const char* id, const char* channel, const HALPacket_t** packets, size_t count)
    {
        const bool isShell = std::string(channel) == "AF230000-879D-6186-1F49-DECA0E85D9C1";
        std::string text = id + std::string(isShell ? " <" : " ?");
        for (size_t i = 0; i < count; ++i) {
            if (host(user).onPacket != nullptr) {
                host(user).onPacket(id, channel, *packets[i]);
            }
            const size_t frame = packets[i]->data[0] == 0xC8 ? 1 : 0;
            text += host(user).withBytes ? " " + hex(packets[i]->data, packets[i]->length) + " |"
                                         : std::string(reinterpret_cast<const char*>(packets[i]->data) + frame,
                                                       packets[i]->length - frame);
        }
        text.pop_back();  // the line end, or the last bar
        host(user).tell(Told::Send, text);
    }
    static void completed(void* user, const char* id, const char* command, const char* text)
    {
        host(user).tell(Told::Done, id + std::string(" > ") + command + ": " + text);
    }
    static void failed(void* user, const char* id, const char* command, ZKErrorCode code, const char* message)
    {
        host(user).tell(Told::Failed, id + std::string(" ! ") + command + ": " + std::to_string(code) + " " + message);
    }
    static void logged(void* user, ZKLogSeverity severity, const char* text)
    {
        const bool isDebug = severity <= ZK_LOG_DEBUG;
        const Told told = isDebug ? Told::Debug : severity == ZK_LOG_WARNING ? Told::Warning : Told::Error;
        host(user).tell(told,
                        (isDebug                 ? "D: "
                         : told == Told::Warning ? "W: "
                                                 : "E: ") +
                            std::string(text),
                        !isDebug || host(user).withDebug);
    }
};

}  // namespace support
