#include "Picture.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace zkhal {

namespace {

constexpr double kWidth = 480, kHeight = 300;                                   // of a chart
constexpr double kLeft = 62, kRight = 16, kTop = 40, kBottom = 44, kHead = 44;  // margins
constexpr int kColumns = 2;
constexpr int kTicks = 5;

std::string number(double value)
{
    char text[32];
    return std::string(text, std::to_chars(text, text + sizeof text, value, std::chars_format::general, 5).ptr);
}

std::string escaped(const std::string& text)
{
    std::string out;
    for (const char c : text) {
        out += c == '<' ? "&lt;" : c == '&' ? "&amp;" : c == '>' ? "&gt;" : std::string(1, c);
    }
    return out;
}

bool isFinite(const Point& point)
{
    return std::isfinite(point.x) && std::isfinite(point.y);
}

struct Axis {
    double low, high, step;
};

// Round numbers around the values, with about kTicks steps.
Axis axisFor(double low, double high)
{
    if (!(high > low)) {
        low -= 1;
        high += 1;
    }
    const double raw = (high - low) / kTicks;
    const double magnitude = std::pow(10, std::floor(std::log10(raw)));
    double step = magnitude * 10;
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (raw <= magnitude * factor) {
            step = magnitude * factor;
            break;
        }
    }
    return {std::floor(low / step) * step, std::ceil(high / step) * step, step};
}

class Frame {
public:
    Frame(const Chart& chart, double x, double y) : mX(x + kLeft), mY(y + kTop)
    {
        double lowX = INFINITY, highX = -INFINITY, lowY = INFINITY, highY = -INFINITY;
        for (const Curve& curve : chart.curves) {
            for (const Point& point : curve.points) {
                if (isFinite(point)) {
                    lowX = std::min(lowX, point.x);
                    highX = std::max(highX, point.x);
                    lowY = std::min(lowY, point.y);
                    highY = std::max(highY, point.y);
                }
            }
        }
        for (const Bar& bar : chart.bars) {
            for (const Bar::Stretch& stretch : bar.stretches) {
                lowX = std::min(lowX, stretch.from);
                highX = std::max(highX, stretch.to);
            }
            lowY = 0;
            highY = static_cast<double>(chart.bars.size());
        }
        isEmpty = !(lowX <= highX);
        if (isEmpty) {
            lowX = lowY = 0;
            highX = highY = 1;
        }
        if (chart.isMap) {
            constexpr double kMargin = 1.15;
            const double span = std::max({highX - lowX, (highY - lowY) * kPlotWidth / kPlotHeight, 10.0}) / 2 * kMargin;
            const double middleX = (lowX + highX) / 2, middleY = (lowY + highY) / 2;
            lowX = middleX - span;
            highX = middleX + span;
            lowY = middleY - span * kPlotHeight / kPlotWidth;
            highY = middleY + span * kPlotHeight / kPlotWidth;
            mAxisX = {lowX, highX, axisFor(lowX, highX).step};
            mAxisY = {lowY, highY, axisFor(lowY, highY).step};
        } else {
            constexpr double kNearZero = 0.1, kHeadroom = 0.03;
            lowX = lowX > 0 && lowX < kNearZero * highX ? 0 : lowX;
            mAxisX = axisFor(lowX, highX);
            mAxisX.low = lowX;
            mAxisX.high = highX > lowX ? highX : lowX + 1;
            mAxisY = chart.bars.empty() ? axisFor(lowY, highY + kHeadroom * (highY - lowY)) : Axis{0, highY, 2 * highY};
        }
    }

    static constexpr double kPlotWidth = kWidth - kLeft - kRight, kPlotHeight = kHeight - kTop - kBottom;
    bool isEmpty;

    double x(double value) const
    {
        return mX + (value - mAxisX.low) / (mAxisX.high - mAxisX.low) * kPlotWidth;
    }
    double y(double value) const
    {
        return mY + kPlotHeight - (value - mAxisY.low) / (mAxisY.high - mAxisY.low) * kPlotHeight;
    }

    std::string drawAxes(const Chart& chart) const
    {
        std::string svg = "<rect class='plot' x='" + number(mX) + "' y='" + number(mY) + "' width='" +
                          number(kPlotWidth) + "' height='" + number(kPlotHeight) + "'/>\n";
        constexpr int kMostTicks = 50;  // where a step is too small to make a difference
        int count = 0;
        for (double v = std::ceil(mAxisX.low / mAxisX.step) * mAxisX.step;
             v <= mAxisX.high + 1e-9 && count < kMostTicks; v += mAxisX.step, ++count) {
            svg += line(x(v), mY, x(v), mY + kPlotHeight, "grid") +
                   text(x(v), mY + kPlotHeight + 15, "tick", "middle", number(std::fabs(v) < 1e-9 ? 0 : v));
        }
        count = 0;
        for (double v = std::ceil(mAxisY.low / mAxisY.step) * mAxisY.step;
             chart.bars.empty() && v <= mAxisY.high + 1e-9 && count < kMostTicks; v += mAxisY.step, ++count) {
            svg += line(mX, y(v), mX + kPlotWidth, y(v), "grid") +
                   text(mX - 6, y(v) + 4, "tick", "end", number(std::fabs(v) < 1e-9 ? 0 : v));
        }
        svg += text(mX + kPlotWidth / 2, mY + kPlotHeight + 32, "label", "middle", chart.xLabel);
        const std::string at = number(mX - 46) + ' ' + number(mY + kPlotHeight / 2);
        svg += "<text class='label' text-anchor='middle' transform='translate(" + at + ") rotate(-90)'>" +
               escaped(chart.yLabel) + "</text>\n";
        svg += text(mX, mY - 10, "title", "start", chart.title);
        return svg;
    }

    std::string drawBars(const Chart& chart) const
    {
        std::string svg;
        double row = static_cast<double>(chart.bars.size());
        for (const Bar& bar : chart.bars) {
            const double top = y(row - 0.15), height = y(row - 0.85) - top;
            for (const Bar::Stretch& stretch : bar.stretches) {
                svg += "<rect x='" + number(x(stretch.from)) + "' y='" + number(top) + "' width='" +
                       number(x(stretch.to) - x(stretch.from)) + "' height='" + number(height) + "' fill='" +
                       stretch.color + "'/>\n";
            }
            svg += text(mX - 6, top + height / 2 + 4, "tick", "end", bar.name);
            row -= 1;
        }
        return svg;
    }

    std::string drawLegend(const Chart& chart) const
    {
        std::string svg;
        double right = mX + kPlotWidth;
        for (auto curve = chart.curves.rbegin(); curve != chart.curves.rend() && chart.curves.size() > 1; ++curve) {
            svg += text(right, mY - 10, "tick", "end", curve->name);
            right -= 7.0 * static_cast<double>(curve->name.size()) + 4;
            svg += std::string("<path stroke='") + curve->color + "' d='M" + number(right - 14) + ' ' +
                   number(mY - 14) + "h14'/>\n";
            right -= 24;
        }
        return svg;
    }

    static std::string line(double x1, double y1, double x2, double y2, const char* cls)
    {
        return std::string("<path class='") + cls + "' d='M" + number(x1) + ' ' + number(y1) + 'L' + number(x2) + ' ' +
               number(y2) + "'/>\n";
    }
    static std::string text(double x, double y, const char* cls, const char* anchor, const std::string& words)
    {
        return std::string("<text class='") + cls + "' text-anchor='" + anchor + "' x='" + number(x) + "' y='" +
               number(y) + "'>" + escaped(words) + "</text>\n";
    }

private:
    double mX, mY;
    Axis mAxisX{}, mAxisY{};
};

// The stretches of a curve between its interruptions; more points than a picture can show are thinned.
std::vector<std::vector<Point>> stretchesOf(const Curve& curve)
{
    constexpr size_t kMostPoints = 5000;
    const size_t stride = curve.points.size() / kMostPoints + 1;
    std::vector<std::vector<Point>> stretches;
    bool isDown = false;
    size_t shown = 0;  // strides that have their point
    for (size_t i = 0; i < curve.points.size(); ++i) {
        if (!isFinite(curve.points[i])) {
            isDown = false;
        } else if (i / stride >= shown) {
            if (!isDown) {
                stretches.emplace_back();
            }
            stretches.back().push_back(curve.points[i]);
            isDown = true;
            shown = i / stride + 1;
        }
    }
    return stretches;
}

std::string drawCurve(const Frame& frame, const Curve& curve)
{
    std::string lines, dots;
    for (const std::vector<Point>& stretch : stretchesOf(curve)) {
        std::string path = 'M' + number(frame.x(stretch[0].x)) + ' ' + number(frame.y(stretch[0].y));
        if (stretch.size() == 1) {
            dots += path + "h0";
        }
        for (size_t i = 1; i < stretch.size(); ++i) {
            const std::string x = number(frame.x(stretch[i].x)), y = number(frame.y(stretch[i].y));
            path += curve.isStepped ? 'H' + x + 'V' + y : 'L' + x + ' ' + y;
        }
        lines += stretch.size() > 1 ? path : "";
    }
    const auto draw = [&](const char* style, const std::string& path) {
        return path.empty() ? "" : std::string("<path stroke='") + curve.color + style + "' d='" + path + "'/>\n";
    };
    return draw(curve.isBackdrop ? "' class='wide" : "", lines) + draw("' class='dots", dots);
}

std::string drawChart(const Chart& chart, double x, double y)
{
    const Frame frame(chart, x, y);
    std::string svg = frame.drawAxes(chart) + frame.drawLegend(chart) + frame.drawBars(chart);
    for (const Curve& curve : chart.curves) {
        svg += drawCurve(frame, curve);
        if (chart.isMap && !curve.isBackdrop && !curve.points.empty()) {
            const Point& begin = curve.points.front();
            const Point& end = curve.points.back();
            svg += "<circle class='begin' r='6' cx='" + number(frame.x(begin.x)) + "' cy='" + number(frame.y(begin.y)) +
                   "'/>\n<circle class='end' r='3.5' cx='" + number(frame.x(end.x)) + "' cy='" +
                   number(frame.y(end.y)) + "'/>\n" +
                   Frame::text(frame.x(begin.x) + 8, frame.y(begin.y) - 6, "tick", "start", "start") +
                   Frame::text(frame.x(end.x) + 8, frame.y(end.y) + 14, "tick", "start", "end");
        }
    }
    if (frame.isEmpty) {
        svg += Frame::text(x + kWidth / 2, y + kHeight / 2, "label", "middle", "nothing was reported");
    }
    return svg;
}

}  // namespace

std::string drawPicture(const std::string& title, const std::vector<Chart>& charts)
{
    const int rows = (static_cast<int>(charts.size()) + kColumns - 1) / kColumns;
    const int columns = std::min(static_cast<int>(charts.size()), kColumns);
    const std::string width = number(columns * kWidth), height = number(kHead + rows * kHeight);
    std::string svg = "<svg xmlns='http://www.w3.org/2000/svg' width='" + width + "' height='" + height +
                      "' viewBox='0 0 " + width + ' ' + height +
                      "' font-family='sans-serif'>\n"
                      "<style>path{fill:none;stroke-width:1.6;stroke-linejoin:round}.grid{stroke:#e4e4e4;"
                      "stroke-width:1}.plot{fill:#fff;stroke:#999}text{fill:#222}.tick{font-size:11px}"
                      ".label{font-size:12px}.title{font-size:13px;font-weight:bold}"
                      ".dots{stroke-width:4;stroke-linecap:round}.wide{stroke-width:4;opacity:0.45}.begin{fill:#fff;"
                      "stroke:#222;stroke-width:2}.end{fill:#222}</style>\n"
                      "<rect width='100%' height='100%' fill='#fafafa'/>\n"
                      "<text x='16' y='28' font-size='18' font-weight='bold'>" +
                      escaped(title) + "</text>\n";
    for (size_t i = 0; i < charts.size(); ++i) {
        svg += drawChart(charts[i], kWidth * static_cast<double>(i % kColumns),
                         kHead + kHeight * static_cast<double>(i / kColumns));
    }
    return svg + "</svg>\n";
}

}  // namespace zkhal
