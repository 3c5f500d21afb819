// zkhal scan: the robots in reach.
#include <algorithm>
#include <cstdio>
#include <iostream>
#include <map>
#include <memory>
#include <string>

#include <sys/ioctl.h>
#include <unistd.h>

#include "Commands.h"
#include "Host/Hub.h"
#include "Input.h"
#include "JsonWriter.h"
#include "RobotChoice.h"
#include "RobotOption.h"
#include "ZKHAL/Vocabulary.h"

namespace zkhal {

namespace {

struct ScanOptions {
    double seconds = 5;
    std::string adapter;
    bool json = false;
    unsigned virtualRobots = 0;
    std::vector<std::string> who;  // none: all
};

const char* familyOf(uint32_t type)
{
    ZKRobotTypeInfo info = {};
    info.size = sizeof info;
    return ZKFindRobotType(std::to_string(type).c_str(), &info) ? info.words : "unrecognised";
}

std::string firmwareOf(const ZKRobotInfo& info)
{
    const uint8_t* version = info.firmwareVersion;
    return std::to_string(version[0]) + '.' + std::to_string(version[1]) + '.' + std::to_string(version[2]);
}

bool isCharging(const ZKRobotInfo& info)
{
    return info.chargeMode == 1 || info.chargeMode == 2;
}

std::string jsonLine(const Host::Sighting& seen)
{
    JsonWriter out(0);
    out.beginObject();
    out.add("name", seen.info.name);
    out.add("robot", familyOf(seen.info.type));
    out.add("type", seen.info.type);
    out.add("address", seen.id);
    out.add("id", seen.info.uniqueId);
    out.add("firmware", firmwareOf(seen.info));
    out.add("batteryLevel", seen.info.batteryLevel);
    out.add("charging", isCharging(seen.info));
    if (seen.hasRssi) {
        out.add("rssi", static_cast<double>(seen.rssi));
    }
    out.end();
    return out.text();
}

// Widths are by characters, not by bytes.
std::string cut(const std::string& text, size_t width)
{
    size_t end = 0;
    for (size_t characters = 0; end < text.size(); ++end) {
        characters += (static_cast<unsigned char>(text[end]) & 0xC0) != 0x80 ? 1u : 0u;
        if (characters > width) {
            break;
        }
    }
    return text.substr(0, end);
}

std::string cell(const std::string& text, size_t width)
{
    size_t characters = 0;
    for (const char c : text) {
        characters += (static_cast<unsigned char>(c) & 0xC0) != 0x80 ? 1u : 0u;
    }
    return text + std::string(characters < width ? width - characters : 0, ' ') + ' ';
}

// As wide as the terminal, so that no line breaks: they are counted to write over them.
std::string tableOf(const std::vector<Host::Sighting>& sightings, double now)
{
    struct winsize size = {};
    const bool isKnown = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    const size_t width = isKnown ? size.ws_col : size_t{80};
    const size_t rows = isKnown && size.ws_row > 3 ? size.ws_row - size_t{3} : size_t{20};
    std::string table;
    const auto add = [&](const std::string(&cells)[8]) {
        constexpr size_t kWidths[] = {14, 5, 17, 6, 5, 4, 4, 16};
        std::string line;
        for (size_t i = 0; i < 8; ++i) {
            line += cell(cells[i], kWidths[i]);
        }
        table += cut(line, width - 1) + '\n';
    };
    add({"NAME", "ROBOT", "ADDRESS", "ID", "FW", "RSSI", "AGE", "BATTERY"});
    for (size_t i = 0; i < std::min(sightings.size(), rows); ++i) {
        const Host::Sighting& seen = sightings[i];
        char age[32];
        std::snprintf(age, sizeof age, "%.0f s", now - seen.lastSeen);
        add({shown(seen.info.name), familyOf(seen.info.type), shown(seen.id), shown(seen.info.uniqueId),
             firmwareOf(seen.info), seen.hasRssi ? std::to_string(seen.rssi) : "", age,
             std::string(batteryInWords(seen.info.batteryLevel)) + (isCharging(seen.info) ? ", charging" : "")});
    }
    if (sightings.size() > rows) {
        table += "... and " + std::to_string(sightings.size() - rows) + " more\n";
    }
    return table;
}

bool isCalled(const Host::Sighting& seen, const std::string& who)
{
    return Host::isCalled(who, seen.id, seen.advertisedName, seen.info) ||
           Host::isCalled(fullName(who), seen.id, seen.advertisedName, seen.info);
}

// Those that are looked for.
std::vector<Host::Sighting> found(const Host::Hub& hub, const ScanOptions& options)
{
    std::vector<Host::Sighting> all;
    for (const Host::Sighting& seen : hub.sightings()) {
        if (options.who.empty() || std::any_of(options.who.begin(), options.who.end(),
                                               [&](const std::string& who) { return isCalled(seen, who); })) {
            all.push_back(seen);
        }
    }
    return all;
}

int scan(const ScanOptions& options)
{
    const bool isTerminal = isatty(STDOUT_FILENO) != 0 && !options.json;
    const std::unique_ptr<Host::Transport> transport =
        options.virtualRobots > 0
            ? virtualClass(options.virtualRobots, isTerminal ? Host::Pace::Real : Host::Pace::Fast)
            : bluetooth(options.adapter);
    catchInterrupts();
    Host::Hub hub(*transport);
    hub.scan(true);
    std::map<Host::RobotRef, std::string> told;  // so that a line is written again when something has changed
    size_t lines = 0;
    for (double shownAt = -1; hub.now() < options.seconds && !isInterrupted();) {
        hub.poll(0.1);
        if (const Host::Error& failure = hub.lastFailure()) {
            throw InputError{inWords(failure)};
        }
        if (isTerminal && hub.now() - shownAt >= 0.5) {
            shownAt = hub.now();
            const std::string table = tableOf(found(hub, options), hub.now());
            std::cout << (lines > 0 ? "\x1b[" + std::to_string(lines) + "A\x1b[J" : "") << table << std::flush;
            lines = static_cast<size_t>(std::count(table.begin(), table.end(), '\n'));
        }
        for (const Host::Sighting& seen : found(hub, options)) {
            Host::Sighting steady = seen;
            steady.hasRssi = false;
            std::string& before = told[seen.robot];
            if (const std::string now = jsonLine(steady); !isTerminal && now != before) {
                std::cout << jsonLine(seen) << std::flush;
                before = now;
            }
        }
    }
    if (hub.sightings().empty()) {
        std::cerr << "zkhal scan: no robot is in reach: is it switched on, and not connected elsewhere?\n";
        return kBadInput;
    }
    int status = kSuccess;
    for (const std::string& who : options.who) {
        const std::vector<Host::Sighting>& all = hub.sightings();
        if (std::none_of(all.begin(), all.end(), [&](const Host::Sighting& seen) { return isCalled(seen, who); })) {
            std::cerr << "zkhal scan: " << shown(who) << " is not in reach\n";
            status = kBadInput;
        }
    }
    return status;
}

}  // namespace

void addScan(CLI::App& app, int& status)
{
    auto options = std::make_shared<ScanOptions>();
    CLI::App* command = app.add_subcommand("scan", "List the robots in reach");
    command->add_option("--seconds", options->seconds, "How long (default 5)")->check(finiteRange(0.1, 86400));
    auto* adapter = command->add_option("--adapter", options->adapter, "The Bluetooth adapter")->type_name("HCI");
    command->add_option("--robot", options->who, "Only this one, by name, address or id; may be given several times")
        ->type_name("WHO")
        ->allow_extra_args(false);
    command->add_flag("--json", options->json,
                      "JSON lines also on a terminal, one when a robot is first seen or has changed");
    command->add_option("--virtual", options->virtualRobots, "This many virtual robots instead of real ones")
        ->check(CLI::Range(1u, 1000u))
        ->excludes(adapter);
    command->footer(
        "A table on a terminal, JSON lines in a pipe. Exit status 1 when there is none, or one is missing.\n\n"
        "Examples:\n"
        "  zkhal scan\n"
        "  zkhal scan --seconds 2 --json | jq .name\n"
        "  zkhal scan --virtual 8");
    command->callback([options, &status] {
        try {
            status = scan(*options);
        } catch (const InputError& problem) {
            std::cerr << "zkhal scan: " << problem.message << '\n';
            status = kBadInput;
        }
    });
}

}  // namespace zkhal
