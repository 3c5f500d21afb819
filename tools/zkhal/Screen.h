// A terminal that is drawn on, and put in order again whatever happens.
#pragma once

#include <string>

#include "CoreUtility/Json/nx_json.h"

namespace zkhal {

enum class Key { None, Up, Down, Left, Right, Other };

class Screen {
public:
    Screen();
    ~Screen();
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    void begin();
    void end();
    // A line of text; what does not fit is cut. Control characters are shown as question marks.
    void line(int row, const std::string& text, bool isBold = false);
    // A value between its ends: NAME |#####    | TEXT
    void gauge(int row, const std::string& name, double value, double low, double high, const std::string& text);
    // The next key that was pressed; `other` receives it where it is no arrow.
    Key key(int& other);

    // The values of a report as gauges, from a row on; returns the next free row.
    int report(int row, const std::string& json);
};

}  // namespace zkhal
