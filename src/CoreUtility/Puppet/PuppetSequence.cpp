#include "CoreUtility/Puppet/PuppetSequence.h"

#include <cstring>
#include <limits>

#include "CoreUtility/Assertion.h"
#include "CoreUtility/Numbers.h"
#include "ZKHAL/ZKComponentId.h"

namespace Internal {

using ZKHAL::PayloadText;

namespace {

constexpr float kToTheEnd = -1;
constexpr float kShortFrame = 0.033f;  // seconds
constexpr size_t kShortFrames = 5;     // of the first: the robot gets its first targets ahead of time

float degrees(float radians)
{
    return ZKHAL::narrowed(static_cast<double>(radians) / ZKHAL::kTwoPi * 360);
}

void append(PayloadText& out, const char* text)
{
    out.append(text, std::strlen(text));
}

// "205":{, behind a prefix
void openComponent(PayloadText& out, const char* prefix, ZKComponentId id)
{
    append(out, prefix);
    out.append("\"");
    out.appendUnsigned(static_cast<unsigned>(id));
    out.append("\":{");
}

void appendKey(PayloadText& out, const char* prefix, const char* key)
{
    append(out, prefix);
    out.append('"');
    append(out, key);
    out.append("\":");
}

std::string joined(const PayloadText& text)
{
    return std::string(text.data(), text.length());
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
        return "{\"data\": [" + joined(mText) + "]}";
    }

private:
    void add(float duration, const std::string& commands, const puppetPose_t& pose, const bool* lookAhead)
    {
        append(mText, mCount == 0 ? "{" : ",{");
        appendKVPairNum(mText, "", "frame", static_cast<int>(mCount + 1));
        appendKVPairNum(mText, ",", "duration", duration);
        appendKVPairObj(mText, ",", "commands", commands);
#ifdef ZKHAL_PUPPET_DIAGNOSTICS
        appendKVPairNum(mText, ",", "frameTime", mElapsed);
        appendKVPairNum(mText, ",", "poseTime", pose.t);
        if (lookAhead != nullptr) {
            appendKVPairNum(mText, ",", "lookAhead", *lookAhead ? 1 : 0);
        }
#else
        static_cast<void>(pose);
        static_cast<void>(lookAhead);
#endif
        mText.append('}');
        ++mCount;
        mElapsed += duration;
    }

    PayloadText mText;
    size_t mCount = 0;
    float mElapsed = 0;
};

}  // namespace

void appendKVPairNum(PayloadText& out, const char* prefix, const char* key, int value)
{
    appendKey(out, prefix, key);
    out.appendSigned(value);
}

void appendKVPairNum(PayloadText& out, const char* prefix, const char* key, float value)
{
    appendKey(out, prefix, key);
    out.appendFixed(value);
}

void appendKVPairObj(PayloadText& out, const char* prefix, const char* key, const std::string& value)
{
    appendKey(out, prefix, key);
    out.append(value.data(), value.size());
}

std::string toJsonSetTempGlobal(const puppetPose_t& pose)
{
    PayloadText out;
    openComponent(out, "{", ZK_COMPONENT_BODY_POSE);
    appendKVPairNum(out, "", "mode", 4);
    appendKVPairNum(out, ",", "x", pose.x);
    appendKVPairNum(out, ",", "y", pose.y);
    appendKVPairNum(out, ",", "degree", degrees(pose.theta));
    appendKVPairNum(out, ",", "time", 0.0f);
    out.append("}}");
    return joined(out);
}

std::string toJsonTempGlobal(const puppetPose_t& pose, float time)
{
    PayloadText out;
    openComponent(out, "{", ZK_COMPONENT_BODY_POSE);
    appendKVPairNum(out, "", "mode", 5);
    appendKVPairNum(out, ",", "dir", 2);
    appendKVPairNum(out, ",", "wrap_theta", 0);
    appendKVPairNum(out, ",", "x", pose.x);
    appendKVPairNum(out, ",", "y", pose.y);
    appendKVPairNum(out, ",", "degree", degrees(pose.theta));
    appendKVPairNum(out, ",", "time", time);
    openComponent(out, "},", ZK_COMPONENT_HEAD_PAN);
    appendKVPairNum(out, "", "degree", degrees(pose.pan));
    appendKVPairNum(out, ",", "time", time);
    openComponent(out, "},", ZK_COMPONENT_TILT_206);
    appendKVPairNum(out, "", "degree", degrees(pose.tilt));
    appendKVPairNum(out, ",", "time", time);
    out.append("}}");
    return joined(out);
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
