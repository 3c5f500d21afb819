// Charts as one self-contained SVG picture.
#pragma once

#include <string>
#include <vector>

namespace zkhal {

struct Point {
    double x, y;
};

struct Curve {
    std::string name;
    const char* color;
    std::vector<Point> points;  // a point that is not finite interrupts the line; one alone is a dot
    bool isBackdrop = false;    // of a map: what stands around, without begin and end
    bool isStepped = false;     // a value holds until the next one
};

// Colours over time, as a bar.
struct Bar {
    struct Stretch {
        double from, to;
        std::string color;
    };
    std::string name;
    std::vector<Stretch> stretches;
};

struct Chart {
    std::string title;
    std::string xLabel, yLabel;  // with their units
    std::vector<Curve> curves;
    bool isMap = false;          // one scale for both axes, begin and end marked
    std::vector<Bar> bars = {};  // instead of curves
};

// A title over a grid of charts, two in a row.
std::string drawPicture(const std::string& title, const std::vector<Chart>& charts);

}  // namespace zkhal
