// RapidJSON's in-situ parse alone: the copy of the text, a fresh default Document, default flags.
#include <cstring>

#include <benchmark/benchmark.h>
#include <rapidjson/document.h>

#include "Bench.h"

namespace bench {

void addRapidJsonBenchmarks()
{
    for (const Document& document : documents()) {
        benchmark::RegisterBenchmark(("RapidJSON/" + document.name).c_str(), [&document](benchmark::State& state) {
            std::vector<char> copy(document.text.size() + 1);
            for (auto _ : state) {
                std::memcpy(copy.data(), document.text.c_str(), copy.size());
                rapidjson::Document parsed;
                parsed.ParseInsitu(copy.data());
                benchmark::DoNotOptimize(parsed.MemberCount());
            }
        });
    }
}

}  // namespace bench
