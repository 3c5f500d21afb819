#include "ZKHAL/Translation.h"

#include <cstring>
#include <string>

#include "CoreUtility/Boundary.h"
#include "CoreUtility/Command/BotMessengerBuffer.h"
#include "CoreUtility/Command/CommandCheck.h"
#include "CoreUtility/Messages.h"
#include "CoreUtility/PayloadText.h"
#include "CoreUtility/Text.h"
#include "HAL/MessagePacketizers/PacketizerInteraction.h"
#include "HAL/RobotHardware/RobotHW.h"
#include "ZKHAL/HALPacket.h"

namespace {

// Created on first use; they live until the process ends, so that a host's own clean-up may still translate.
HAL::RobotHW* rhw_orvik = nullptr;
APICore::BotMessengerBuffer* bmb_orvik = nullptr;
HAL::PacketizerInteraction* pin_gen = nullptr;
char* jsonBuf = nullptr;
size_t jsonBufSize = 0;

// The recorded size is one larger than what was asked for, and as much is owned: a request for exactly the recorded
// size changes nothing.
void ensureJsonBufferSize(size_t size)
{
    if (jsonBufSize < size) {
        char* larger = new char[size + 1];
        delete[] jsonBuf;
        jsonBuf = larger;
        jsonBufSize = size + 1;
    }
}

// The document of the last report, before it is copied for the host. Lives as long as the objects above.
ZKHAL::PayloadText& reportText()
{
    static ZKHAL::PayloadText* const text = new ZKHAL::PayloadText;
    return *text;
}

void init()
{
    if (rhw_orvik != nullptr) {
        return;
    }
    auto* robot = new HAL::RobotHW;
    robot->_setRobotType(ZK_ROBOT_ORVIK);
    bmb_orvik = new APICore::BotMessengerBuffer(robot);
    pin_gen = new HAL::PacketizerInteraction;
    ensureJsonBufferSize(4096);
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

const char* decode(const ZKPacketBlock_t& slots)
{
    init();
    HALPacket_t packets[kSlots];
    size_t count = 0;
    for (size_t i = 0; i < kSlots; ++i) {
        const uint8_t* slot = slots.bytes + ZK_SLOT_SIZE * i;
        if (slot[0] == 0) {
            continue;
        }
        if (slot[0] != HAL_PACKET_SIZE) {
            ZKHAL::printErr("error: incorrect packetSize: %d\n", slot[0]);
            ZKHAL::copyToBuffer(jsonBuf, jsonBufSize, "{}", 2);
            return jsonBuf;
        }
        packets[count].length = HAL_PACKET_SIZE;
        std::memcpy(packets[count].data, slot + 1, HAL_PACKET_SIZE);
        ++count;
    }
    ZKHAL::PayloadText& text = reportText();
    text.clear();
    pin_gen->decode(rhw_orvik->getRobotType(), packets, count, text);
    ensureJsonBufferSize(text.length() + 1);
    ZKHAL::copyToBuffer(jsonBuf, jsonBufSize, text.data(), text.length());
    return jsonBuf;
}

}  // namespace

const char* packets2Json(ZKPacketBlock_t slots)
{
    return ZKHAL::guarded(__func__, "{}", [&] { return decode(slots); });
}

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
