// zkhal sound: any recording to a robot's sound file.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <iterator>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include <samplerate.h>
#include <sndfile.h>
#include <unistd.h>

#include "Commands.h"
#include "CoreUtility/FormatText.h"
#include "CoreUtility/Numbers.h"
#include "CoreUtility/Sound/NuSoundEncode.h"
#include "CoreUtility/Sound/ZKSound.h"
#include "HexText.h"
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
    std::vector<int16_t> samples;  // mono, at the robot's rate
    double seconds;
    int rate;      // Hz, that it had
    int channels;  // that it had
    std::string kind;
};

// To the robot's rate, without what a lower rate cannot hold.
class RateConverter {
public:
    RateConverter(int rate, const std::string& path)
        : mRatio(static_cast<double>(kRobotSoundRate) / rate), mState(nullptr, src_delete)
    {
        if (rate != kRobotSoundRate) {
            int error = 0;
            mState.reset(src_is_valid_ratio(mRatio) != 0 ? src_new(SRC_SINC_BEST_QUALITY, 1, &error) : nullptr);
            if (mState == nullptr) {
                throw InputError{path + ": a rate of " + std::to_string(rate) + " Hz cannot be converted"};
            }
        }
    }

    // Appends to out. After the last samples comes what is still under way.
    void convert(const std::vector<float>& in, bool isLast, std::vector<float>& out)
    {
        if (mState == nullptr) {
            out.insert(out.end(), in.begin(), in.end());
            return;
        }
        float converted[4096];
        SRC_DATA data = {};
        data.data_in = in.data();
        data.input_frames = static_cast<long>(in.size());
        data.data_out = converted;
        data.output_frames = std::size(converted);
        data.src_ratio = mRatio;
        data.end_of_input = isLast ? 1 : 0;
        do {
            if (const int error = src_process(mState.get(), &data); error != 0) {
                throw InputError{std::string("the sample rate: ") + src_strerror(error)};
            }
            out.insert(out.end(), converted, converted + data.output_frames_gen);
            data.data_in += data.input_frames_used;
            data.input_frames -= data.input_frames_used;
        } while (data.output_frames_gen > 0 || data.input_frames_used > 0);
    }

private:
    double mRatio;
    std::unique_ptr<SRC_STATE, decltype(&src_delete)> mState;
};

float peakOf(const std::vector<float>& samples)
{
    float peak = 0;
    for (const float sample : samples) {
        peak = std::max(peak, std::abs(sample));
    }
    return peak;
}

// To 16 bits and never to -32768, which has no positive counterpart: the level is measured without it, and it would
// wrap when it is made louder. What is beyond full scale is brought down to it as a whole.
std::vector<int16_t> quantized(const std::vector<float>& samples)
{
    const double scale = 32768 / static_cast<double>(std::max(peakOf(samples), 1.0f));
    std::vector<int16_t> result;
    result.reserve(samples.size());
    for (const float sample : samples) {
        const int64_t value = ZKHAL::roundHalfAway(static_cast<double>(sample) * scale);
        result.push_back(static_cast<int16_t>(std::clamp<int64_t>(value, -32767, 32767)));
    }
    return result;
}

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
    Recording recording = {{}, 0, info.samplerate, info.channels, format.name != nullptr ? format.name : "sound"};
    RateConverter converter(info.samplerate, path);
    const auto channels = static_cast<size_t>(info.channels);
    constexpr size_t kFrames = 4096;
    constexpr double kLongest = 3600;  // seconds
    constexpr float kMost = 1e30f;     // what is beyond, or is no number, is damage
    std::vector<float> buffer(kFrames * channels), mixed, converted;
    float peak = 0;
    sf_count_t frames = 0;
    for (sf_count_t read; (read = sf_readf_float(file.get(), buffer.data(), kFrames)) > 0; frames += read) {
        mixed.clear();
        for (size_t i = 0; i < static_cast<size_t>(read); ++i) {
            float sum = 0;
            for (size_t channel = 0; channel < channels; ++channel) {
                sum += buffer[i * channels + channel];
            }
            const float mean = sum / static_cast<float>(channels);
            mixed.push_back(std::abs(mean) < kMost ? mean : 0);
        }
        peak = std::max(peak, peakOf(mixed));
        converter.convert(mixed, false, converted);
        if (static_cast<double>(frames) / recording.rate > kLongest) {
            throw InputError{path + ": it is longer than an hour"};
        }
    }
    recording.seconds = static_cast<double>(frames) / recording.rate;
    if (sf_error(file.get()) != SF_ERR_NO_ERROR || (info.seekable != 0 && frames < info.frames)) {
        throw InputError{path + ": it is damaged, only " + ZKHAL::plainNumber(recording.seconds) + " s can be read"};
    }
    if (frames == 0) {
        throw InputError{path + ": there are no samples in it"};
    }
    if (peak > 1) {
        std::cerr << path << ": it peaks at " << ZKHAL::plainNumber(static_cast<double>(peak))
                  << " times full scale, and is brought down to it\n";
    } else if (peak == 0) {
        std::cerr << path << ": it is silent\n";
    }
    mixed.clear();
    converter.convert(mixed, true, converted);
    recording.samples = quantized(converted);
    return recording;
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
    std::vector<int16_t> samples = recording.samples;
    if (samples.empty()) {
        throw InputError{options.input + ": it is too short for a sample at " + std::to_string(kRobotSoundRate) +
                         " Hz"};
    }
    std::fprintf(talk, "%s: %s, %.3f s, %d Hz, %d channel%s\n", options.input.c_str(), recording.kind.c_str(),
                 recording.seconds, recording.rate, recording.channels,
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
    std::printf("%s: %s of 1024 samples at %u Hz, %.3f s\n", path.c_str(),
                counted(reading.frames.size(), "frame").c_str(), reading.rate, reading.seconds());
    if (!reading.frames.empty()) {
        const auto [least, most] = std::minmax_element(reading.frames.begin(), reading.frames.end());
        const size_t sum = std::accumulate(reading.frames.begin(), reading.frames.end(), size_t{0});
        std::printf("frames of %zu%s bytes, %zu in all; their own headers say %u Hz%s\n", *least,
                    *least == *most ? "" : (" to " + std::to_string(*most)).c_str(), sum, reading.adtsRate,
                    reading.problems.empty() ? ", as robots expect" : "");
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
        "The recording is mixed to one channel, converted to 16000 Hz (without what is above 8000 Hz), brought to\n"
        "full level (at most five times as loud) and encoded with two bits for each sample.\n\n"
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
