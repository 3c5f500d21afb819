// Whole json2Packets calls.
#include <benchmark/benchmark.h>

#include "Bench.h"
#include "ZKHAL/ZKHAL.h"

namespace bench {

void addCommandBenchmarks()
{
    for (const Document& document : documents()) {
        benchmark::RegisterBenchmark(("json2Packets/" + document.name).c_str(), [&document](benchmark::State& state) {
            uint8_t out[ZK_BLOCK_SIZE];
            for (int i = 0; i < 100; ++i) {
                json2Packets(document.text.c_str(), out);  // warm-up
            }
            const long before = allocations();
            for (auto _ : state) {
                json2Packets(document.text.c_str(), out);
                benchmark::DoNotOptimize(out);
            }
            state.counters["allocations"] = static_cast<double>(allocations() - before);
        });
    }
}

}  // namespace bench
