// zkhal shell: the text shell of a robot.
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>

#include <unistd.h>

#include "Commands.h"
#include "Input.h"
#include "OutputFile.h"
#include "RobotChoice.h"
#include "RobotOption.h"
#include "Talk.h"

namespace zkhal {

namespace {

struct ShellOptions {
    RobotChoice robot;
    uint64_t seed = 1;
    double timeout = 1;
    bool quiet = false;
};

int runShell(const ShellOptions& options)
{
    Talk session(options.robot, [&](double seconds, const char* side, const std::string& words) {
        if (options.quiet) {
            return;
        }
        const std::string sign = side;
        std::printf("%8.3f  %s %s\n", seconds, sign == "out" ? "->" : sign == "in" ? "<-" : "  ", words.c_str());
    });
    session.showsBytes = true;
    session.showsRobot = false;
    catchInterrupts();
    if (!session.connect()) {
        return isInterrupted() ? kStopped : kLostRobot;
    }
    const bool isTyped = isatty(STDIN_FILENO) != 0;
    int status = kSuccess;
    if (isTyped) {
        std::puts("Type a command, such as HELP; an empty line or Ctrl-D ends.");
    }
    for (std::string line;;) {
        if (isTyped) {
            std::printf("> ");
            std::fflush(stdout);
        }
        session.runUntilInput();  // so that a loss is told, and reports do not pile up
        if (isInterrupted() || session.isLost() || !std::getline(std::cin, line) || (isTyped && line.empty())) {
            break;
        }
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        if (line.empty()) {
            continue;
        }
        if (line.find('\0') != std::string::npos) {
            std::fprintf(stderr, "zkhal shell: a zero byte is no text\n");
            status = kBadInput;
            continue;
        }
        std::string answer;
        const bool isAnswered = session.ask(line, options.timeout, answer);
        if (options.quiet && isAnswered) {
            std::printf("%s\n", shown(answer).c_str());
        } else if (options.quiet) {
            std::fprintf(stderr, "zkhal shell: no answer to \"%s\"\n", shown(line).c_str());
        }
        status = isAnswered ? status : kBadInput;
    }
    const bool isLost = session.isLost();
    session.disconnect();
    if (isInterrupted()) {
        return kStopped;
    }
    return isLost ? kLostRobot : status;
}

}  // namespace

void addShell(CLI::App& app, int& status)
{
    auto options = std::make_shared<ShellOptions>();
    CLI::App* command = app.add_subcommand("shell", "Type commands to a robot's shell, see packets and answers");
    addRobotChoice(*command, options->robot, false);
    command->add_option("--seed", options->seed, "Another virtual robot (default 1)");
    command->add_option("--timeout", options->timeout, "Seconds to wait for an answer (default 1)")
        ->check(finiteRange(0.001, 3600));
    command->add_flag("--quiet", options->quiet, "Print answers only");
    command->footer(
        "-> is written to the robot, <- is notified by it. Exit status 1 when a command was not answered in time.\n"
        "orvik, pell, quill and rusk are virtual robots here.\n\n"
        "Examples:\n"
        "  echo 'DUMP SND VER.EP1' | zkhal shell\n"
        "  printf 'NAME\\nSLEEP\\n' | zkhal shell --robot rusk --quiet\n"
        "  zkhal shell --robot 'Orvik num'");
    command->callback([options, &status] {
        try {
            preferVirtual(options->robot, options->seed);
            const QuietLibrary quiet;
            status = runShell(*options);
        } catch (const InputError& problem) {
            std::cerr << "zkhal shell: " << problem.message << '\n';
            status = kBadInput;
        }
    });
}

}  // namespace zkhal
