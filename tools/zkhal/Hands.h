// Hands on a virtual robot: keys of a terminal, or lines of text.
#pragma once

#include <string>

#include "Simulator/VirtualRobot.h"

namespace zkhal {

// What a line or a key did, in words; or why it did nothing.
struct HandsSaid {
    std::string words = {};
    bool isProblem = false;
    bool quits = false;
};

class Hands {
public:
    explicit Hands(Simulator::VirtualRobot& robot) : mRobot(robot) {}

    HandsSaid key(char key);
    HandsSaid line(const std::string& line);
    // A key has no release that a terminal would tell: buttons pressed with one come up by themselves. now: the
    // robot's.
    void letGo(double now);

    static const char* keyHelp();
    static const char* lineHelp();

private:
    struct LineRow;
    static const LineRow kLines[];
    HandsSaid push(double forward_cm, double turnDegrees);
    HandsSaid lift(bool isLifted);

    Simulator::VirtualRobot& mRobot;
    double mReleaseAt[4] = {};  // 0: not held
};

// Standard input, without waiting: key by key from a terminal, which is set back at the end, else line by line.
class HandInput {
public:
    HandInput();
    ~HandInput();
    HandInput(const HandInput&) = delete;
    HandInput& operator=(const HandInput&) = delete;

    bool isTerminal() const
    {
        return mIsTerminal;
    }
    bool isOpen() const
    {
        return mIsOpen;
    }
    // What is there. More of a line than anybody means is dropped.
    void read(Hands& hands, void (*tell)(void* user, const HandsSaid& said), void* user);

private:
    bool mIsTerminal, mIsOpen = true, mSkips = false;
    std::string mLine;
};

}  // namespace zkhal
