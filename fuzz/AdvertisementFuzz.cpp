// Any bytes as an advertisement and a name, into one description that keeps what it learnt.
#include <cstdlib>
#include <string>

#include "HAL/RobotHardware/RobotHW.h"
#include "ZKHAL/ZKHAL.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    ZKSetMessageSink([](void*, int, const char*) {}, nullptr);
    HAL::RobotHW robot;
    for (size_t at = 0; at + 2 <= size;) {
        const size_t dataLength = data[at] % 40u, nameLength = data[at + 1] % 24u;
        at += 2;
        const size_t first = size - at < dataLength ? size - at : dataLength;
        const size_t second = size - at - first < nameLength ? size - at - first : nameLength;
        robot.ParseAdvertisementData(first > 0 ? data + at : nullptr, static_cast<int>(first), data + at + first,
                                     static_cast<int>(second));
        at += first + second;
        const bool isSane = robot.getLocalName().size() <= 20 && robot.getRobotSerialNumber().size() <= 16 &&
                            robot.getRobotPersonalityAnimId() <= 7;
        size_t excess = 0;
        const std::string& name = robot.getLocalName();
        HAL::RobotHW::validateNewName(name.data(), name.size(), &excess);
        if (!isSane || excess > name.size()) {
            std::abort();
        }
    }
    return 0;
}
