// An hour of recording, built and converted; ten times as much as its reference.
#include <cmath>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "Bench.h"
#include "ZKHAL/ZKHAL.h"

namespace bench {

namespace {

void record(int poses)
{
    ZKPuppetCore_clearAll();
    ZKPuppetCore_init("hour");
    for (int i = 0; i < poses; ++i) {
        const auto t = static_cast<float>(i) * 0.1f;
        ZKPuppetCore_addFrame("hour", t, 50 * std::sin(t), 50 * std::cos(t), t, 0.5f * std::sin(t), 0);
    }
}

void build(benchmark::State& state, int poses)
{
    record(poses);
    float end = 1e6f;
    for (auto _ : state) {
        benchmark::DoNotOptimize(ZKPuppetCore_subsequenceByteCount("hour", 0, end));
        end += 1;  // another range, so that it is built again
    }
    state.counters["bytes"] = static_cast<double>(ZKPuppetCore_sequenceByteCount("hour"));
}

void convert(benchmark::State& state, int poses)
{
    record(poses);
    std::string sequence(ZKPuppetCore_sequenceByteCount("hour"), '\0');
    ZKPuppetCore_sequence("hour", sequence.data(), sequence.size());
    size_t bytes = 0;
    for (auto _ : state) {
        bytes = ZKPuppetCore_convertANByteCount(sequence.c_str(), ZK_ROBOT_ORVIK);
    }
    state.counters["bytes"] = static_cast<double>(bytes);
}

}  // namespace

void addPuppetBenchmarks()
{
    for (int poses : kPoseCounts) {
        benchmark::RegisterBenchmark(("puppet/build/" + std::to_string(poses)).c_str(), build, poses);
        benchmark::RegisterBenchmark(("puppet/convert/" + std::to_string(poses)).c_str(), convert, poses);
    }
}

}  // namespace bench
