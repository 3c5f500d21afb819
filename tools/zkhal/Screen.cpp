#include "Screen.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include <curses.h>

#include "CoreUtility/FormatText.h"

namespace zkhal {

namespace {

constexpr int kNameWidth = 16, kGaugeWidth = 40;

struct GaugeRow {
    const char *name, *sensor, *key, *unit;
    double low, high;
};
constexpr GaugeRow kGauges[] = {
    {"distance left", "3001", "cm", "cm", 0, 40},
    {"distance right", "3000", "cm", "cm", 0, 40},
    {"distance rear", "3002", "cm", "cm", 0, 40},
    {"head pan", "2000", "degree", "degrees", -133, 133},
    {"head tilt", "2001", "degree", "degrees", -24, 13},
    {"wheel left", "3003", "cm", "cm", -200, 200},
    {"wheel right", "3004", "cm", "cm", -200, 200},
    {"x", "2002", "x", "cm", -200, 200},
    {"y", "2002", "y", "cm", -200, 200},
    {"heading", "2002", "degree", "degrees", -180, 180},
    {"roll", "3010", "attitudeRoll", "degrees", -90, 90},
    {"pitch", "3010", "attitudePitch", "degrees", -90, 90},
    {"loudness", "3005", "amp", "", 0, 1},
};

struct LampRow {
    const char *name, *sensor, *key;
};
constexpr LampRow kLamps[] = {
    {"button 0", "1000", "s"},  {"button 1", "1001", "s"},    {"button 2", "1002", "s"},
    {"button 3", "1003", "s"},  {"clap", "3005", "clap"},     {"lifted", "4001", "flag"},
    {"bumped", "4002", "flag"}, {"sounding", "4003", "flag"}, {"animating", "4006", "flag"},
};

}  // namespace

Screen::Screen()
{
    initscr();
    cbreak();
    noecho();
    keypad(stdscr, TRUE);
    nodelay(stdscr, TRUE);
    curs_set(0);
}

Screen::~Screen()
{
    endwin();
}

void Screen::begin()
{
    erase();
}

void Screen::end()
{
    refresh();
}

void Screen::line(int row, const std::string& text, bool isBold)
{
    if (row >= LINES) {
        return;
    }
    if (isBold) {
        attron(A_BOLD);
    }
    mvaddnstr(row, 0, ZKHAL::printable(text).c_str(), COLS);
    if (isBold) {
        attroff(A_BOLD);
    }
}

void Screen::gauge(int row, const std::string& name, double value, double low, double high, const std::string& text)
{
    const double part = std::isfinite(value) ? std::clamp((value - low) / (high - low), 0.0, 1.0) : 0;
    const int width = std::clamp(COLS - kNameWidth - 20, 4, kGaugeWidth);
    const int mark = static_cast<int>(std::lround(part * (width - 1)));
    std::string bar(static_cast<size_t>(width), ' ');
    if (low < 0) {  // a mark on a scale with both signs; a bar from the left otherwise
        bar[static_cast<size_t>(std::lround(-low / (high - low) * (width - 1)))] = '.';
        bar[static_cast<size_t>(mark)] = 'o';
    } else {
        std::fill(bar.begin(), bar.begin() + mark + (part > 0 ? 1 : 0), '#');
    }
    std::string padded = name;
    padded.resize(kNameWidth, ' ');
    line(row, padded + '|' + bar + "| " + text);
}

Key Screen::key(int& other)
{
    other = getch();
    switch (other) {
        case ERR:
            return Key::None;
        case KEY_UP:
            return Key::Up;
        case KEY_DOWN:
            return Key::Down;
        case KEY_LEFT:
            return Key::Left;
        case KEY_RIGHT:
            return Key::Right;
        default:
            return Key::Other;
    }
}

int Screen::report(int row, const std::string& json)
{
    std::string text = json;  // the reader parses in place
    const nx_json* root = nx_json_parse_utf8(text.data());
    const auto value = [root](const char* sensor, const char* key) {
        const nx_json* member = nx_json_get(nx_json_get(root, sensor), key);
        return member->type == NX_JSON_NULL ? NAN : member->dbl_value;
    };
    for (const GaugeRow& each : kGauges) {
        if (const double now = value(each.sensor, each.key); std::isfinite(now)) {
            char words[40];
            std::snprintf(words, sizeof words, "%8.1f %s", now, each.unit);
            gauge(row++, each.name, now, each.low, each.high, words);
        }
    }
    std::string lamps;
    for (const LampRow& each : kLamps) {
        lamps += std::string(value(each.sensor, each.key) == 1 ? "[*] " : "[ ] ") + each.name + "  ";
    }
    line(row++, lamps);
    nx_json_free(root);
    return row;
}

}  // namespace zkhal
