// A class of virtual robots over sessions: radio, shell, commands and documents, as a host has them.
#include <memory>
#include <string>

#include <benchmark/benchmark.h>

#include "Bench.h"
#include "Host/Hub.h"
#include "Host/VirtualTransport.h"

namespace bench {

namespace {

struct Counter : Host::SessionListener {
    void onReport(Host::RobotSession&, double, const char* json, size_t length) override
    {
        benchmark::DoNotOptimize(json);
        bytes += length;
        ++reports;
    }
    size_t bytes = 0, reports = 0;
};

// A second of the class: thirty reports and ten commands each. The allocations are those of a second without commands,
// for each report.
void session(benchmark::State& state)
{
    Host::VirtualTransport transport(Host::Pace::Fast);
    Host::Hub hub(transport);
    Counter counter;
    std::vector<Host::RobotSession*> sessions;
    for (uint32_t i = 0; i < kClassroomRobots; ++i) {
        transport.add({ZK_ROBOT_ORVIK, i + uint64_t{1}, {}});
        sessions.push_back(&hub.open("virtual:orvik:" + std::to_string(i + 1), {}, &counter));
    }
    hub.run(1);
    for (auto _ : state) {
        for (int tenth = 0; tenth < 10; ++tenth) {
            for (Host::RobotSession* each : sessions) {
                each->send(tenth % 2 == 0 ? R"({"211":{"left_cm_s":10,"right_cm_s":-10}})"
                                          : R"({"102":{"r":1,"g":0.5,"b":0}})");
            }
            hub.run(0.1);
        }
        for (Host::RobotRef i = 0; i < kClassroomRobots; ++i) {
            transport.robot(i).takeEvents();
        }
    }
    counter.reports = 0;
    const long before = allocations();
    hub.run(1);
    state.counters["allocations"] = static_cast<double>(allocations() - before) / static_cast<double>(counter.reports);
}

}  // namespace

void addSessionBenchmarks()
{
    benchmark::RegisterBenchmark("classroom/session", session);
}

}  // namespace bench
