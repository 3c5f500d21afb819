#include "Recording.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "CoreUtility/FormatText.h"
#include "CoreUtility/Numbers.h"
#include "Input.h"

namespace zkhal {

namespace {

constexpr char kLogHeader[] = "operation, tAnim, tPose, x, y, theta, pan, tilt";
constexpr char kMeasured[] = "MEAS";

std::string trimmed(const std::string& text)
{
    const size_t begin = text.find_first_not_of(" \t\r");
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(" \t\r") + 1 - begin);
}

std::vector<std::string> fieldsOf(const std::string& line)
{
    std::vector<std::string> fields;
    for (size_t at = 0; at <= line.size();) {
        const size_t comma = std::min(line.find(',', at), line.size());
        fields.push_back(trimmed(line.substr(at, comma - at)));
        at = comma + 1;
    }
    return fields;
}

std::string withoutBlanks(std::string text)
{
    text.erase(std::remove(text.begin(), text.end(), ' '), text.end());
    return text;
}

// A finite number, which single precision holds.
bool readNumber(const std::string& text, float& number)
{
    const size_t sign = !text.empty() && text[0] == '+' ? 1 : 0;
    double value = 0;
    const char* const textEnd = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data() + sign, textEnd, value);
    number = ZKHAL::narrowed(value);
    return error == std::errc() && end == textEnd && text.size() > sign && std::isfinite(number);
}

}  // namespace

std::vector<Internal::puppetPose_t> readRecording(const std::string& name, const std::string& text)
{
    std::vector<Internal::puppetPose_t> poses;
    bool isLog = false, hasHeader = false;
    int number = 0;
    for (size_t at = 0, end; at < text.size(); at = end + 1) {
        end = std::min(text.find('\n', at), text.size());
        const std::string line = trimmed(text.substr(at, end - at));
        const std::string place = name + ":" + std::to_string(++number) + ": ";
        if (line.empty()) {
            continue;
        }
        if (!hasHeader) {
            isLog = line == kLogHeader;
            hasHeader = isLog || withoutBlanks(line) == kRecordingHeader;
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
                throw InputError{place + "\"" + ZKHAL::printable(fields[i]) + "\" is no finite number"};
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
