// --robot, by name or by type code.
#pragma once

#include <cstdint>

#include <CLI/CLI.hpp>

namespace zkhal {

CLI::Option* addRobotOption(CLI::App& app, uint32_t& robotType);

// "Orvik (1001)", or the number alone.
std::string robotName(uint32_t robotType);

// For real options: a number from low to high. Not-a-number is none.
CLI::Validator finiteRange(double low, double high);

// An advertised battery level: "full".
const char* batteryInWords(uint32_t level);

}  // namespace zkhal
