#include "ZKHAL/Translation.h"

#include <cstring>
#include <string>

#include "CoreUtility/BotMessengerBuffer.h"
#include "CoreUtility/CommandCheck.h"
#include "CoreUtility/Messages.h"
#include "CoreUtility/Text.h"
#include "HAL/RobotHardware/RobotHW.h"
#include "Wrapper/Boundary.h"
#include "ZKHAL/HALPacket.h"

namespace {

// Created on first use; they live until the process ends, so that a host's own clean-up may still translate.
HAL::RobotHW* rhw_orvik = nullptr;
APICore::BotMessengerBuffer* bmb_orvik = nullptr;

void init()
{
    if (rhw_orvik != nullptr) {
        return;
    }
    auto* robot = new HAL::RobotHW;
    robot->_setRobotType(ZK_ROBOT_ORVIK);
    bmb_orvik = new APICore::BotMessengerBuffer(robot);
    rhw_orvik = robot;
}

constexpr size_t kSlots = 2;

bool translate(const char* json, uint8_t* out)
{
    init();
    const HAL::PacketList& list = bmb_orvik->convert(json, *json != '\0' ? SIZE_MAX : 0);
    std::memset(out, 0, ZK_BLOCK_SIZE);  // only now: a host may hand in one buffer for both
    size_t count = list.count;
    if (count > kSlots) {
        ZKHAL::printErr("error: too many packets! will only return 2 of %ld.\n", static_cast<long>(count));
        count = kSlots;
    }
    for (size_t i = 0; i < count; ++i) {
        const HALPacket_t& packet = *list.packets[i];
        uint8_t* slot = out + ZK_SLOT_SIZE * i;
        slot[0] = static_cast<uint8_t>(packet.length & 0xFF);
        std::memcpy(slot + 1, packet.data, packet.length);
    }
    return true;
}

}  // namespace

void json2Packets(const char* json, uint8_t* out)
{
    if (out == nullptr) {
        return;
    }
    if (!ZKHAL::guarded(__func__, false, [&] { return translate(ZKHAL::orEmpty(json), out); })) {
        std::memset(out, 0, ZK_BLOCK_SIZE);
    }
}

int ZKCheckCommandDocument(const char* json, uint32_t robotType, char* message, size_t messageSize)
{
    ZKHAL::copyToBuffer(message, messageSize, "", 0);
    return ZKHAL::guarded(__func__, static_cast<int>(ZK_CHECK_REFUSED), [&] {
        std::string findings;
        const APICore::CheckResult result = APICore::checkCommandDocument(ZKHAL::orEmpty(json), robotType, findings);
        ZKHAL::copyToBuffer(message, messageSize, findings.data(), findings.size());
        return static_cast<int>(result);
    });
}
