// zkhal sound: any recording to a robot's sound file.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include <sndfile.h>
#include <unistd.h>

#include "Commands.h"
#include "CoreUtility/FormatText.h"
#include "CoreUtility/Numbers.h"
#include "CoreUtility/Sound/aflibConverter.h"
#include "CoreUtility/Sound/NuSoundEncode.h"
#include "CoreUtility/Sound/ZKSound.h"
#include "Input.h"
#include "OutputFile.h"
#include "Simulator/SoundFileReader.h"

namespace zkhal {

namespace {

struct SoundOptions {
    std::string input;
    std::string output;
    std::string info;
    bool isAsLoudAsItIs = false;
};

struct Recording {
    std::vector<int16_t> samples;  // mono
    int rate;                      // Hz
    int channels;                  // that it had
    std::string kind;
};

// Everything that libsndfile reads, mixed to one channel.
Recording readRecording(const std::string& path)
{
    SF_INFO info = {};
    const std::unique_ptr<SNDFILE, decltype(&sf_close)> file(sf_open(path.c_str(), SFM_READ, &info), sf_close);
    if (file == nullptr) {
        throw InputError{path + ": " + sf_strerror(nullptr)};
    }
    SF_FORMAT_INFO format = {};
    format.format = info.format & SF_FORMAT_TYPEMASK;
    sf_command(nullptr, SFC_GET_FORMAT_INFO, &format, sizeof format);
    Recording recording = {{}, info.samplerate, info.channels, format.name != nullptr ? format.name : "sound"};
    const auto channels = static_cast<size_t>(info.channels);
    constexpr size_t kFrames = 4096;
    constexpr double kLongest = 3600;  // seconds
    std::vector<float> buffer(kFrames * channels), mixed;
    float peak = 0;
    for (sf_count_t read; (read = sf_readf_float(file.get(), buffer.data(), kFrames)) > 0;) {
        for (size_t i = 0; i < static_cast<size_t>(read); ++i) {
            float sum = 0;
            for (size_t channel = 0; channel < channels; ++channel) {
                sum += buffer[i * channels + channel];
            }
            const float mean = sum / static_cast<float>(channels);
            mixed.push_back(std::isfinite(mean) ? mean : 0);
            peak = std::max(peak, std::abs(mixed.back()));
        }
        if (static_cast<double>(mixed.size()) / recording.rate > kLongest) {
            throw InputError{path + ": it is longer than an hour"};
        }
    }
    if (sf_error(file.get()) != SF_ERR_NO_ERROR ||
        (info.seekable != 0 && mixed.size() < static_cast<size_t>(info.frames))) {
        throw InputError{path + ": it is damaged, only " +
                         ZKHAL::plainNumber(static_cast<double>(mixed.size()) / recording.rate) + " s can be read"};
    }
    if (mixed.empty()) {
        throw InputError{path + ": there are no samples in it"};
    }
    if (peak > 1) {
        std::cerr << path << ": it peaks at " << ZKHAL::plainNumber(static_cast<double>(peak))
                  << " times full scale, and is brought down to it\n";
    } else if (peak == 0) {
        std::cerr << path << ": it is silent\n";
    }
    const float scale = 32768 / std::max(peak, 1.0f);
    recording.samples.reserve(mixed.size());
    for (const float sample : mixed) {
        recording.samples.push_back(static_cast<int16_t>(
            std::min<int64_t>(ZKHAL::roundHalfAway(static_cast<double>(sample) * static_cast<double>(scale)), 32767)));
    }
    return recording;
}

// Rates beyond 16 bits too.
std::vector<int16_t> atRobotRate(const Recording& recording)
{
    if (recording.rate == kRobotSoundRate) {
        return recording.samples;
    }
    const double factor = static_cast<double>(kRobotSoundRate) / recording.rate;
    const double count = std::floor(static_cast<double>(recording.samples.size()) * factor);
    constexpr double kMost = 1 << 30;
    aflibConverter converter(false, true, false);
    converter.initialize(factor, 1, 1.0);
    std::vector<int16_t> result(count <= kMost ? static_cast<size_t>(count) : 0, 0);
    int used = static_cast<int>(std::min(recording.samples.size(), static_cast<size_t>(kMost)));
    if (count > kMost ||
        converter.resample(used, static_cast<int>(result.size()), recording.samples.data(), result.data()) < 0) {
        throw InputError{"a sound of " + std::to_string(recording.samples.size()) + " samples at " +
                         std::to_string(recording.rate) + " Hz cannot be converted"};
    }
    return result;
}

int peakOf(const std::vector<int16_t>& samples)
{
    int peak = 0;
    for (const int16_t sample : samples) {
        peak = std::max(peak, std::abs(int{sample}));
    }
    return peak;
}

// A bar on a terminal, from the second second on.
class ProgressBar {
public:
    void show(double part)
    {
        const auto now = std::chrono::steady_clock::now();
        const std::chrono::duration<double> passed = now - mStart;
        const int percent = static_cast<int>(part * 100);
        if (mIsTerminal && passed.count() > 1 && percent != mShown) {
            constexpr int kWidth = 40;
            const int done = static_cast<int>(part * kWidth);
            std::fprintf(stderr, "\r[%s%s] %3d%%", std::string(static_cast<size_t>(done), '#').c_str(),
                         std::string(static_cast<size_t>(kWidth - done), ' ').c_str(), percent);
            std::fflush(stderr);
            mShown = percent;
        }
    }
    ~ProgressBar()
    {
        if (mShown >= 0) {
            std::fputs("\n", stderr);
        }
    }

private:
    std::chrono::steady_clock::time_point mStart = std::chrono::steady_clock::now();
    bool mIsTerminal = isatty(STDERR_FILENO) != 0;
    int mShown = -1;
};

int makeSound(const SoundOptions& options)
{
    std::FILE* const talk = options.output == "-" ? stderr : stdout;
    const Recording recording = readRecording(options.input);
    std::vector<int16_t> samples = atRobotRate(recording);
    if (samples.empty()) {
        throw InputError{options.input + ": it is too short for a sample at " + std::to_string(kRobotSoundRate) +
                         " Hz"};
    }
    std::fprintf(talk, "%s: %s, %.3f s, %d Hz, %d channel%s\n", options.input.c_str(), recording.kind.c_str(),
                 static_cast<double>(recording.samples.size()) / recording.rate, recording.rate, recording.channels,
                 recording.channels == 1 ? "" : "s, mixed to one");
    const int before = peakOf(samples);
    if (!options.isAsLoudAsItIs) {
        ZKSoundNormalize(samples, 0, kRobotSoundPeak, kRobotSoundGain);
    }
    const int after = peakOf(samples);
    std::fprintf(talk, "peak %.1f%% of full scale", before / 327.67);
    if (!options.isAsLoudAsItIs && before > 0) {
        std::fprintf(talk, ", made %.2f times as loud: %.1f%%", static_cast<double>(after) / before, after / 327.67);
    }
    std::fprintf(talk, "\n");
    std::fflush(talk);
    std::vector<unsigned char> file;
    SoundEncodeReport report;
    {
        ProgressBar bar;
        report.progress = [&](double part) { bar.show(part); };
        NuSoundEncode(samples, file, kRobotSoundRate, kRobotSoundBits, report);
    }
    const double seconds = static_cast<double>(samples.size()) / kRobotSoundRate;
    std::fprintf(talk, "quality %d, %zu bytes for %.3f s", report.quality, file.size(), seconds);
    if (seconds > 0.1) {  // or silence and headers are the most of it
        std::fprintf(talk, ": %.1f kbit/s", static_cast<double>(file.size()) * 8 / seconds / 1000);
    }
    std::fprintf(talk, "\n");
    if (!options.output.empty()) {
        writeFile(options.output, std::string(file.begin(), file.end()));
        if (options.output != "-") {
            std::fprintf(talk, "the sound file is %s\n", options.output.c_str());
        }
    }
    return kSuccess;
}

int showInfo(const std::string& path)
{
    const std::string bytes = readBytes(path);
    const Simulator::SoundFileReading reading =
        Simulator::readSoundFile(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    std::printf("%s: %zu frames of 1024 samples at %u Hz, %.3f s\n", path.c_str(), reading.frames.size(), reading.rate,
                reading.seconds());
    if (!reading.frames.empty()) {
        const auto [least, most] = std::minmax_element(reading.frames.begin(), reading.frames.end());
        const size_t sum = std::accumulate(reading.frames.begin(), reading.frames.end(), size_t{0});
        std::printf("frames of %zu to %zu bytes, %zu in all; their own headers say %u Hz%s\n", *least, *most, sum,
                    reading.adtsRate, reading.problems.empty() ? ", as robots expect" : "");
    }
    std::fflush(stdout);
    for (const std::string& problem : reading.problems) {
        std::cerr << path << ": " << problem << '\n';
    }
    return reading.problems.empty() ? kSuccess : kBadInput;
}

}  // namespace

void addSound(CLI::App& app, int& status)
{
    auto options = std::make_shared<SoundOptions>();
    CLI::App* command = app.add_subcommand("sound", "Make a robot's sound file of any recording, or look into one");
    auto* output = command->add_option("-o,--output", options->output, "The sound file")->type_name("FILE");
    command->add_flag("--no-normalize", options->isAsLoudAsItIs, "Leave it as loud as it is");
    command->add_option("--info", options->info, "Show what is in a sound file, and what is wrong with it")
        ->type_name("FILE")
        ->excludes(output);
    auto* input =
        command->add_option("input", options->input, "A recording: WAV, FLAC, OGG, MP3, ...")->type_name("RECORDING");
    command->footer(
        "The recording is mixed to one channel, converted to 16000 Hz, brought to full level (at most five times as\n"
        "loud) and encoded with two bits for each sample.\n\n"
        "Examples:\n"
        "  zkhal sound speech.wav -o HELLO\n"
        "  zkhal sound --info HELLO");
    command->callback([=, &status] {
        if ((input->count() > 0) == !options->info.empty()) {
            throw CLI::ValidationError("sound", "wants a recording, or --info FILE");
        }
        try {
            status = options->info.empty() ? makeSound(*options) : showInfo(options->info);
        } catch (const InputError& problem) {
            std::cerr << "zkhal sound: " << problem.message << '\n';
            status = kBadInput;
        }
    });
}

}  // namespace zkhal
