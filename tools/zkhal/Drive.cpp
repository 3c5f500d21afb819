// zkhal drive: a robot steered by hand.
#include <algorithm>
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>

#include <unistd.h>

#include "Commands.h"
#include "Host/Hub.h"
#include "Input.h"
#include "OutputFile.h"
#include "RobotChoice.h"
#include "Screen.h"

namespace zkhal {

namespace {

// What the keys have come to.
struct Stick {
    double forward = 0, turn = 0;  // cm/s of the wheels
    double pan = 0, tilt = 0;      // degrees
    int color = 0;
};

constexpr double kStep = 5, kMost = 40, kHeadStep = 10;
constexpr const char* kColors[] = {R"({"102":{"r":0,"g":0,"b":0},"103":{"r":0,"g":0,"b":0}})",
                                   R"({"102":{"r":1,"g":0,"b":0},"103":{"r":1,"g":0,"b":0}})",
                                   R"({"102":{"r":0,"g":1,"b":0},"103":{"r":0,"g":1,"b":0}})",
                                   R"({"102":{"r":0,"g":0,"b":1},"103":{"r":0,"g":0,"b":1}})"};

class Driver final : public Host::SessionListener {
public:
    void onState(Host::RobotSession& robot, Host::SessionState state, const Host::Error& error) override
    {
        stick.forward = stick.turn = 0;
        if (state == Host::SessionState::Ready) {
            robot.stop();  // a robot that comes back stands still
        }
        message = error ? "lost: " + inWords(error) : state == Host::SessionState::Ready ? "connected" : "";
    }
    void onReport(Host::RobotSession&, double, const char* json, size_t) override
    {
        last = json;
    }

    // Whether it goes on.
    bool take(Host::RobotSession& robot, Key key, int other)
    {
        switch (key) {
            case Key::Up:
                stick.forward = std::min(stick.forward + kStep, kMost);
                return steer(robot);
            case Key::Down:
                stick.forward = std::max(stick.forward - kStep, -kMost);
                return steer(robot);
            case Key::Left:
                stick.turn = std::max(stick.turn - kStep, -kMost);
                return steer(robot);
            case Key::Right:
                stick.turn = std::min(stick.turn + kStep, kMost);
                return steer(robot);
            default:
                return takeLetter(robot, other);
        }
    }

    Stick stick;
    std::string last, message;

private:
    bool takeLetter(Host::RobotSession& robot, int letter)
    {
        switch (letter) {
            case ' ':
                stick.forward = stick.turn = 0;
                robot.stop();
                return true;
            case 'a':
            case 'd':
                stick.pan = std::clamp(stick.pan + (letter == 'a' ? kHeadStep : -kHeadStep), -120.0, 120.0);
                return steer(robot);
            case 'w':
            case 's':
                stick.tilt = std::clamp(stick.tilt + (letter == 'w' ? kHeadStep / 2 : -kHeadStep / 2), -24.0, 7.0);
                return steer(robot);
            case 'l':
                stick.color = (stick.color + 1) % 4;
                return told(robot.send(kColors[stick.color]));
            case 'h':
                return told(robot.send(R"({"300":{"file":"SYSTHELLO","volume":0.6}})"));
            case 'q':
            case 27:
                return false;
            default:
                return true;
        }
    }

    bool steer(Host::RobotSession& robot)
    {
        // Wheels and head together, since the latest document takes the place of the one before.
        char json[160];
        const double left = std::clamp(stick.forward + stick.turn, -kMost, kMost);
        const double right = std::clamp(stick.forward - stick.turn, -kMost, kMost);
        std::snprintf(
            json, sizeof json, R"({"211":{"left_cm_s":%d,"right_cm_s":%d},"203":{"degree":%d},"202":{"degree":%d}})",
            static_cast<int>(left), static_cast<int>(right), static_cast<int>(stick.pan), static_cast<int>(stick.tilt));
        return told(robot.steer(json));
    }

    bool told(const Host::Error& error)
    {
        message = error ? inWords(error) : "";
        return true;
    }
};

int drive(RobotChoice choice)
{
    if (isatty(STDIN_FILENO) == 0 || isatty(STDOUT_FILENO) == 0) {
        throw InputError{"driving by hand wants a terminal; zkhal run plays a lesson"};
    }
    choice.pace = "real";
    catchInterrupts();
    Driver driver;
    Radio radio(choice);
    Host::Hub& hub = radio.hub();
    Host::SessionOptions options;
    options.retries = choice.retries;
    Host::RobotSession& robot = hub.open(radio.names()[0], options, &driver);
    {
        Screen screen;
        double drawnAt = -1;
        for (bool goesOn = true; goesOn && !isInterrupted() && robot.state() != Host::SessionState::Ended;) {
            hub.poll(Host::Hub::kTick);
            int other = 0;
            for (Key key; goesOn && (key = screen.key(other)) != Key::None;) {
                goesOn = driver.take(robot, key, other);
            }
            if (hub.now() - drawnAt < 0.05) {
                continue;
            }
            drawnAt = hub.now();
            screen.begin();
            const std::string name = robot.info().name[0] != '\0' ? robot.info().name : robot.who();
            screen.line(0,
                        name + "  " +
                            (robot.isReady()          ? "connected"
                             : driver.message.empty() ? "looking for it ..."
                                                      : driver.message),
                        true);
            char words[120];
            std::snprintf(words, sizeof words,
                          "wheels: forward %3.0f cm/s, turn %3.0f cm/s   head: %3.0f, %3.0f degrees",
                          driver.stick.forward, driver.stick.turn, driver.stick.pan, driver.stick.tilt);
            screen.line(1, words);
            const int row = driver.last.empty() ? 3 : screen.report(3, driver.last);
            screen.line(row + 1, "arrows drive, space stops, a d w s turn the head, l lights, h hello, q ends");
            screen.line(row + 2, driver.message);
            screen.end();
        }
    }
    robot.stop();
    hub.runUntil([&] { return robot.isIdle() || !robot.isReady(); }, 1);
    hub.run(0.1);
    const Host::Error error = robot.lastError();
    const bool isLost = robot.state() == Host::SessionState::Ended;
    robot.disconnect();
    hub.run(0.05);
    if (isLost) {
        std::cerr << "zkhal drive: " << shown(inWords(error)) << '\n';
    }
    return isLost ? kLostRobot : kSuccess;
}

}  // namespace

void addDrive(CLI::App& app, int& status)
{
    auto choice = std::make_shared<RobotChoice>();
    CLI::App* command = app.add_subcommand("drive", "Steer a robot by hand: arrows, head, lights, sounds");
    addRobotChoice(*command, *choice, false);
    command->footer(
        "Of the positions of the stick only the latest is sent, so that a slow link plays no old ones. A robot that "
        "is\n"
        "lost stands still when it comes back.\n\n"
        "Examples:\n"
        "  zkhal drive --robot virtual:orvik\n"
        "  zkhal drive --robot 'Orvik num'");
    command->callback([choice, &status] {
        try {
            const QuietLibrary quiet;
            status = drive(*choice);
        } catch (const InputError& problem) {
            std::cerr << "zkhal drive: " << problem.message << '\n';
            status = kBadInput;
        }
    });
}

}  // namespace zkhal
