// zkhal decode: captured sensor packets to JSON lines and a picture.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "CaptureLine.h"
#include "Commands.h"
#include "CoreUtility/Json/nx_json.h"
#include "HAL/MessagePacketizers/PacketizerInteraction.h"
#include "HexText.h"
#include "Input.h"
#include "OutputFile.h"
#include "ReportPicture.h"
#include "RobotOption.h"
#include "ZKHAL/ZKHAL.h"

namespace zkhal {

namespace {

struct DecodeOptions {
    uint32_t robotType = ZK_ROBOT_ORVIK;
    bool pretty = false;
    bool quality = false;
    bool live = false;
    std::string svg;
    std::vector<std::string> inputs;
};

constexpr double kReportSeconds = 1.0 / 30;

// The library reads the capture's times, so that the same capture gives the same result every time.
class CaptureClock {
public:
    CaptureClock()
    {
        static constexpr int64_t kOrigin = 1000000000;  // any: only differences count
        const ZKClock clock = {this,
                               [](void* user, int64_t* seconds, int32_t* microseconds) {
                                   const double time = static_cast<CaptureClock*>(user)->now;
                                   const auto micro = static_cast<int64_t>(std::llround(time * 1e6));
                                   *seconds = kOrigin + micro / 1000000;
                                   *microseconds = static_cast<int32_t>(micro % 1000000);
                               },
                               nullptr};
        ZKSetClock(&clock);
    }
    ~CaptureClock()
    {
        ZKSetClock(nullptr);
    }
    CaptureClock(const CaptureClock&) = delete;
    CaptureClock& operator=(const CaptureClock&) = delete;

    double now = 0;
};

// The documents hold no texts, so brackets and commas are structure.
std::string indented(const std::string& json)
{
    std::string out;
    size_t depth = 0;
    bool inArray = false;
    const auto newLine = [&] { out += '\n' + std::string(2 * depth, ' '); };
    for (const char c : json) {
        inArray = c == '[' || (inArray && c != ']');
        depth -= c == '}' ? 1 : 0;
        if (c == '}') {
            newLine();
        }
        out += c;
        depth += c == '{' ? 1 : 0;
        if (c == '{' || (c == ',' && !inArray)) {
            newLine();
        }
        out += c == ':' ? " " : "";
    }
    return out;
}

// Decodes line by line, so that a stream can be followed while it comes.
class Decoder {
public:
    Decoder(const DecodeOptions& options, std::string name)
        : mOptions(options),
          mName(std::move(name)),
          mClock(options.live ? nullptr : std::make_unique<CaptureClock>()),
          mTranslator(ZKTranslatorCreate(options.robotType), ZKTranslatorDestroy),
          mStart(BRSystemTime())
    {
        for (HAL::packetQualityInfo& quality : mQuality) {
            HAL::PacketizerInteraction::initPacketQualityInfo(&quality);
        }
    }

    void decode(const std::string& line)
    {
        ++mNumber;
        const size_t begin = line.find_first_not_of(" \t\r");
        if (begin == std::string::npos || line[begin] == '#') {
            return;
        }
        std::vector<CaptureLine> reports;
        std::string problem;
        if (!mReader.read(line, reports, problem)) {
            std::cout.flush();
            std::cerr << mName << ':' << mNumber << ": " << problem << '\n';
            status = kBadInput;
        }
        for (const CaptureLine& each : reports) {
            report(each);
        }
    }

    void finish()
    {
        std::vector<CaptureLine> reports;
        mReader.finish(reports);
        for (const CaptureLine& each : reports) {
            report(each);
        }
        if (!mOptions.svg.empty()) {
            writeFile(mOptions.svg, mPicture.draw(robotName(mOptions.robotType) + ": " + mName));
        }
    }

    int status = kSuccess;

private:
    void report(const CaptureLine& capture)
    {
        const double t = mOptions.live ? BRSystemTime() - mStart : capture.hasTime ? capture.seconds : mNext;
        mNext = t + kReportSeconds;
        if (mClock != nullptr) {
            mClock->now = t;
        }
        HALPacket_t packets[2] = {};
        const size_t count = capture.bytes.size() / HAL_PACKET_SIZE;
        for (size_t i = 0; i < count; ++i) {
            packets[i].length = HAL_PACKET_SIZE;
            std::memcpy(packets[i].data, capture.bytes.data() + i * HAL_PACKET_SIZE, HAL_PACKET_SIZE);
            if (mOptions.quality) {
                char text[400];
                HAL::PacketizerInteraction::analyzeQuality(&mQuality[i], packets[i].data, HAL_PACKET_SIZE, text,
                                                           sizeof text);
                std::cerr << (i == 0 ? "first packets:  " : "second packets: ") << text;
            }
        }
        char json[ZK_MAX_REPORT_SIZE];
        ZKTranslatorDecode(mTranslator.get(), packets, count, json, sizeof json);
        std::cout << (mOptions.pretty ? indented(json) : json) << '\n';
        if (mOptions.live) {
            std::cout.flush();
        }
        if (!mOptions.svg.empty()) {
            mPicture.add(t, json);
        }
    }

    const DecodeOptions& mOptions;
    std::string mName;
    std::unique_ptr<CaptureClock> mClock;
    std::unique_ptr<ZKTranslator, decltype(&ZKTranslatorDestroy)> mTranslator;
    // Each characteristic counts for itself: both packets of a report carry the same number.
    HAL::packetQualityInfo mQuality[2] = {};
    CaptureReader mReader;
    ReportPicture mPicture;
    double mStart;
    double mNext = 0;
    size_t mNumber = 0;
};

bool endsInHex(const std::string& text)
{
    constexpr char kBlanks[] = " \t";
    const size_t end = text.find_last_not_of(kBlanks) + 1;
    const size_t begin = text.find_last_of(kBlanks, end - 1) + 1;
    return text.substr(begin, end - begin).find_first_not_of("0123456789abcdefABCDEF.") == std::string::npos;
}

int decode(const DecodeOptions& options)
{
    const std::vector<std::string>& inputs = options.inputs;
    const bool fromStdin = inputs.empty() || inputs[0] == "-";
    std::ifstream file;
    if (!fromStdin) {
        file.open(inputs[0]);
    }
    // What is no file is a report, unless it does not even end like one.
    const bool isFile = fromStdin || file.is_open() || !endsInHex(inputs[0]);
    if (isFile && inputs.size() > 1) {
        throw InputError{"one capture at a time, not also " + inputs[1]};
    }
    if (isFile && !fromStdin && (!file.is_open() || file.peek() == std::ifstream::traits_type::eof())) {
        readInput(inputs[0]);  // says why it cannot be read
    }
    Decoder decoder(options, fromStdin ? "stdin" : isFile ? inputs[0] : "argument");
    if (isFile) {
        std::istream& in = fromStdin ? std::cin : file;
        bool isFirst = true;
        for (std::string line; std::getline(in, line); isFirst = false) {
            if (isFirst) {
                dropByteOrderMark(line, fromStdin ? "stdin" : inputs[0]);
            }
            decoder.decode(line);
        }
    } else {
        for (const std::string& line : inputs) {
            decoder.decode(line);
        }
    }
    decoder.finish();
    return decoder.status;
}

}  // namespace

void addDecode(CLI::App& app, int& status)
{
    auto options = std::make_shared<DecodeOptions>();
    CLI::App* command = app.add_subcommand("decode", "Turn captured sensor packets into JSON and a picture");
    addRobotOption(*command, options->robotType);
    command->add_flag("--pretty", options->pretty, "Indent the documents");
    command->add_flag("--quality", options->quality,
                      "A line about lost and repeated packets for each packet, on stderr");
    command->add_flag("--live", options->live, "Take the wall clock for the time of each report");
    command->add_option("--svg", options->svg, "Draw the whole stream into a picture")->type_name("FILE");
    command->add_option("input", options->inputs, "A capture, - for standard input, or reports as hex")
        ->type_name("FILE|-|HEX")
        ->option_text("FILE|-|HEX...");
    command->footer(
        "Each line of a capture is a report: 40 or 80 hex digits (one or two packets), with an optional time in "
        "seconds\n"
        "before it. Without times a report lasts 1/30 s. Lines that begin with # are comments. A malformed line is\n"
        "reported with its number and skipped (exit status 1).\n"
        "What run and watch have recorded is read too.\n"
        "--quality counts the first packets of the reports and the second ones apart.\n\n"
        "Examples:\n"
        "  zkhal decode examples/drive.capture\n"
        "  zkhal decode --svg drive.svg examples/drive.capture >drive.jsonl\n"
        "  zkhal decode --pretty 0012000800000010000000000000000000000000");
    command->callback([options, &status] {
        try {
            status = decode(*options);
        } catch (const InputError& problem) {
            std::cerr << "zkhal decode: " << problem.message << '\n';
            status = kBadInput;
        }
    });
}

}  // namespace zkhal
