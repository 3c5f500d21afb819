#include "ZKHAL/Translator.h"

#include <cstring>
#include <memory>
#include <string>

#include "CoreUtility/Boundary.h"
#include "CoreUtility/Command/BotMessengerBuffer.h"
#include "CoreUtility/Command/CommandCheck.h"
#include "CoreUtility/Json/JsonDocument.h"
#include "CoreUtility/PayloadText.h"
#include "CoreUtility/Text.h"
#include "HAL/MessagePacketizers/PacketizerInteraction.h"
#include "HAL/RobotHardware/RobotHW.h"

struct ZKTranslator {
    explicit ZKTranslator(uint32_t robotType) : buffer(&robot)
    {
        robot._setRobotType(robotType);
    }

    HAL::RobotHW robot;
    APICore::BotMessengerBuffer buffer;
    std::unique_ptr<ZKHAL::JsonDocument> spareDocument;
    HAL::PacketizerInteraction sensors;
    ZKHAL::PayloadText report;
};

namespace {

int translate(ZKTranslator& translator, const char* json, HALPacket_t* packets, size_t& count, char* message,
              size_t messageSize)
{
    const size_t length = std::strlen(json);
    if (length == 0) {
        return 1;
    }
    const ZKHAL::JsonDocumentLoan document(translator.spareDocument);
    const nx_json* root = document->parse(json, length);
    std::string reasons;
    if (APICore::findRefusals(json, *document, root, translator.robot.getRobotType(), reasons)) {
        ZKHAL::copyToBuffer(message, messageSize, reasons.data(), reasons.size());
        return 0;
    }
    const HAL::PacketList& list = translator.buffer.convert(root);
    for (size_t i = 0; packets != nullptr && i < list.count; ++i) {
        packets[i] = *list.packets[i];
    }
    count = list.count;
    return 1;
}

}  // namespace

ZKTranslator* ZKTranslatorCreate(uint32_t robotType)
{
    return ZKHAL::guarded(__func__, static_cast<ZKTranslator*>(nullptr), [&] { return new ZKTranslator(robotType); });
}

void ZKTranslatorDestroy(ZKTranslator* translator)
{
    delete translator;
}

int ZKTranslatorTranslate(ZKTranslator* translator, const char* json, HALPacket_t* packets, size_t* count,
                          char* message, size_t messageSize)
{
    ZKHAL::copyToBuffer(message, messageSize, "", 0);
    size_t written = 0;
    const int accepted = translator == nullptr ? 0 : ZKHAL::guarded(__func__, 0, [&] {
        return translate(*translator, ZKHAL::orEmpty(json), packets, written, message, messageSize);
    });
    if (count != nullptr) {
        *count = written;
    }
    return accepted;
}

size_t ZKTranslatorDecode(ZKTranslator* translator, const HALPacket_t* packets, size_t count, char* buffer,
                          size_t bufferSize)
{
    ZKHAL::copyToBuffer(buffer, bufferSize, "", 0);
    if (translator == nullptr) {
        return 0;
    }
    return ZKHAL::guarded(__func__, size_t{0}, [&]() -> size_t {
        ZKHAL::PayloadText& report = translator->report;
        report.clear();
        HALPacket_t present[2];
        size_t presentCount = 0;
        for (size_t i = 0; packets != nullptr && i < count && presentCount < 2; ++i) {
            if (packets[i].length > 0) {
                present[presentCount++] = packets[i];
            }
        }
        if (!translator->sensors.decode(translator->robot.getRobotType(), present, presentCount, report)) {
            return 0;
        }
        if (report.length() < bufferSize) {
            ZKHAL::copyToBuffer(buffer, bufferSize, report.data(), report.length());
        }
        return report.length() + 1;
    });
}

void ZKTranslatorHandleDisconnect(ZKTranslator* translator)
{
    if (translator != nullptr) {
        translator->robot.handleRobotDisconnect();
    }
}
