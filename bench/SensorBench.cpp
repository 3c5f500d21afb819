// Whole packets2Json calls on a full report, beside the writing of its numbers and texts by other means.
#include <charconv>
#include <cstring>
#include <sstream>

#include <benchmark/benchmark.h>

#include "Bench.h"
#include "CoreUtility/Json/nx_json.h"
#include "ZKHAL/ZKHAL.h"

namespace bench {

namespace {

// A moving robot's report, with a battery event and an Orvik's sound direction.
ZKPacketBlock_t fullReport()
{
    static const char kHex[] =
        "638802183000F85A0000000002400F0257"
        "2F0808"
        "600000FBF004120C0F015D2CBAF3A50C0512E438";
    ZKPacketBlock_t slots = {};
    for (size_t slot = 0; slot < 2; ++slot) {
        slots.bytes[ZK_SLOT_SIZE * slot] = HAL_PACKET_SIZE;
        for (size_t i = 0; i < HAL_PACKET_SIZE; ++i) {
            const char digits[] = {kHex[2 * (HAL_PACKET_SIZE * slot + i)], kHex[2 * (HAL_PACKET_SIZE * slot + i) + 1],
                                   0};
            slots.bytes[ZK_SLOT_SIZE * slot + 1 + i] = static_cast<uint8_t>(std::strtoul(digits, nullptr, 16));
        }
    }
    return slots;
}

struct Pieces {
    struct Piece {
        std::string text;  // before the number
        bool isInteger;
        int64_t integer;
        double real;
    };
    std::vector<Piece> pieces;
    std::string tail;
};

// The document cut at its numbers, keys excepted.
Pieces piecesOf(const std::string& json)
{
    Pieces result;
    std::string text;
    bool inKey = false;
    for (size_t i = 0; i < json.size();) {
        inKey = json[i] == '"' ? !inKey : inKey;
        const bool isNumber = !inKey && (json[i] == '-' || (json[i] >= '0' && json[i] <= '9'));
        if (!isNumber) {
            text += json[i++];
            continue;
        }
        size_t end = json.find_first_of(",}]", i);
        const std::string number = json.substr(i, end - i);
        const bool isInteger = number.find_first_of(".e") == std::string::npos && number != "-0";
        result.pieces.push_back({text, isInteger, isInteger ? std::stoll(number) : 0, std::stod(number)});
        text.clear();
        i = end;
    }
    result.tail = text;
    return result;
}

}  // namespace

void addSensorBenchmarks()
{
    static const ZKPacketBlock_t slots = fullReport();
    static const std::string json = packets2Json(slots);
    static const Pieces pieces = piecesOf(json);
    benchmark::RegisterBenchmark("packets2Json", [](benchmark::State& state) {
        const long before = allocations();
        for (auto _ : state) {
            benchmark::DoNotOptimize(packets2Json(slots));
        }
        state.counters["allocations"] = static_cast<double>(allocations() - before);
    });
    benchmark::RegisterBenchmark("to_chars", [](benchmark::State& state) {
        char buffer[4096];
        for (auto _ : state) {
            char* out = buffer;
            for (const Pieces::Piece& piece : pieces.pieces) {
                out = piece.isInteger
                          ? std::to_chars(out, buffer + sizeof buffer, piece.integer).ptr
                          : std::to_chars(out, buffer + sizeof buffer, piece.real, std::chars_format::general, 6).ptr;
            }
            benchmark::DoNotOptimize(out);
        }
    });
    benchmark::RegisterBenchmark("ostringstream", [](benchmark::State& state) {
        for (auto _ : state) {
            std::ostringstream out;
            for (const Pieces::Piece& piece : pieces.pieces) {
                out << piece.text;
                if (piece.isInteger) {
                    out << piece.integer;
                } else {
                    out << piece.real;
                }
            }
            out << pieces.tail;
            benchmark::DoNotOptimize(out.str());
        }
    });
}

}  // namespace bench
