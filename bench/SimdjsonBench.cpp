// simdjson's DOM parse alone, with a parser and a padded text that are used again.
#include <benchmark/benchmark.h>
#include <simdjson.h>

#include "Bench.h"

namespace bench {

void addSimdjsonBenchmarks()
{
    for (const Document& document : documents()) {
        benchmark::RegisterBenchmark(("simdjson/" + document.name).c_str(), [&document](benchmark::State& state) {
            const simdjson::padded_string padded(document.text);
            simdjson::dom::parser parser;
            for (auto _ : state) {
                const simdjson::dom::element root = parser.parse(padded);
                benchmark::DoNotOptimize(root.is_object());
            }
        });
    }
}

}  // namespace bench
