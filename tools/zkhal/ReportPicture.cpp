#include "ReportPicture.h"

#include <algorithm>
#include <cmath>

#include "CoreUtility/Json/nx_json.h"

namespace zkhal {

void ReportPicture::add(double t, const std::string& json)
{
    std::string text = json;  // the reader parses in place
    const nx_json* root = nx_json_parse_utf8(text.data());
    const auto value = [root](const char* component, const char* key) {
        const nx_json* member = nx_json_get(nx_json_get(root, component), key);
        return member->type == NX_JSON_NULL ? NAN : member->dbl_value;
    };
    path.points.push_back({value("2002", "x"), value("2002", "y")});
    const auto put = [&](Curve& curve, const char* component, const char* key) {
        curve.points.push_back({t, value(component, key)});
    };
    put(pan, "2000", "degree");
    put(tilt, "2001", "degree");
    put(left, "3003", "cm");
    put(right, "3004", "cm");
    put(distanceLeft, "3001", "cm");
    put(distanceRight, "3000", "cm");
    put(distanceRear, "3002", "cm");
    put(roll, "3010", "attitudeRoll");
    put(pitch, "3010", "attitudePitch");
    put(slope, "3010", "attitudeSlope");
    if (const double level = value("3006", "level"); level < 9999) {
        battery.points.push_back({t, level});
    }
    nx_json_free(root);
}

std::string ReportPicture::draw(const std::string& title)
{
    path.points.erase(std::remove_if(path.points.begin(), path.points.end(),
                                     [](const Point& point) { return !std::isfinite(point.x); }),
                      path.points.end());
    const char kTime[] = "time (s)";
    return drawPicture(
        title, {
                   {"Path", "x (cm)", "y (cm)", {path}, true},
                   {"Head", kTime, "angle (degrees)", {pan, tilt}},
                   {"Wheels", kTime, "travelled (cm)", {left, right}},
                   {"Distances", kTime, "to the nearest obstacle (cm)", {distanceLeft, distanceRight, distanceRear}},
                   {"Attitude", kTime, "angle (degrees)", {roll, pitch, slope}},
                   {"Battery", kTime, "level (20 is full)", {battery}},
               });
}

}  // namespace zkhal
