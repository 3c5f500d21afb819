// zkhal: the library on the command line.
#include <algorithm>
#include <exception>
#include <iostream>
#include <numeric>
#include <string>
#include <vector>

#include "Commands.h"
#include "CoreUtility/FormatText.h"
#include "OutputFile.h"
#include "ZKHAL/ZKHAL.h"

namespace {

// How many letters are to be inserted, dropped or replaced to make one of the other.
size_t distance(const std::string& a, const std::string& b)
{
    std::vector<size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 0; i < a.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i + 1;
        for (size_t k = 0; k < b.size(); ++k) {
            const size_t replaced = diagonal + (a[i] == b[k] ? 0 : 1);
            diagonal = row[k + 1];
            row[k + 1] = std::min({replaced, row[k] + 1, diagonal + 1});
        }
    }
    return row.back();
}

void tellCommands(const CLI::App& app, const std::string& unknown)
{
    std::string near, all;
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        const std::string& name = command->get_name();
        constexpr size_t kNear = 2;
        if (unknown.size() > kNear && (distance(unknown, name) <= kNear || name.rfind(unknown, 0) == 0)) {
            near += (near.empty() ? " Did you mean " : " or ") + name;
        }
        all += ' ' + name;
    }
    std::cerr << "zkhal: '" << ZKHAL::printable(unknown) << "' is no command." << near << (near.empty() ? "" : "?")
              << "\nCommands:" << all << "\nRun with --help for more information.\n";
}

}  // namespace

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
#if ZKHAL_HAS_BLUETOOTH
    zkhal::addOnAir(app, status);
#endif
#if ZKHAL_HAS_SOUND
    zkhal::addSound(app, status);
#endif

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& problem) {
        const bool isUnknown = app.get_subcommands().empty() && argc > 1 &&
                               problem.get_exit_code() == static_cast<int>(CLI::ExitCodes::RequiredError);
        if (isUnknown) {
            tellCommands(app, argv[1]);
            return zkhal::kWrongUse;
        }
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
