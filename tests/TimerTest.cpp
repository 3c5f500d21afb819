// One-shot timers: order, what may happen inside a tick, and what is logged.
#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "support/Host.h"

namespace {

using Kestrel::TimerID;
using Kestrel::TimerManager;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

class TimerTest : public ::testing::Test, public Kestrel::TimerTarget {
protected:
    void onTimer(TimerID id) override
    {
        fired += std::to_string(id) + " ";
        if (inside != nullptr) {
            inside(id);
        }
    }
    std::string takeFired()
    {
        std::string text;
        text.swap(fired);
        return text;
    }

    support::Host host;
    TimerManager timers;
    std::string fired;
    std::function<void(TimerID)> inside;
};

TEST_F(TimerTest, FireInOrderOfDueTimeAndThenOfArming)
{
    for (double duration : {3.0, 1.0, 2.0, 1.0, kInfinity}) {
        timers.newTimer(*this, duration);
    }
    EXPECT_EQ(timers.toString(), "{2 @ 1}{4 @ 1}{3 @ 2}{1 @ 3}{5 @ inf}");
    timers.tick(0.999);
    EXPECT_EQ(takeFired(), "");
    timers.tick(2.0);
    EXPECT_EQ(takeFired(), "2 4 3 ");
    timers.newTimer(*this, 0.5);  // counts from the last tick
    EXPECT_EQ(timers.toString(), "{6 @ 2.5}{1 @ 3}{5 @ inf}");
    timers.tick(1e300);
    EXPECT_EQ(takeFired(), "6 1 ");
    timers.tick(kNaN);
    timers.newTimer(*this, 1);
    timers.tick(0);
    EXPECT_EQ(takeFired(), "");
    EXPECT_EQ(host.take(), "");
}

TEST_F(TimerTest, WhatIsLogged)
{
    EXPECT_EQ(timers.newTimer(*this, -0.5), 0u);
    EXPECT_EQ(timers.newTimer(*this, kNaN), 0u);
    EXPECT_EQ(timers.newTimer(*this, 0.0), 1u);
    timers.cancelTimer(0);
    timers.cancelTimer(17);
    const std::string lines = host.take();
    EXPECT_EQ(lines.find("E: "), 0u);
    EXPECT_NE(lines.find("Kestrel::TimerManager::newTimer("), std::string::npos);
    EXPECT_NE(lines.find(" - duration is negative: -0.500s - rejecting new timer.\n"), std::string::npos);
    EXPECT_NE(lines.find(" - duration is negative: nan"), std::string::npos);
    EXPECT_NE(lines.find(" - duration is zero: timer will go off next tick.\n"), std::string::npos);
    EXPECT_NE(lines.find("\nW: attempted to cancel unknown timer: 17\n"), std::string::npos);

    host.milliseconds() += 2000;
    EXPECT_TRUE(timers.verifyTickRate());
    host.milliseconds() += 1;
    EXPECT_FALSE(timers.verifyTickRate());
    EXPECT_EQ(timers.newTimer(*this, 0.25), 2u);
    timers.cancelTimer(0);
    const std::string slow =
        "E: TIMERMANAGER IS NOT BEING TICKED OFTEN ENOUGH. current tick delay is 2.0010s, minimum is 2.0000s\n";
    EXPECT_EQ(host.take(), slow + slow + slow);
    EXPECT_EQ(timers.toString(), "{1 @ 0}{2 @ 0.25}");
    timers.tick();
    EXPECT_NEAR(timers.getCurrentSecond(), 2.001, 1e-6);
    EXPECT_EQ(takeFired(), "1 2 ");
}

TEST_F(TimerTest, InsideAPass)
{
    struct Case {
        const char* what;
        std::function<void(TimerManager&, Kestrel::TimerTarget&)> inside;  // when timer 2 of 1, 2, 3, 4 goes off
        const char *fired, *left;
    };
    const Case cases[] = {
        {"nothing", [](auto&, auto&) {}, "1 2 3 ", "{4 @ 9}"},
        {"a timer for at once is fired in the same pass", [](auto& t, auto& me) { t.newTimer(me, 0); }, "1 2 3 5 ",
         "{4 @ 9}"},
        {"a later one is not", [](auto& t, auto& me) { t.newTimer(me, 0.5); }, "1 2 3 ", "{5 @ 2.5}{4 @ 9}"},
        {"one to come is cancelled", [](auto& t, auto&) { t.cancelTimer(3); }, "1 2 ", "{4 @ 9}"},
        {"one that has gone off is cancelled without a warning", [](auto& t, auto&) { t.cancelTimer(1); }, "1 2 3 ",
         "{4 @ 9}"},
        {"itself", [](auto& t, auto&) { t.cancelTimer(2); }, "1 2 3 ", "{4 @ 9}"},
        {"all at once",
         [](auto& t, auto& me) {
             t.cancelTimer(t.newTimer(me, 0));
             t.cancelTimer(1);
             t.cancelTimer(4);
             t.newTimer(me, 0);
         },
         "1 2 3 6 ", ""},
        {"a tick on: the pass goes further", [](auto& t, auto&) { t.tick(9); }, "1 2 3 4 ", ""},
        {"a tick back: what is not due any more stays", [](auto& t, auto&) { t.tick(0); }, "1 2 ", "{3 @ 2}{4 @ 9}"},
    };
    for (const Case& c : cases) {
        TimerManager manager;
        for (double duration : {1.0, 1.0, 2.0, 9.0}) {
            manager.newTimer(*this, duration);
        }
        inside = [&](TimerID id) {
            if (id == 2) {
                EXPECT_EQ(manager.toString(), "{1 @ 1}{2 @ 1}{3 @ 2}{4 @ 9}") << "they stay until the pass ends";
                host.take();
                c.inside(manager, *this);
            }
        };
        manager.tick(2.0);
        EXPECT_EQ(takeFired(), c.fired) << c.what;
        EXPECT_EQ(manager.toString(), c.left) << c.what;
        EXPECT_EQ(host.take().find("unknown"), std::string::npos) << c.what;
    }
}

TEST_F(TimerTest, IdsWrapToOneAndStayDistinguishable)
{
    struct NearTheEnd : TimerManager {
        void jump()
        {
            mNextID = std::numeric_limits<TimerID>::max();
        }
    } manager;
    EXPECT_EQ(manager.newTimer(*this, 2), 1u);
    manager.jump();
    EXPECT_EQ(manager.newTimer(*this, 1), std::numeric_limits<TimerID>::max());
    EXPECT_EQ(host.take(), "W: wrapping timer IDs.\n");
    EXPECT_EQ(manager.newTimer(*this, 1), 1u);
    manager.cancelTimer(1);  // the first of that id to go off
    EXPECT_EQ(manager.toString(), "{18446744073709551615 @ 1}{1 @ 2}");
    manager.tick(5);
    EXPECT_EQ(manager.toString(), "");
}

// Against a plain sorted list.
TEST_F(TimerTest, RandomTimersAgainstAList)
{
    support::Random random(7);
    struct Entry {
        double due;
        TimerID id;
    };
    std::vector<Entry> list;
    double now = 0;
    for (int step = 0; step < 20000; ++step) {
        const int action = random.below(5);
        if (action < 3) {
            const double duration = random.below(20) * 0.25;
            const TimerID id = timers.newTimer(*this, duration);
            auto at = list.begin();
            while (at != list.end() && at->due <= now + duration) {
                ++at;
            }
            list.insert(at, {now + duration, id});
        } else if (action == 3 && !list.empty()) {
            const auto at = list.begin() + random.below(static_cast<int>(list.size()));
            timers.cancelTimer(at->id);
            list.erase(at);
        } else {
            now += random.below(8) * 0.25;
            std::string expected;
            while (!list.empty() && list.front().due <= now) {
                expected += std::to_string(list.front().id) + " ";
                list.erase(list.begin());
            }
            timers.tick(now);
            ASSERT_EQ(takeFired(), expected);
        }
    }
    ASSERT_GT(list.size(), 0u);
}

}  // namespace
