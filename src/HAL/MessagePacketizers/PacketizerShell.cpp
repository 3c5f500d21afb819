#include "HAL/MessagePacketizers/PacketizerShell.h"

#include "CoreUtility/Text.h"
#include "HAL/MessagePacketizers/ShellFrame.h"

namespace HAL {

namespace {

constexpr int64_t kKeepDefaultAddress = 999;

// Over the length of the document's key only, so that abbreviations and the empty key match, on purpose.
bool keyMatches(const char* key, const char* name)
{
    for (; *key != '\0'; ++key, ++name) {
        const char lower = *key >= 'A' && *key <= 'Z' ? static_cast<char>(*key - 'A' + 'a') : *key;
        if (lower != *name) {
            return false;
        }
    }
    return true;
}

}  // namespace

bool PacketizerShell::_serialize(const RobotHW&, std::vector<HALPacket_t>& packets, const nx_json* request)
{
    unsigned address = kShellDefaultAddress;
    bool isDefault = true;
    const char* text = "";
    for (const nx_json* member = request != nullptr ? request->child : nullptr; member != nullptr;
         member = member->next) {
        const char* key = ZKHAL::orEmpty(member->key);
        if (keyMatches(key, "addr")) {
            address = static_cast<unsigned>(member->int_value & 3);
            isDefault = isDefault && member->int_value == kKeepDefaultAddress;
        } else if (keyMatches(key, "cmd")) {
            text = ZKHAL::orEmpty(member->text_value);
        }
    }
    const size_t length = std::strlen(text);
    appendShellPackets(packets, shellHeader(address, isDefault), text, length);
    return length > 0;
}

bool PacketizerShell::_deserializeToText(const RobotHW&, const std::vector<HALPacket_t>& packets,
                                         ZKHAL::PayloadText& out)
{
    std::string text;
    for (size_t i = 0; i < packets.size(); ++i) {
        // The first packet has one byte more before its text, the last its terminator behind it.
        const size_t begin = kShellHeaderBytes + (i == 0 ? 1 : 0);
        const size_t bytes = packetBytes(packets[i]);
        const size_t end = i + 1 == packets.size() && bytes > 0 ? bytes - 1 : bytes;
        if (begin < end) {
            text.append(reinterpret_cast<const char*>(packets[i].data) + begin, end - begin);
        }
    }
    if (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    out.append("{\"res\":\"");
    out.append(text.data(), text.size());
    out.append("\"}");
    return true;
}

}  // namespace HAL
