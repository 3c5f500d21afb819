#include "CoreUtility/Puppet/PuppetSequence.h"

#include <charconv>
#include <ios>
#include <limits>
#include <locale>
#include <sstream>

#include "CoreUtility/Assertion.h"
#include "CoreUtility/Numbers.h"
#include "ZKHAL/ZKComponentId.h"

namespace Internal {

namespace {

constexpr float kToTheEnd = -1;
constexpr float kShortFrame = 0.033f;  // seconds
constexpr int kDigits = 4;             // after the point
constexpr size_t kShortFrames = 5;     // of the first: the robot gets its first targets ahead of time

float degrees(float radians)
{
    return ZKHAL::narrowed(static_cast<double>(radians) / ZKHAL::kTwoPi * 360);
}

std::string component(ZKComponentId id)
{
    return std::to_string(static_cast<unsigned>(id));
}

bool isAsSetUp(const std::ostream& out)
{
    return out.flags() == (std::ios::fixed | std::ios::skipws | std::ios::dec) && out.precision() == kDigits &&
           out.getloc() == std::locale::classic();
}

// The frames of one sequence, and how long they last together.
class Frames {
public:
    size_t count() const
    {
        return mCount;
    }
    float elapsed() const
    {
        return mElapsed;
    }

    void addSetPose(const puppetPose_t& pose)
    {
        add(kShortFrame, toJsonSetTempGlobal(pose), pose, nullptr);
        logPose(LOGGING_COMMANDED, "SET_TEMP", mElapsed, 0, pose.x, pose.y, pose.theta, pose.pan, pose.tilt);
    }

    void addDriveToPose(const puppetPose_t& pose, float duration, bool lookAhead)
    {
        const float time = pose.t - mElapsed;
        add(duration, toJsonTempGlobal(pose, time), pose, &lookAhead);
        logPose(LOGGING_COMMANDED, "TEMP", mElapsed, time, pose.x, pose.y, pose.theta, pose.pan, pose.tilt);
    }

    std::string join() const
    {
        return "{\"data\": [" + mText + "]}";
    }

private:
    void add(float duration, const std::string& commands, const puppetPose_t& pose, const bool* lookAhead)
    {
        std::ostringstream out;
        setupOSS(out);
        out << (mCount == 0 ? "{" : ",{");
        appendKVPairNum(out, "", "frame", static_cast<int>(mCount + 1));
        appendKVPairNum(out, ",", "duration", duration);
        appendKVPairObj(out, ",", "commands", commands);
#ifdef ZKHAL_PUPPET_DIAGNOSTICS
        appendKVPairNum(out, ",", "frameTime", mElapsed);
        appendKVPairNum(out, ",", "poseTime", pose.t);
        if (lookAhead != nullptr) {
            appendKVPairNum(out, ",", "lookAhead", *lookAhead ? 1 : 0);
        }
#else
        static_cast<void>(pose);
        static_cast<void>(lookAhead);
#endif
        out << "}";
        mText += out.str();
        ++mCount;
        mElapsed += duration;
    }

    std::string mText;
    size_t mCount = 0;
    float mElapsed = 0;
};

}  // namespace

void setupOSS(std::ostream& out)
{
    out.imbue(std::locale::classic());
    out.setf(std::ios::fixed, std::ios::floatfield);
    out.precision(kDigits);
}

void appendKVPairNum(std::ostream& out, const char* prefix, const char* key, int value)
{
    out << prefix << '"' << key << "\":" << value;
}

// In the format that setupOSS() sets, a number is written without the stream, in a fifth of the time: an hour of
// recording has half a million of them.
void appendKVPairNum(std::ostream& out, const char* prefix, const char* key, float value)
{
    if (!isAsSetUp(out)) {
        out << prefix << '"' << key << "\":" << value;
        return;
    }
    char text[64];  // single precision has 39 digits before the point
    const std::to_chars_result end =
        std::to_chars(text, text + sizeof text, static_cast<double>(value), std::chars_format::fixed, kDigits);
    out << prefix << '"' << key << "\":";
    out.write(text, end.ptr - text);
}

void appendKVPairObj(std::ostream& out, const char* prefix, const char* key, const std::string& value)
{
    out << prefix << '"' << key << "\":" << value;
}

std::string toJsonSetTempGlobal(const puppetPose_t& pose)
{
    std::ostringstream out;
    setupOSS(out);
    out << "{\"" << component(ZK_COMPONENT_BODY_POSE) << "\":{";
    appendKVPairNum(out, "", "mode", 4);
    appendKVPairNum(out, ",", "x", pose.x);
    appendKVPairNum(out, ",", "y", pose.y);
    appendKVPairNum(out, ",", "degree", degrees(pose.theta));
    appendKVPairNum(out, ",", "time", 0.0f);
    out << "}}";
    return out.str();
}

std::string toJsonTempGlobal(const puppetPose_t& pose, float time)
{
    std::ostringstream out;
    setupOSS(out);
    out << "{\"" << component(ZK_COMPONENT_BODY_POSE) << "\":{";
    appendKVPairNum(out, "", "mode", 5);
    appendKVPairNum(out, ",", "dir", 2);
    appendKVPairNum(out, ",", "wrap_theta", 0);
    appendKVPairNum(out, ",", "x", pose.x);
    appendKVPairNum(out, ",", "y", pose.y);
    appendKVPairNum(out, ",", "degree", degrees(pose.theta));
    appendKVPairNum(out, ",", "time", time);
    out << "},\"" << component(ZK_COMPONENT_HEAD_PAN) << "\":{";
    appendKVPairNum(out, "", "degree", degrees(pose.pan));
    appendKVPairNum(out, ",", "time", time);
    out << "},\"" << component(ZK_COMPONENT_TILT_206) << "\":{";
    appendKVPairNum(out, "", "degree", degrees(pose.tilt));
    appendKVPairNum(out, ",", "time", time);
    out << "}}";
    return out.str();
}

void buildSubsequence(puppetRecord_t& record, float tStart, float tEnd)
{
    if (tEnd == kToTheEnd) {
        tEnd = std::numeric_limits<float>::infinity();
    }
    if (!recordNeedsSequenceBuilt(record, tStart, tEnd)) {
        return;
    }
    const std::vector<puppetPose_t>& poses = record.poses;
    size_t nBegin = 0, nEnd = poses.size();
    for (size_t i = 0; i < nEnd; ++i) {
        if (tStart >= poses[i].t) {
            nBegin = i;
        }
        if (poses[i].t > tEnd) {
            nEnd = i;
        }
    }
    Frames frames;
    for (size_t n = nBegin; n < nEnd; ++n) {
        const puppetPose_t& pose = poses[n];
        if (n == nBegin) {
            frames.addSetPose(pose);
            frames.addSetPose(pose);
            continue;
        }
        ZK_ASSERT(n > nBegin);
        const bool lookAhead = frames.count() < kShortFrames;
        const bool isLast = n >= nEnd - 1;
        const float duration = lookAhead ? kShortFrame
                               : isLast  ? (poses[n].t - poses[n - 1].t) * 2
                                         : poses[n + 1].t - poses[n].t;
        frames.addDriveToPose(pose, duration, lookAhead);
    }
    record.sequence = frames.join();
    record.needsBuild = false;
    record.lastStart = tStart;
    record.lastEnd = tEnd;
}

}  // namespace Internal
