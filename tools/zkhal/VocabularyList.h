// The vocabulary as ranges to loop over.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "ZKHAL/Vocabulary.h"

namespace zkhal {

// Everything that a function of ZKHAL/Vocabulary.h lists: get(index, &info).
template <class Info, class Get>
std::vector<Info> listed(Get get)
{
    std::vector<Info> all;
    for (;;) {
        Info info = {};
        info.size = sizeof info;
        if (!get(all.size(), &info)) {
            return all;
        }
        all.push_back(info);
    }
}

inline std::vector<ZKRobotTypeInfo> robotTypes()
{
    return listed<ZKRobotTypeInfo>(ZKGetRobotType);
}
inline std::vector<ZKComponentInfo> components()
{
    return listed<ZKComponentInfo>(ZKGetComponent);
}
// object: null, or the key of the one whose members are listed.
inline std::vector<ZKParameterInfo> parameters(uint32_t component, const char* object = nullptr)
{
    return listed<ZKParameterInfo>(
        [=](size_t index, ZKParameterInfo* info) { return ZKGetParameter(component, object, index, info); });
}
inline std::vector<ZKRangeInfo> ranges(uint32_t component, const char* object, const char* key)
{
    return listed<ZKRangeInfo>(
        [=](size_t index, ZKRangeInfo* info) { return ZKGetRange(component, object, key, index, info); });
}
inline std::vector<ZKBehaviourInfo> behaviours()
{
    return listed<ZKBehaviourInfo>(ZKGetBehaviour);
}
inline std::vector<ZKBehaviourValueInfo> behaviourValues(uint32_t behaviour)
{
    return listed<ZKBehaviourValueInfo>(
        [=](size_t index, ZKBehaviourValueInfo* info) { return ZKGetBehaviourValue(behaviour, index, info); });
}
inline std::vector<ZKSensorInfo> sensors()
{
    return listed<ZKSensorInfo>(ZKGetSensor);
}
inline std::vector<ZKSensorValueInfo> sensorValues(uint32_t sensor)
{
    return listed<ZKSensorValueInfo>(
        [=](size_t index, ZKSensorValueInfo* info) { return ZKGetSensorValue(sensor, index, info); });
}

// The whole vocabulary as a JSON document.
std::string vocabularyJson();

}  // namespace zkhal
