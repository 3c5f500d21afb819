// Lessons: what is sent to robots, and what is waited for, line by line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace zkhal {

// A sensor value that is waited for: a number, or a range.
struct Condition {
    std::string sensor, key;
    double low, high;
};

struct LessonStep {
    enum class Kind { Send, Wait, Shell, Until, Hands };
    Kind kind;
    size_t line;           // in the file, from 1
    std::string to;        // the robot; "" for all
    size_t toColumn;       // where that stands, from 1
    std::string document;  // Send; it stands at its columns of the line
    std::string text;      // Shell: the command
    double seconds;        // Wait; the time-out of Shell and Until
    std::vector<Condition> until;
    std::vector<std::pair<std::string, double>> hands;  // what is done to a virtual robot
};

struct Lesson {
    std::vector<LessonStep> steps;
    // "LINE:COLUMN: what is wrong", a line each; a lesson with any is not run.
    std::string problems;
};

// JSON lines, or an animation sequence, which is played frame by frame.
Lesson readLesson(const std::string& text);

// Whether a sensor document meets all conditions.
bool isMet(const std::vector<Condition>& conditions, const std::string& report);

}  // namespace zkhal
