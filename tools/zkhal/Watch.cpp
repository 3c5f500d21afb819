// zkhal watch: what robots report, live.
#include <cmath>
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <unistd.h>

#include "Commands.h"
#include "CoreUtility/Json/nx_json.h"
#include "Host/Hub.h"
#include "Input.h"
#include "JsonWriter.h"
#include "OutputFile.h"
#include "ReportPicture.h"
#include "RobotChoice.h"
#include "RobotOption.h"
#include "Screen.h"
#include "ZKHAL/Vocabulary.h"

namespace zkhal {

namespace {

struct WatchOptions {
    RobotChoice robots;
    double seconds = 0;  // 0: until somebody has had enough
    bool json = false, csv = false;
    std::string svg, record;
};

// The columns of a table: every single value of every sensor.
std::vector<std::pair<std::string, std::string>> columns()
{
    std::vector<std::pair<std::string, std::string>> all;
    for (size_t i = 0;; ++i) {
        ZKSensorInfo sensor = {};
        sensor.size = sizeof sensor;
        if (!ZKGetSensor(i, &sensor)) {
            return all;
        }
        for (size_t k = 0;; ++k) {
            ZKSensorValueInfo value = {};
            value.size = sizeof value;
            if (!ZKGetSensorValue(sensor.id, k, &value)) {
                break;
            }
            if (value.kind != ZK_SENSOR_BYTES && sensor.id != 0) {
                all.emplace_back(std::to_string(sensor.id), value.key);
            }
        }
    }
}

std::string csvText(const std::string& text)
{
    std::string quoted = "\"";
    for (const char c : shown(text)) {
        quoted += c == '"' ? "\"\"" : std::string(1, c);
    }
    return quoted + '"';
}

class Watcher final : public Host::SessionListener {
public:
    Watcher(const WatchOptions& options, bool isMany) : mOptions(options), mIsMany(isMany), mColumns(columns()) {}

    void onState(Host::RobotSession& robot, Host::SessionState state, const Host::Error& error) override
    {
        const bool isTrouble = state == Host::SessionState::Pausing || (state == Host::SessionState::Ended && error);
        trouble = isTrouble ? "lost: " + inWords(error) : "";
        if (isTrouble && !showsScreen && !isOver(robot)) {
            std::cerr << "zkhal watch: " << shown(nameOf(robot)) << ": " << shown(trouble) << '\n';
        }
    }
    void onReport(Host::RobotSession& robot, double seconds, const char* json, size_t) override
    {
        last = json;
        if (!mOptions.svg.empty()) {
            picture.add(seconds, last);
        }
        if (showsScreen) {
            return;
        }
        if (mOptions.csv) {
            writeRow(robot, seconds);
        } else if (mIsMany) {
            std::cout << "{\"robot\":" << jsonText(nameOf(robot)) << ",\"report\":" << last << "}\n";
        } else {
            std::cout << last << '\n';
        }
        std::cout.flush();
    }

    static std::string nameOf(const Host::RobotSession& robot)
    {
        return robot.info().name[0] != '\0' ? robot.info().name : robot.who();
    }

    std::string headline() const
    {
        std::string line = "seconds";
        line += mIsMany ? ",robot" : "";
        for (const auto& [sensor, key] : mColumns) {
            line += ',' + sensor + '.' + key;
        }
        return line + '\n';
    }

    Host::RobotSession* session = nullptr;
    std::string last, trouble;
    std::unique_ptr<GrowingFile> capture;
    ReportPicture picture;
    bool showsScreen = false;
    bool isPlayed = false;  // from a capture, whose end is no loss
    bool isOver(const Host::RobotSession& robot) const
    {
        return isPlayed && robot.lossCount() > 0;
    }

private:
    void writeRow(const Host::RobotSession& robot, double seconds)
    {
        std::string text = last;
        const nx_json* root = nx_json_parse_utf8(text.data());
        char time[32];
        std::snprintf(time, sizeof time, "%.6f", seconds);
        std::cout << time << (mIsMany ? "," + csvText(nameOf(robot)) : "");
        for (const auto& [sensor, key] : mColumns) {
            const nx_json* value = nx_json_get(nx_json_get(root, sensor.c_str()), key.c_str());
            std::cout << ',' << (value->type == NX_JSON_NULL ? "" : jsonNumber(value->dbl_value));
        }
        std::cout << '\n';
        nx_json_free(root);
    }

    const WatchOptions& mOptions;
    bool mIsMany;
    std::vector<std::pair<std::string, std::string>> mColumns;
};

int watch(const WatchOptions& options)
{
    catchInterrupts();
    std::vector<std::unique_ptr<Watcher>> watchers;
    Radio radio(options.robots);
    Host::Hub& hub = radio.hub();
    const bool showsScreen = isatty(STDOUT_FILENO) != 0 && !options.json && !options.csv;
    if (!showsScreen && !hub.transport().isRealTime() && options.seconds == 0 && radio.virtualRobots() != nullptr) {
        throw InputError{"virtual robots take no time in a pipe: say how long with --seconds, or --pace real"};
    }
    Host::SessionOptions sessionOptions;
    sessionOptions.retries = radio.isCapture() ? 0 : options.robots.retries;
    for (const std::string& name : radio.names()) {
        watchers.push_back(std::make_unique<Watcher>(options, radio.names().size() > 1));
        Watcher& watcher = *watchers.back();
        watcher.showsScreen = showsScreen;
        watcher.isPlayed = radio.isCapture();
        watcher.session = &hub.open(name, sessionOptions, &watcher);
        if (!options.record.empty()) {
            const std::string number = watchers.size() == 1 ? "" : "." + std::to_string(watchers.size());
            watcher.capture = std::make_unique<GrowingFile>(options.record + number);
            watcher.session->record = [&watcher](const std::string& line) { watcher.capture->write(line); };
        }
    }
    if (options.csv) {
        std::cout << watchers[0]->headline();
    }
    const std::unique_ptr<Screen> screen = showsScreen ? std::make_unique<Screen>() : nullptr;
    const auto isOver = [&] {
        bool anyIsLeft = false;
        for (const auto& watcher : watchers) {
            anyIsLeft = anyIsLeft || watcher->session->state() != Host::SessionState::Ended;
        }
        return !anyIsLeft || isInterrupted() || !std::cout;
    };
    double drawnAt = -1;
    for (double start = hub.now(); !isOver() && (options.seconds == 0 || hub.now() < start + options.seconds);) {
        hub.poll(Host::Hub::kTick);
        int key = 0;
        if (screen != nullptr && screen->key(key) == Key::Other && (key == 'q' || key == 27)) {
            break;
        }
        if (screen != nullptr && hub.now() - drawnAt > 0.05) {
            drawnAt = hub.now();
            screen->begin();
            int row = 0;
            for (const auto& watcher : watchers) {
                const std::string state = watcher->session->isReady()
                                              ? std::to_string(watcher->session->reportCount()) + " reports"
                                          : watcher->trouble.empty() ? "looking for it ..."
                                                                     : watcher->trouble;
                screen->line(row++, Watcher::nameOf(*watcher->session) + "  " + state, true);
                row = watcher->last.empty() ? row : screen->report(row, watcher->last);
                ++row;
            }
            screen->line(row, "q ends");
            screen->end();
        }
    }
    int status = kSuccess;
    for (size_t i = 0; i < watchers.size(); ++i) {
        Watcher& watcher = *watchers[i];
        if (watcher.session->state() == Host::SessionState::Ended && watcher.session->lastError() &&
            !watcher.isOver(*watcher.session)) {
            status = kLostRobot;
        }
        watcher.session->disconnect();
        const std::string number = i == 0 ? "" : "." + std::to_string(i + 1);
        if (!options.svg.empty()) {
            writeFile(options.svg + number, watcher.picture.draw(shown(Watcher::nameOf(*watcher.session))));
        }
        if (!options.record.empty()) {
            watcher.capture->finish();
        }
    }
    hub.run(0.05);
    return status;
}

}  // namespace

void addWatch(CLI::App& app, int& status)
{
    auto options = std::make_shared<WatchOptions>();
    CLI::App* command = app.add_subcommand("watch", "See what a robot reports, live");
    addRobotChoice(*command, options->robots, true);
    command->add_option("--seconds", options->seconds, "How long (default: until q or Ctrl-C)")
        ->check(finiteRange(0, 86400));
    auto* json = command->add_flag("--json", options->json, "Documents also on a terminal, one a line");
    command->add_flag("--csv", options->csv, "A table, a report a line")->excludes(json);
    command->add_option("--svg", options->svg, "Draw all of it into a picture")->type_name("FILE");
    command->add_option("--record", options->record, "Record all that crosses the air as a capture")->type_name("FILE");
    command->footer(
        "Gauges on a terminal, documents in a pipe. Exit status 3 when the robot is lost.\n\n"
        "Examples:\n"
        "  zkhal watch --robot 'Orvik num'\n"
        "  zkhal watch --robot virtual:quill --seconds 2 --csv >quill.csv\n"
        "  zkhal watch --robot capture:lesson.capture");
    command->callback([options, &status] {
        try {
            const QuietLibrary quiet;
            status = watch(*options);
        } catch (const InputError& problem) {
            std::cerr << "zkhal watch: " << problem.message << '\n';
            status = kBadInput;
        }
    });
}

}  // namespace zkhal
