// What a host may do inside callbacks, and a shell manager that serves a robot of the host's own.
#include <functional>
#include <memory>

#include <gtest/gtest.h>

#include "CppEngine/Channels.h"
#include "CppEngine/RobotActionManagerShell.h"
#include "support/Host.h"

namespace {

using support::Host;
using support::Told;

class EngineCallbackTest : public ::testing::Test {
protected:
    Host host;
};

uintptr_t stackPointer()
{
    return reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
}

TEST_F(EngineCallbackTest, AnswersInsideOfSendingDoNotPileUp)
{
    host.scan("r");
    int done = 0;
    uintptr_t lowest = UINTPTR_MAX, highest = 0;
    host.on = [&](Told told, const std::string&) {
        if (told == Told::Send) {
            host.answer("r", "ok");
        } else if (told == Told::Done) {
            if (done++ == 0) {
                for (int i = 0; i < 10000; ++i) {
                    host.enqueue("r", "again");
                }
            }
            lowest = std::min(lowest, stackPointer());
            highest = std::max(highest, stackPointer());
        }
    };
    host.enqueue("r", "poke");
    EXPECT_EQ(done, 10001);
    EXPECT_EQ(ZKPendingShellCommandCount("r"), 0);
    EXPECT_LT(highest - lowest, 8192u);
}

TEST_F(EngineCallbackTest, TheHostsTextsStayWhileItReads)
{
    host.scan("r", 4);
    host.enqueue("r", "long enough to stand on the heap");
    ZKHostCallbacks callbacks = {};
    callbacks.size = sizeof callbacks;
    callbacks.user = &host;
    callbacks.log = [](void*, ZKLogSeverity, const char*) {};
    callbacks.completed = [](void* user, const char* id, const char* command, const char* answer) {
        ZKForgetRobot(id);
        Host::scan("r", 4);
        for (int i = 0; i < 1000; ++i) {
            Host::enqueue("r", "another that is long enough for the heap");
        }
        static_cast<Host*>(user)->lines = id + std::string(command) + answer;
    };
    ZKSetHostCallbacks(&callbacks);
    host.receive("r", "an answer that is long enough as well\n");
    EXPECT_EQ(host.take(), "rlong enough to stand on the heapan answer that is long enough as well");
}

// Every call from inside every callback: the command ends at most once, nothing is left behind, and the engine goes on.
TEST_F(EngineCallbackTest, EveryCallInsideEveryCallback)
{
    const std::function<void()> actions[] = {
        [] {},
        [] { Host::enqueue("r", "more", 0.5); },
        [] { Host::disconnect("r"); },
        [] {
            Host::disconnect("r");
            Host::enqueue("r", "more", 0.5);
        },
        [] { Host::scan("r"); },
        [] {
            Host::scan("r");
            Host::enqueue("r", "more", 0.5);
        },
        [] { ZKForgetRobot("r"); },
        [] {
            ZKForgetRobot("r");
            Host::scan("r");
            Host::enqueue("r", "more", 0.5);
        },
        [] { Host::wait(0.3); },
        [] { Host::wait(3); },
        [] { Host::answer("r", "early"); },
        [] {
            Host::answer("r", "early");
            Host::answer("r", "twice");
        },
        [] { Host::receive("r", "\xC8half"); },
        [this] { ZKSetTimerManager(ZKGetTimerManager() == host.timers.get() ? nullptr : host.timers.get()); },
        [] { Host::enqueue("other", "more", 0.5); },
        [] { Host::disconnect("other"); },
    };
    const Told kinds[] = {Told::Send, Told::Done, Told::Failed, Told::Debug, Told::Warning, Told::Error};
    const size_t count = sizeof actions / sizeof actions[0];
    for (Told kind : kinds) {
        for (size_t action = 0; action < count * count; ++action) {
            SCOPED_TRACE(std::to_string(static_cast<int>(kind)) + ": " + std::to_string(action % count) + " then " +
                         std::to_string(action / count));
            ZKSetTimerManager(host.timers.get());
            host.on = nullptr;
            Host::scan("r");
            Host::scan("other");
            ZKTick();
            std::string ended;
            int budget = 3;  // or an action that sets off its own callback goes round for ever
            host.on = [&](Told told, const std::string& what) {
                if (told == Told::Done || told == Told::Failed) {
                    ended += what.substr(0, what.find(':')) + "\n";
                }
                if (told == kind && budget-- > 0) {
                    actions[budget % 2 == 0 ? action % count : action / count]();
                }
            };
            Host::enqueue("r", "first", 0);
            Host::enqueue("r", "second", 0.5);
            Host::milliseconds() += 2500;  // makes the timers complain
            Host::answer("r", "yes");
            Host::wait(0.25);
            Host::wait(0.5);
            for (const char* command : {" first", " second"}) {
                const size_t at = ended.find(command);
                EXPECT_TRUE(at == std::string::npos || ended.find(command, at + 1) == std::string::npos) << ended;
            }
            for (int i = 0; i < 12; ++i) {
                Host::wait(1);
            }
            host.on = nullptr;
            ZKSetTimerManager(host.timers.get());
            ZKTick();
            Host::disconnect("r");
            Host::scan("r");
            host.take();
            Host::enqueue("r", "last");
            Host::answer("r", "here");
            EXPECT_EQ(host.take(), "r <A last\nr > last: here\n");
            ASSERT_EQ(ZKPendingShellCommandCount("r"), 0);
            ZKForgetRobot("r");
            ZKForgetRobot("other");
            EXPECT_EQ(host.timers->toString(), "") << "nothing is left armed";
        }
    }
}

class OwnRobot final : public Kestrel::ActionHost {
public:
    void transmitPackets(const std::string* channel, const std::vector<HALPacket_t>* packets) override
    {
        EXPECT_EQ(*channel, Kestrel::gChannelShellControl);
        for (const HALPacket_t& packet : *packets) {
            sent.append(reinterpret_cast<const char*>(packet.data) + 1, packet.length - 1);
        }
    }
    const char* uuId() const override
    {
        return "own";
    }
    const char* name() const override
    {
        return "Own";
    }
    void releaseIfReplaced(const Kestrel::RobotActionManagerAbstract*) override {}

    std::string sent;
};

class ShellManagerTest : public EngineCallbackTest {
protected:
    void enqueue(const std::string& command, double timeout)
    {
        manager->enqueueCommand(&command, timeout, advertisement);
    }

    OwnRobot robot;
    Kestrel::AdvertisementData advertisement;
    std::unique_ptr<Kestrel::RobotActionManagerShell> manager =
        std::make_unique<Kestrel::RobotActionManagerShell>(&robot);
};

TEST_F(ShellManagerTest, ServesAnyRobot)
{
    host.withDebug = true;
    enqueue("poke", 1);
    EXPECT_EQ(robot.sent, "A poke\n");
    manager->receivedData(&Kestrel::gChannelShellPacket, "\xC8>ouch\x03", 7, advertisement);
    const std::string lines = host.take();
    EXPECT_EQ(lines.find("D: Own sending shell command A poke\n"), 0u);
    EXPECT_NE(lines.find("own > poke: ouch\n"), std::string::npos);
}

// Only the timers know which id has gone off; anybody can call with one.
TEST_F(ShellManagerTest, ATimeOutFromElsewhereLeavesNoTimerBehind)
{
    const struct {
        const char* what;
        double timeout;
        Kestrel::TimerID offset;  // from the id that is armed
    } cases[] = {
        {"the id of no timer", 1, 0 - Kestrel::TimerID{1}},
        {"an id that nobody has", 1, 98},
        {"the right one, too early", 1, 0},
        {"the right one, outside a tick", 0, 0},
        {"while there is no time-out", -1, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Kestrel::TimerManager timers;
        ZKSetTimerManager(&timers);
        manager = std::make_unique<Kestrel::RobotActionManagerShell>(&robot);
        enqueue("first", c.timeout);
        enqueue("second", 5);
        host.take();
        robot.sent.clear();
        manager->onTimer(1 + c.offset);
        EXPECT_NE(host.take().find("own ! first: 4 timeout\n"), std::string::npos);
        EXPECT_EQ(robot.sent, "A second\n");
        EXPECT_EQ(timers.toString(), c.timeout < 0 ? "{1 @ 5}" : "{2 @ 5}");
        timers.tick(4);
        EXPECT_EQ(host.take(), "");
        manager = nullptr;
        timers.tick(6);
        ZKSetTimerManager(host.timers.get());
    }
}

TEST_F(ShellManagerTest, WhatHasNotGoneOutDoesNotTimeOut)
{
    int calls = 0;
    host.on = [&](Told told, const std::string&) {
        if (told == Told::Debug && calls++ == 0) {
            manager->reset();
            enqueue("second", 1);  // goes out when the first one's call has returned
            manager->onTimer(1);
        }
    };
    enqueue("first", 1);
    EXPECT_EQ(robot.sent, "A second\n");
    host.on = nullptr;
    host.wait(1);
    EXPECT_NE(host.take().find("own ! second: 4 timeout\n"), std::string::npos);
}

}  // namespace
