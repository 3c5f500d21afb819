#include "Hands.h"

#include <cerrno>
#include <cmath>
#include <cstring>
#include <vector>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include "CoreUtility/FormatText.h"
#include "CoreUtility/ReadReal.h"

namespace zkhal {

namespace {

constexpr double kPressSeconds = 0.4;
constexpr double kPush_cm = 10, kTurnDegrees = 15;
constexpr double kDegree = 3.141592653589793 / 180;
constexpr size_t kLongestLine = 200;
constexpr int kButtons = 4;

termios gTerminalBefore;

std::string placeOf(const ZKVirtualRobotState& state)
{
    return "x " + ZKHAL::plainNumber(std::round(state.x * 10) / 10) + ", y " +
           ZKHAL::plainNumber(std::round(state.y * 10) / 10) + ", heading " +
           ZKHAL::plainNumber(std::round(state.heading));
}

}  // namespace

// A line is the name and so many numbers.
struct Hands::LineRow {
    const char* name;
    size_t leastNumbers, mostNumbers;
    HandsSaid (*act)(Hands& hands, const std::vector<double>& numbers);
};

const Hands::LineRow Hands::kLines[] = {
    {"clap", 0, 1,
     [](Hands& hands, const std::vector<double>& numbers) -> HandsSaid {
         const double direction = numbers.empty() ? 0 : numbers[0];
         hands.mRobot.clap(direction);
         return {"a clap from " + ZKHAL::plainNumber(direction) + " degrees"};
     }},
    {"press", 1, 1,
     [](Hands& hands, const std::vector<double>& numbers) -> HandsSaid {
         hands.mRobot.press(static_cast<int>(numbers[0]), true);
         return {"button " + ZKHAL::plainNumber(numbers[0]) + " pressed"};
     }},
    {"release", 1, 1,
     [](Hands& hands, const std::vector<double>& numbers) -> HandsSaid {
         hands.mRobot.press(static_cast<int>(numbers[0]), false);
         return {"button " + ZKHAL::plainNumber(numbers[0]) + " released"};
     }},
    {"lift", 0, 0, [](Hands& hands, const std::vector<double>&) -> HandsSaid { return hands.lift(true); }},
    {"drop", 0, 0, [](Hands& hands, const std::vector<double>&) -> HandsSaid { return hands.lift(false); }},
    {"carry", 3, 3,
     [](Hands& hands, const std::vector<double>& numbers) -> HandsSaid {
         hands.mRobot.moveByHand(numbers[0], numbers[1], numbers[2]);
         return {"carried to " + placeOf(hands.mRobot.state())};
     }},
    {"battery", 1, 1,
     [](Hands& hands, const std::vector<double>& numbers) -> HandsSaid {
         hands.mRobot.setBattery(static_cast<unsigned>(numbers[0]), false);
         return {"battery at " + ZKHAL::plainNumber(numbers[0])};
     }},
    {"quit", 0, 0,
     [](Hands&, const std::vector<double>&) -> HandsSaid {
         return {"", false, true};
     }},
};

const char* Hands::keyHelp()
{
    return "keys: c clap, 0 to 3 a button, l lift or put down, w s push, a d turn, h help, q quit";
}

const char* Hands::lineHelp()
{
    return "lines: clap [DEGREES], press N, release N, lift, drop, carry X Y HEADING, battery N, quit";
}

HandsSaid Hands::key(char key)
{
    switch (key) {
        case 'c':
            return line("clap 0");
        case 'l':
            return lift(!mRobot.state().isLifted);
        case 'w':
            return push(kPush_cm, 0);
        case 's':
            return push(-kPush_cm, 0);
        case 'a':
            return push(0, kTurnDegrees);
        case 'd':
            return push(0, -kTurnDegrees);
        case 'q':
        case 4:
            return {"", false, true};  // Ctrl-D
        case '0':
        case '1':
        case '2':
        case '3': {
            mReleaseAt[key - '0'] = mRobot.state().seconds + kPressSeconds;
            return line(std::string("press ") + key);
        }
        case 'h':
        case '?':
            return {keyHelp()};
        default:
            return {};
    }
}

HandsSaid Hands::line(const std::string& line)
{
    const char* at = line.c_str();
    const auto skipBlanks = [&at] { at += std::strspn(at, " \t\r"); };
    skipBlanks();
    const size_t nameLength = std::strcspn(at, " \t\r");
    const std::string name(at, nameLength);
    if (name.empty()) {
        return {};
    }
    std::vector<double> numbers;
    at += nameLength;
    for (skipBlanks(); *at != '\0'; skipBlanks()) {
        const ZKHAL::ReadReal number = ZKHAL::readReal(at);
        if (number.end == at || std::strchr(" \t\r", *number.end) == nullptr || !std::isfinite(number.value)) {
            return {"not a number in \"" + ZKHAL::printable(line) + "\"", true};
        }
        numbers.push_back(number.value);
        at = number.end;
    }
    for (const LineRow& row : kLines) {
        if (name != row.name) {
            continue;
        }
        const bool isCount = name == "press" || name == "release" || name == "battery";
        const double most = name == "battery" ? 31 : kButtons - 1;
        if (numbers.size() < row.leastNumbers || numbers.size() > row.mostNumbers ||
            (isCount && !(numbers[0] >= 0 && numbers[0] <= most && numbers[0] == std::floor(numbers[0])))) {
            break;
        }
        return row.act(*this, numbers);
    }
    return {"cannot do \"" + ZKHAL::printable(line) + "\"; " + lineHelp(), true};
}

void Hands::letGo(double now)
{
    for (int button = 0; button < kButtons; ++button) {
        if (mReleaseAt[button] != 0 && now >= mReleaseAt[button]) {
            mReleaseAt[button] = 0;
            mRobot.press(button, false);
        }
    }
}

HandsSaid Hands::push(double forward_cm, double turnDegrees)
{
    const ZKVirtualRobotState& state = mRobot.state();
    const double heading = state.heading * kDegree;
    mRobot.moveByHand(state.x + forward_cm * std::cos(heading), state.y + forward_cm * std::sin(heading),
                      state.heading + turnDegrees);
    return {"moved to " + placeOf(mRobot.state())};
}

HandsSaid Hands::lift(bool isLifted)
{
    mRobot.lift(isLifted);
    return {isLifted ? "lifted" : "put down"};
}

HandInput::HandInput() : mIsTerminal(isatty(STDIN_FILENO) != 0 && tcgetattr(STDIN_FILENO, &gTerminalBefore) == 0)
{
    if (mIsTerminal) {
        termios keys = gTerminalBefore;
        keys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
        keys.c_cc[VMIN] = 0;
        keys.c_cc[VTIME] = 0;
        tcsetattr(STDIN_FILENO, TCSANOW, &keys);
    }
}

HandInput::~HandInput()
{
    if (mIsTerminal) {
        tcsetattr(STDIN_FILENO, TCSANOW, &gTerminalBefore);
    }
}

// Called when there is something: a read then does not wait.
void HandInput::read(Hands& hands, void (*tell)(void* user, const HandsSaid& said), void* user)
{
    char bytes[256];
    const ssize_t count = ::read(STDIN_FILENO, bytes, sizeof bytes);
    if (count <= 0) {
        mIsOpen = count < 0 && (errno == EINTR || errno == EAGAIN);
        if (!mIsOpen && !mLine.empty()) {
            tell(user, hands.line(mLine));
            mLine.clear();
        }
        return;
    }
    for (ssize_t i = 0; i < count; ++i) {
        if (mIsTerminal) {
            tell(user, hands.key(bytes[i]));
        } else if (bytes[i] == '\n') {
            if (mSkips) {
                tell(user, {"a line that is too long", true});
            } else {
                tell(user, hands.line(mLine));
            }
            mLine.clear();
            mSkips = false;
        } else if (mLine.size() == kLongestLine || bytes[i] == '\0') {
            mSkips = true;
        } else {
            mLine += bytes[i];
        }
    }
}

}  // namespace zkhal
