// What sensor reports say over time, as a picture.
#pragma once

#include <string>

#include "Picture.h"

namespace zkhal {

// Collected report by report.
class ReportPicture {
public:
    void add(double seconds, const std::string& json);
    std::string draw(const std::string& title);

private:
    static constexpr const char *kBlue = "#1f6fb4", *kOrange = "#d9661f", *kGreen = "#3a8f3a";
    Curve path{"path", kBlue, {}};
    Curve pan{"pan", kBlue, {}}, tilt{"tilt", kOrange, {}};
    Curve left{"left", kBlue, {}}, right{"right", kOrange, {}};
    Curve distanceLeft{"left", kBlue, {}}, distanceRight{"right", kOrange, {}}, distanceRear{"rear", kGreen, {}};
    Curve roll{"roll", kBlue, {}}, pitch{"pitch", kOrange, {}}, slope{"slope", kGreen, {}};
    Curve battery{"battery", kBlue, {}, false, true};
};

}  // namespace zkhal
