// zkhal shell: the text shell of a virtual robot.
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>

#include <unistd.h>

#include "Commands.h"
#include "CoreUtility/FormatText.h"
#include "RobotOption.h"
#include "Session.h"

namespace zkhal {

namespace {

struct ShellOptions {
    uint32_t robotType = ZK_ROBOT_ORVIK;
    uint64_t seed = 1;
    double timeout = 1;
    bool quiet = false;
};

int runShell(const ShellOptions& options)
{
    Session session(
        options.robotType, options.seed, {}, [&](double seconds, const char* side, const std::string& words) {
            if (options.quiet) {
                return;
            }
            const std::string sign = side;
            std::printf("%8.3f  %s %s\n", seconds, sign == "out" ? "->" : sign == "in" ? "<-" : "  ", words.c_str());
        });
    session.showsBytes = true;
    session.showsRobot = false;
    if (!session.connect()) {
        return kBadInput;
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
        if (!std::getline(std::cin, line) || (isTyped && line.empty())) {
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
            std::printf("%s\n", answer.c_str());
        } else if (options.quiet) {
            std::fprintf(stderr, "zkhal shell: no answer to \"%s\"\n", ZKHAL::printable(line).c_str());
        }
        status = isAnswered ? status : kBadInput;
    }
    return status;
}

}  // namespace

void addShell(CLI::App& app, int& status)
{
    auto options = std::make_shared<ShellOptions>();
    CLI::App* command =
        app.add_subcommand("shell", "Type commands to a virtual robot's shell, see packets and answers");
    addRobotOption(*command, options->robotType);
    command->add_option("--seed", options->seed, "Another robot (default 1)");
    command->add_option("--timeout", options->timeout, "Seconds to wait for an answer (default 1)")
        ->check(finiteRange(0, 3600));
    command->add_flag("--quiet", options->quiet, "Print answers only");
    command->footer(
        "-> is written to the robot, <- is notified by it. Exit status 1 when a command was not answered in time.\n"
        "Time is the robot's own, nobody waits.\n\n"
        "Examples:\n"
        "  echo 'DUMP SND VER.EP1' | zkhal shell\n"
        "  printf 'NAME\\nSLEEP\\n' | zkhal shell --robot rusk --quiet");
    command->callback([options, &status] {
        if (Simulator::findModel(options->robotType) == nullptr) {
            std::cerr << "zkhal shell: there is no virtual robot of this type\n";
            status = kWrongUse;
            return;
        }
        status = runShell(*options);
    });
}

}  // namespace zkhal
