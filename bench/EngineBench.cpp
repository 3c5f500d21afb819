// Many robots at once: arming, cancelling and firing their time-outs must not cost more the more there are.
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "Bench.h"
#include "ZKHAL/ZKHAL.h"

namespace bench {

namespace {

constexpr char kShellPacket[] = "AF230001-879D-6186-1F49-DECA0E85D9C1";
constexpr int kTicks = 64;  // of 15 ms, over which answers and time-outs are spread

int64_t gMilliseconds = 1000000;

void oneCommandEach(benchmark::State& state, int count)
{
    ZKClock clock = {};
    clock.wallTime = [](void*, int64_t* seconds, int32_t* microseconds) {
        *seconds = gMilliseconds / 1000;
        *microseconds = static_cast<int32_t>(gMilliseconds % 1000 * 1000);
    };
    ZKSetClock(&clock);
    ZKHostCallbacks callbacks = {};
    callbacks.size = sizeof callbacks;
    callbacks.log = [](void*, ZKLogSeverity, const char*) {};
    ZKSetHostCallbacks(&callbacks);
    std::vector<std::string> ids;
    const char advertised[] = {3, 1};
    for (int i = 0; i < count; ++i) {
        ids.push_back("robot " + std::to_string(i));
        ZKProcessScan(ids.back().c_str(), advertised, sizeof advertised, "", 0);
    }
    for (auto _ : state) {
        ZKTick();
        for (int i = 0; i < count; ++i) {
            ZKEnqueueShellCommand(ids[static_cast<size_t>(i)].c_str(), "poke", 0.015 * (i % kTicks + 1));
        }
        for (int tick = 0; tick <= kTicks; ++tick) {
            for (int i = tick; i < count; i += kTicks) {
                if (i / kTicks % 2 == 0) {
                    ZKReceivedData(ids[static_cast<size_t>(i)].c_str(), kShellPacket, "\xC8>ouch\x03", 7);
                }
            }
            gMilliseconds += 15;
            ZKTick();
        }
        gMilliseconds += 15;
        ZKTick();
    }
    for (const std::string& id : ids) {
        if (ZKPendingShellCommandCount(id.c_str()) != 0) {
            state.SkipWithError("a command has not ended");
        }
        ZKForgetRobot(id.c_str());
    }
    ZKSetHostCallbacks(nullptr);
    ZKSetClock(nullptr);
}

}  // namespace

void addEngineBenchmarks()
{
    for (int count : kRobotCounts) {
        benchmark::RegisterBenchmark(("engine/" + std::to_string(count)).c_str(), oneCommandEach, count);
    }
}

}  // namespace bench
