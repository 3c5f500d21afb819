#include "Recording.h"

#include <charconv>

#include "CoreUtility/FormatText.h"
#include "Input.h"

namespace zkhal {

namespace {

constexpr char kLogHeader[] = "operation, tAnim, tPose, x, y, theta, pan, tilt";
constexpr char kMeasured[] = "MEAS";

std::vector<std::string> fieldsOf(const std::string& line)
{
    std::vector<std::string> fields;
    for (size_t at = 0; at <= line.size();) {
        const size_t comma = std::min(line.find(',', at), line.size());
        const size_t begin = std::min(line.find_first_not_of(" \t", at), comma);
        const size_t last = line.find_last_not_of(" \t", comma == 0 ? 0 : comma - 1);
        fields.push_back(last == std::string::npos || last < begin ? "" : line.substr(begin, last + 1 - begin));
        at = comma + 1;
    }
    return fields;
}

bool readNumber(const std::string& text, float& number)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() && !text.empty();
}

}  // namespace

std::vector<Internal::puppetPose_t> readRecording(const std::string& name, const std::string& text)
{
    std::vector<Internal::puppetPose_t> poses;
    bool isLog = false, hasHeader = false;
    int number = 0;
    for (size_t at = 0, end; at < text.size(); at = end + 1) {
        end = std::min(text.find('\n', at), text.size());
        std::string line = text.substr(at, end - at);
        while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) {
            line.pop_back();
        }
        const std::string place = name + ":" + std::to_string(++number) + ": ";
        if (line.empty()) {
            continue;
        }
        if (!hasHeader) {
            isLog = line == kLogHeader;
            hasHeader = isLog || line == kRecordingHeader;
            if (!hasHeader) {
                throw InputError{place + "a recording begins with the line " + kRecordingHeader};
            }
            continue;
        }
        std::vector<std::string> fields = fieldsOf(line);
        if (isLog) {
            if (fields.size() != 8 || fields[0] != kMeasured) {
                throw InputError{place + "a line of measured.csv is MEAS and seven numbers"};
            }
            fields.erase(fields.begin(), fields.begin() + 2);  // the word, and the animation's time
        }
        Internal::puppetPose_t pose = {};
        float* const values[] = {&pose.t, &pose.x, &pose.y, &pose.theta, &pose.pan, &pose.tilt};
        if (fields.size() != 6) {
            throw InputError{place + "six numbers are wanted, not " + std::to_string(fields.size())};
        }
        for (size_t i = 0; i < 6; ++i) {
            if (!readNumber(fields[i], *values[i])) {
                throw InputError{place + "\"" + ZKHAL::printable(fields[i]) + "\" is no number"};
            }
        }
        poses.push_back(pose);
    }
    if (!hasHeader) {
        throw InputError{name + ": a recording begins with the line " + kRecordingHeader};
    }
    return poses;
}

std::string recordingText(const std::vector<Internal::puppetPose_t>& poses)
{
    std::string text = std::string(kRecordingHeader) + "\n";
    for (const Internal::puppetPose_t& pose : poses) {
        const float values[] = {pose.t, pose.x, pose.y, pose.theta, pose.pan, pose.tilt};
        for (size_t i = 0; i < 6; ++i) {
            text += (i == 0 ? "" : ",") + ZKHAL::plainNumber(static_cast<double>(values[i]));
        }
        text += '\n';
    }
    return text;
}

}  // namespace zkhal
