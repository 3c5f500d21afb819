#include "RobotDiary.h"

#include <cstdio>
#include <utility>
#include <vector>

namespace zkhal {

namespace {

constexpr size_t kMostNotes = 20000;

void noteLight(Bar& bar, double seconds, const ZKVirtualColor& color)
{
    char text[8];
    std::snprintf(text, sizeof text, "#%02x%02x%02x", static_cast<unsigned>(color.red),
                  static_cast<unsigned>(color.green), static_cast<unsigned>(color.blue));
    if (!bar.stretches.empty()) {
        bar.stretches.back().to = seconds;
    }
    if (bar.stretches.empty() || bar.stretches.back().color != text) {
        bar.stretches.push_back({seconds, seconds, text});
    }
}

// Leaves every second one.
template <class T>
void halve(std::vector<T>& notes)
{
    size_t kept = 0;
    for (size_t i = 0; i < notes.size(); i += 2) {
        if (kept != i) {
            notes[kept] = std::move(notes[i]);
        }
        ++kept;
    }
    notes.erase(notes.begin() + static_cast<std::ptrdiff_t>(kept), notes.end());
}

}  // namespace

void RobotDiary::note(const Simulator::VirtualRobot& robot)
{
    const ZKVirtualRobotState& state = robot.state();
    if (state.seconds < mNext) {
        return;
    }
    mNext = state.seconds + mInterval;
    mPath.points.push_back({state.x, state.y});
    const uint8_t eye = state.eyeLights != 0 ? state.eyeBrightness[0] : uint8_t{0};
    const ZKVirtualColor colors[] = {state.light102, state.light103, state.light104, {eye, eye, eye}};
    for (size_t i = 0; i < std::size(mLights); ++i) {
        noteLight(mLights[i], state.seconds, colors[i]);
    }
    if (mPath.points.size() > kMostNotes) {
        thinOut();
    }
}

void RobotDiary::thinOut()
{
    mInterval *= 2;
    halve(mPath.points);
    for (Bar& bar : mLights) {
        if (bar.stretches.size() > kMostNotes / 2) {
            const double end = bar.stretches.back().to;
            halve(bar.stretches);
            for (size_t i = 0; i < bar.stretches.size(); ++i) {
                bar.stretches[i].to = i + 1 < bar.stretches.size() ? bar.stretches[i + 1].from : end;
            }
        }
    }
}

std::string RobotDiary::picture(const Simulator::VirtualRobot& robot, const std::string& title) const
{
    const double x = robot.room().length / 2, y = robot.room().width / 2;
    const Curve walls = {"walls", "#888888", {{-x, -y}, {x, -y}, {x, y}, {-x, y}, {-x, -y}}, true};
    std::vector<Chart> charts;
    charts.push_back({"Path in the room", "x (cm)", "y (cm)", {walls, mPath}, true});
    charts.push_back({"Lights", "time (s)", "", {}, false, {std::begin(mLights), std::end(mLights)}});
    return drawPicture(title, charts);
}

}  // namespace zkhal
