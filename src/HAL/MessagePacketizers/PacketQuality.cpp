// How many packets of a sensor stream were lost or came again.
#include "HAL/MessagePacketizers/PacketizerInteraction.h"

#include <string>

#include "CoreUtility/Messages.h"
#include "CoreUtility/Text.h"
#include "ZKHAL/Utilities.h"

namespace HAL {

double wallSeconds()
{
    return BREpoch();
}

void PacketizerInteraction::initPacketQualityInfo(packetQualityInfo* info)
{
    if (info != nullptr) {
        *info = {wallSeconds(), 0, -1, 0, 0, 0};
    }
}

void PacketizerInteraction::analyzeQuality(packetQualityInfo* info, const unsigned char* data, size_t length,
                                           char* line, size_t lineSize)
{
    if (info == nullptr || data == nullptr || length == 0) {
        return;
    }
    info->packetCount += 1;
    const int32_t sequence = data[0] >> 4;
    const double t = wallSeconds() - info->startTime;
    const int32_t last = info->lastSequence;
    if (last >= 0) {
        if (sequence < last) {
            // The step from 15 to 0 loses nothing.
            info->seriesCount += 1;
            info->missCount += 15 - last + sequence;
        } else if (sequence > last) {
            info->missCount += sequence - last - 1;
        } else {
            info->duplicateCount += 1;
        }
    }
    info->lastSequence = sequence;
    if (line == nullptr) {
        return;
    }
    const auto sum = static_cast<float>(info->packetCount + info->missCount);
    const float missRate = static_cast<float>(info->missCount) / sum;
    const float duplicateRate = static_cast<float>(info->duplicateCount) / sum;
    const float wrongRate = missRate + duplicateRate;
    std::string bytes;
    for (size_t i = 0; i < length; ++i) {
        bytes += ZKHAL::formatted("%c%02x", i == 0 ? ' ' : ',', data[i]);
    }
    const std::string text = ZKHAL::formatted(
        "t:%3.3f seqNum:%2d seriesCount:%4d packetCount:%6d packetMissCount:%4d missRate:%0.2f%% dupeCount:%4d "
        "dupeRate:%0.2f%% wrongRate:%0.2f%% data:%s\n",
        t, sequence, info->seriesCount, info->packetCount, info->missCount, 100 * static_cast<double>(missRate),
        info->duplicateCount, 100 * static_cast<double>(duplicateRate), 100 * static_cast<double>(wrongRate),
        bytes.c_str());
    ZKHAL::copyToBuffer(line, lineSize, text.data(), text.size());
}

}  // namespace HAL
