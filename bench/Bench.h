// What the benchmarks share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace bench {

struct Document {
    std::string name;
    std::string text;
};

// The command documents of bench/documents, sorted by name.
const std::vector<Document>& documents();

// Allocations of the whole program so far.
long allocations();

// Each registers one benchmark a document, named "Family/document".
void addCommandBenchmarks();
void addRapidJsonBenchmarks();
void addSimdjsonBenchmarks();

// One sensor report, and its numbers and texts written by the standard library.
void addSensorBenchmarks();

// A command to each of so many robots, named "engine/count".
constexpr int kRobotCounts[] = {100, 1000, 10000};
void addEngineBenchmarks();

// So many virtual robots for so long: what they report is decoded, and made.
constexpr uint32_t kClassroomRobots = 30;
constexpr int kClassroomSeconds = 10;
void addClassroomBenchmarks();
void addSessionBenchmarks();

// So many poses of a recording, the last an hour of it, built and converted.
constexpr int kPoseCounts[] = {3600, 36000};
void addPuppetBenchmarks();

// A minute of speech, encoded and converted.
constexpr size_t kSoundSeconds = 60;
struct Conversion {
    const char* name;
    int from, to;  // Hz
};
constexpr Conversion kConversions[] = {{"8000 to 16000", 8000, 16000}, {"44100 to 16000", 44100, 16000}};
void addSoundBenchmarks();

}  // namespace bench
