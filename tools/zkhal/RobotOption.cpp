#include "RobotOption.h"

#include <string>

#include "CoreUtility/FormatText.h"
#include "ZKHAL/Vocabulary.h"

namespace zkhal {

CLI::Option* addRobotOption(CLI::App& app, uint32_t& robotType)
{
    CLI::Option* option = app.add_option_function<std::string>(
        "--robot",
        [&robotType](const std::string& text) {
            ZKRobotTypeInfo robot = {};
            robot.size = sizeof robot;
            if (ZKFindRobotType(text.c_str(), &robot)) {
                robotType = robot.type;
            } else if (!CLI::detail::lexical_cast(text, robotType) || text[0] == '-') {
                throw CLI::ValidationError("--robot", "orvik, pell, quill, rusk or a type code, not '" + text + "'");
            }
        },
        "Robot: orvik (default), pell, quill, rusk or a type code");
    return option->type_name("ROBOT");
}

std::string robotName(uint32_t robotType)
{
    ZKRobotTypeInfo robot = {};
    robot.size = sizeof robot;
    const std::string code = std::to_string(robotType);
    return ZKFindRobotType(code.c_str(), &robot) ? std::string(robot.words) + " (" + code + ")" : code;
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

const char* batteryInWords(uint32_t level)
{
    switch (level) {
        case 0:
            return "empty";
        case 1:
            return "very low";
        case 2:
            return "low";
        case 10:
            return "medium";
        case 20:
            return "full";
        default:
            return "unknown";
    }
}

}  // namespace zkhal
