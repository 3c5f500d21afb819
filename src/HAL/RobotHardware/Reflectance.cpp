#include "HAL/RobotHardware/Reflectance.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "CoreUtility/Assertion.h"
#include "CoreUtility/Messages.h"

namespace {

constexpr BRReflectanceDistanceSample kFrontSamples[] = {
    {255, 2.5}, {218.5, 5}, {115, 7.5}, {71, 10},     {47, 12.5}, {33, 15}, {26, 17.5},
    {22.5, 20}, {18, 22.5}, {16, 25},   {13.5, 27.5}, {11, 30},   {10, 50},
};
constexpr BRReflectanceDistanceSample kRearSamples[] = {
    {255, 5}, {176, 7.5}, {100, 10}, {65, 12.5}, {44, 15}, {32, 17.5},
    {29, 20}, {23, 22.5}, {19, 25},  {16, 27.5}, {14, 50},
};

}  // namespace

BRReflectance& BRReflectance::instance()
{
    static BRReflectance* const reflectance = new BRReflectance;
    return *reflectance;
}

BRReflectance::BRReflectance()
{
    buildDefaultModels();
}

void BRReflectance::buildDefaultModels()
{
    for (const BRReflectanceDistanceSample& sample : kFrontSamples) {
        addSampleToModel(BRReflectanceLeft, sample);
        addSampleToModel(BRReflectanceRight, sample);
    }
    for (const BRReflectanceDistanceSample& sample : kRearSamples) {
        addSampleToModel(BRReflectanceRear, sample);
    }
}

void BRReflectance::addSampleToModel(BRReflectanceModel model, const BRReflectanceDistanceSample& newSample)
{
    std::vector<BRReflectanceDistanceSample>& samples = getOrCreateModel(model);
    if (!std::isfinite(newSample.reflectanceValue) || !std::isfinite(newSample.distanceValue)) {
        return;
    }
    const auto itr = std::find_if(samples.begin(), samples.end(), [&newSample](const auto& sample) {
        return sample.reflectanceValue >= newSample.reflectanceValue;
    });
    if (itr != samples.end()) {  // behind the last sample nothing is compared, on purpose
        ZK_ASSERT(newSample.distanceValue >= itr->distanceValue);
        if (itr != samples.begin()) {
            ZK_ASSERT(newSample.distanceValue <= (itr - 1)->distanceValue);
        }
    }
    samples.insert(itr, newSample);
}

void BRReflectance::addSampleToModel(BRReflectanceModel model, double reflectance, double distance)
{
    addSampleToModel(model, BRReflectanceDistanceSample{reflectance, distance});
}

double BRReflectance::distanceForReflectance(BRReflectanceModel model, double reflectance) const
{
    constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();
    const std::vector<BRReflectanceDistanceSample>* samples = getModel(model);
    if (samples == nullptr) {
        ZKHAL::printOut("error: unknown reflectanceModel: %d\n", static_cast<int>(model));
        return kUnknown;
    }
    if (samples->empty()) {
        ZKHAL::printOut("error: empty reflectanceModel: %d\n", static_cast<int>(model));
        return kUnknown;
    }
    if (std::isnan(reflectance)) {
        return kUnknown;
    }
    if (samples->size() == 1 || reflectance < samples->front().reflectanceValue) {
        return samples->front().distanceValue;
    }
    if (reflectance > samples->back().reflectanceValue) {
        return samples->back().distanceValue;
    }
    size_t i = 1;
    while (reflectance > (*samples)[i].reflectanceValue) {
        ++i;
    }
    const BRReflectanceDistanceSample& low = (*samples)[i - 1];
    const BRReflectanceDistanceSample& high = (*samples)[i];
    const double width = high.reflectanceValue - low.reflectanceValue;
    const double t = width != 0 ? (reflectance - low.reflectanceValue) / width : 0;
    ZK_ASSERT(t >= 0.0);
    ZK_ASSERT(t <= 1.0);
    return low.distanceValue + t * (high.distanceValue - low.distanceValue);
}

const std::vector<BRReflectanceDistanceSample>* BRReflectance::getModel(BRReflectanceModel model) const
{
    const auto found = mModels.find(model);
    return found != mModels.end() ? &found->second : nullptr;
}

std::vector<BRReflectanceDistanceSample>& BRReflectance::getOrCreateModel(BRReflectanceModel model)
{
    return mModels[model];
}
