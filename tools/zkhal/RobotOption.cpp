#include "RobotOption.h"

#include <string>

#include "CoreUtility/FormatText.h"
#include "ZKHAL/ZKRobotType.h"

namespace zkhal {

namespace {

struct RobotRow {
    const char* option;
    const char* name;
    uint32_t type;
};
constexpr RobotRow kRobots[] = {
    {"orvik", "Orvik", ZK_ROBOT_ORVIK},
    {"pell", "Pell", ZK_ROBOT_PELL},
    {"quill", "Quill", ZK_ROBOT_QUILL},
    {"rusk", "Rusk", ZK_ROBOT_RUSK},
};

}  // namespace

CLI::Option* addRobotOption(CLI::App& app, uint32_t& robotType)
{
    CLI::Option* option = app.add_option_function<std::string>(
        "--robot",
        [&robotType](const std::string& text) {
            for (const RobotRow& robot : kRobots) {
                if (CLI::detail::to_lower(text) == robot.option) {
                    robotType = robot.type;
                    return;
                }
            }
            if (!CLI::detail::lexical_cast(text, robotType) || text[0] == '-') {
                throw CLI::ValidationError("--robot", "orvik, pell, quill, rusk or a type code, not '" + text + "'");
            }
        },
        "Robot: orvik (default), pell, quill, rusk or a type code");
    return option->type_name("ROBOT");
}

std::string robotName(uint32_t robotType)
{
    for (const RobotRow& robot : kRobots) {
        if (robot.type == robotType) {
            return std::string(robot.name) + " (" + std::to_string(robotType) + ")";
        }
    }
    return std::to_string(robotType);
}

CLI::Validator finiteRange(double low, double high)
{
    const std::string range = ZKHAL::plainNumber(low) + " to " + ZKHAL::plainNumber(high);
    return CLI::Validator(
        [=](std::string& text) {
            double value = 0;
            const bool isInside = CLI::detail::lexical_cast(text, value) && value >= low && value <= high;
            return isInside ? std::string() : "a number from " + range + ", not '" + text + "'";
        },
        range);
}

}  // namespace zkhal
