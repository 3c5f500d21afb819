// Runs all benchmarks with their repetitions interleaved, and prints medians and ratios as a table.
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <new>
#include <sstream>

#include <benchmark/benchmark.h>

#include "Bench.h"
#include "ZKHAL/Diagnostics.h"
#include "ZKHAL/ZKVersion.h"

namespace {

std::atomic<long> gAllocations{0};

}  // namespace

void* operator new(size_t size)
{
    gAllocations.fetch_add(1, std::memory_order_relaxed);
    if (void* memory = std::malloc(size)) {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, size_t) noexcept
{
    std::free(memory);
}

namespace bench {

long allocations()
{
    return gAllocations.load(std::memory_order_relaxed);
}

const std::vector<Document>& documents()
{
    static const std::vector<Document> kDocuments = [] {
        std::vector<Document> found;
        for (const auto& entry : std::filesystem::directory_iterator(ZKHAL_BENCH_DOCUMENTS)) {
            std::stringstream text;
            text << std::ifstream(entry.path()).rdbuf();
            found.push_back({entry.path().stem().string(), text.str()});
        }
        std::sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
        return found;
    }();
    return kDocuments;
}

namespace {

// Keeps every repetition; prints nothing until the end.
class Collector : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override
    {
        return true;
    }
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Iteration) {
                mTimes[run.run_name.function_name].push_back(run.GetAdjustedRealTime());
                const auto counter = run.counters.find("allocations");
                if (counter != run.counters.end()) {
                    mAllocations[run.run_name.function_name] += counter->second.value;
                }
                const auto bytes = run.counters.find("bytes");
                if (bytes != run.counters.end()) {
                    mBytes[run.run_name.function_name] = bytes->second.value;
                }
            }
        }
    }
    double median(const std::string& name)
    {
        std::vector<double>& times = mTimes[name];
        std::sort(times.begin(), times.end());
        return times.empty() ? NAN : times[times.size() / 2];
    }
    double allocations(const std::string& name)
    {
        return mAllocations[name];
    }

    double bytes(const std::string& name)
    {
        return mBytes[name];
    }

private:
    std::map<std::string, double> mBytes;
    std::map<std::string, std::vector<double>> mTimes;
    std::map<std::string, double> mAllocations;
};

void printCommandTable(Collector& results)
{
    std::printf("\nOne command document, median nanoseconds\n");
    std::printf("%-14s %6s %13s %11s %8s %10s %12s\n", "document", "bytes", "json2Packets", "RapidJSON", "ratio",
                "simdjson", "allocations");
    double logSum = 0;
    for (const Document& document : documents()) {
        const double ours = results.median("json2Packets/" + document.name);
        const double rapid = results.median("RapidJSON/" + document.name);
        const double simd = results.median("simdjson/" + document.name);
        logSum += std::log(ours / rapid);
        std::printf("%-14s %6zu %13.0f %11.0f %8.2f %10.0f %12.0f\n", document.name.c_str(), document.text.size(), ours,
                    rapid, ours / rapid, simd, results.allocations("json2Packets/" + document.name));
    }
    std::printf("geometric mean of json2Packets / RapidJSON in-situ parse alone: %.2f\n",
                std::exp(logSum / static_cast<double>(documents().size())));
}

void printSensorTable(Collector& results)
{
    const double ours = results.median("packets2Json");
    const double toChars = results.median("to_chars");
    const double stream = results.median("ostringstream");
    std::printf("\nOne full sensor report, median nanoseconds\n");
    std::printf(
        "packets2Json %.0f (%.0f allocations), std::to_chars of its numbers alone %.0f, std::ostringstream %.0f\n",
        ours, results.allocations("packets2Json"), toChars, stream);
    std::printf("packets2Json / to_chars: %.2f; ostringstream / packets2Json: %.1f\n", ours / toChars, stream / ours);
}

void printClassroomTable(Collector& results)
{
    const auto robots = [&](const char* name) {
        return kClassroomRobots * kClassroomSeconds * 1e9 / results.median(name);
    };
    std::printf("\nA classroom of %u virtual robots at 30 reports a second, in real time on one core\n",
                static_cast<unsigned>(kClassroomRobots));
    std::printf("robots whose reports are decoded: %.0f; virtual robots that are simulated: %.0f\n",
                robots("classroom/decode"), robots("classroom/simulate"));
    const double served = kClassroomRobots * 1e9 / results.median("classroom/session");
    std::printf("robots served over sessions, with ten commands a second: %.0f; %.2f allocations a report\n", served,
                results.allocations("classroom/session"));
}

void printPuppetTable(Collector& results)
{
    std::printf("\nA recording, median milliseconds, and the size of what is made\n");
    for (int poses : kPoseCounts) {
        const std::string build = "puppet/build/" + std::to_string(poses);
        const std::string convert = "puppet/convert/" + std::to_string(poses);
        std::printf("%6d poses: sequence built in %6.1f (%.1f MB), converted in %6.1f (%.2f MB)\n", poses,
                    results.median(build) / 1e6, results.bytes(build) / 1e6, results.median(convert) / 1e6,
                    results.bytes(convert) / 1e6);
    }
}

#if ZKHAL_HAS_SOUND
void printSoundTable(Collector& results)
{
    const double search = results.median("sound/search"), tenRuns = results.median("sound/ten runs");
    std::printf("\nA minute of speech, median milliseconds\n");
    std::printf("NuSoundEncode %.0f, ten full runs of the encoder %.0f: ratio %.2f; %.0f s of sound in a second\n",
                search / 1e6, tenRuns / 1e6, search / tenRuns, static_cast<double>(kSoundSeconds) * 1e9 / search);
    for (const Conversion& each : kConversions) {
        const double ours = results.median(std::string("convert/") + each.name);
        const double reference = results.median(std::string("libsamplerate/") + each.name);
        std::printf("converting %s Hz: %.2f, libsamplerate SRC_LINEAR %.2f: %.1f times as fast\n", each.name,
                    ours / 1e6, reference / 1e6, reference / ours);
    }
}
#endif

void printEngineTable(Collector& results)
{
    std::printf("\nA shell command to each robot, half of them answered, half timed out, median nanoseconds a robot\n");
    double first = 0;
    for (int robots : kRobotCounts) {
        const double each = results.median("engine/" + std::to_string(robots)) / robots;
        first = first > 0 ? first : each;
        std::printf("%6d robots: %6.0f, %.2f times that of %d\n", robots, each, each / first, kRobotCounts[0]);
    }
}

}  // namespace

}  // namespace bench

int main(int argc, char** argv)
{
    std::vector<char*> arguments(argv, argv + argc);
    // Before the caller's own, which win.
    std::string defaults[] = {"--benchmark_repetitions=15", "--benchmark_enable_random_interleaving=true",
                              "--benchmark_min_time=0.05"};
    int at = 1;
    for (std::string& option : defaults) {
        arguments.insert(arguments.begin() + at++, option.data());
    }
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
        return 2;
    }
    // The library formats its messages, as for a host that shows them; nothing is printed among the results.
    ZKSetMessageSink([](void*, int, const char*) {}, nullptr);
    bench::addCommandBenchmarks();
    bench::addRapidJsonBenchmarks();
    bench::addSimdjsonBenchmarks();
    bench::addSensorBenchmarks();
    bench::addEngineBenchmarks();
    bench::addClassroomBenchmarks();
#if ZKHAL_HAS_HOST
    bench::addSessionBenchmarks();
#endif
    bench::addPuppetBenchmarks();
#if ZKHAL_HAS_SOUND
    bench::addSoundBenchmarks();
#endif
    bench::Collector results;
    benchmark::RunSpecifiedBenchmarks(&results);
    bench::printCommandTable(results);
    bench::printSensorTable(results);
    bench::printEngineTable(results);
    bench::printClassroomTable(results);
    bench::printPuppetTable(results);
#if ZKHAL_HAS_SOUND
    bench::printSoundTable(results);
#endif
    return 0;
}
