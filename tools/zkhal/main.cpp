// zkhal: the library on the command line.
#include <exception>
#include <iostream>

#include "Commands.h"
#include "OutputFile.h"
#include "ZKHAL/ZKHAL.h"

int main(int argc, char** argv)
{
    zkhal::sendMessagesToStderr();

    CLI::App app("Commands and sensors of small classroom robots, without a radio.", "zkhal");
    app.set_version_flag("--version", "zkhal " ZKHAL_VERSION);
    app.require_subcommand(1);
    app.footer(
        "Exit status: 0 success, 1 bad input, 2 wrong use, 3 a robot was lost.\n'zkhal COMMAND --help' shows "
        "examples.");
    int status = zkhal::kSuccess;
#if ZKHAL_HAS_HOST
    zkhal::addScan(app, status);
    zkhal::addRun(app, status);
    zkhal::addWatch(app, status);
    zkhal::addDrive(app, status);
    zkhal::addShell(app, status);
    zkhal::addDemo(app, status);
#endif
    zkhal::addEncode(app, status);
    zkhal::addExplain(app, status);
    zkhal::addDecode(app, status);
    zkhal::addAdvert(app, status);
    zkhal::addPuppet(app, status);
    zkhal::addVocabulary(app, status);
#if ZKHAL_HAS_SOUND
    zkhal::addSound(app, status);
#endif

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& problem) {
        return app.exit(problem, std::cout, std::cerr) == 0 ? zkhal::kSuccess : zkhal::kWrongUse;
    } catch (const std::exception& problem) {
        std::cerr << "zkhal: " << problem.what() << '\n';
        return zkhal::kBadInput;
    }
    std::cout.flush();
    if (!std::cout) {
        std::cerr << "zkhal: cannot write the result\n";
        return zkhal::kBadInput;
    }
    return status;
}
