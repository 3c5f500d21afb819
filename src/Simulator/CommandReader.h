// The robot's side of the command packets: bytes back into commands.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "HAL/RobotMessages/WireCommands.h"
#include "Simulator/CommandFields.h"
#include "ZKHAL/HALPacket.h"

namespace Simulator {

struct CommandLayout {
    const HAL::WireCommand* command;
    size_t size;
    const FieldLayout* fields;
    size_t fieldCount;
    uint8_t textAt = 0;  // a name, zero-padded; 0: none
    uint8_t textSize = 0;
};

class RobotCommand {
public:
    RobotCommand(const CommandLayout& layout, const uint8_t* bytes);

    const HAL::WireCommand& command() const
    {
        return *mLayout->command;
    }
    int code() const
    {
        return command().code;
    }
    size_t size() const
    {
        return mLayout->size;
    }
    const uint8_t* bytes() const
    {
        return mBytes;
    }
    // One of Field's, as the bytes hold it and in its unit; 0 for a field beyond the end of this command.
    int64_t raw(const FieldLayout& field) const;
    double value(const FieldLayout& field) const;
    // The name that the command carries, "" if none.
    std::string text() const;
    // In words and units: "wheel speeds: left 10 cm/s, right -10 cm/s".
    std::string inWords() const;

private:
    const CommandLayout* mLayout;
    uint8_t mBytes[HAL_PACKET_SIZE];  // zero behind its end
};

struct PacketReading {
    std::vector<RobotCommand> commands;
    std::string problem;  // why reading stopped before the end, "" if it did not
    size_t problemAt = 0;
};

// Any bytes of any length; at most one packet's worth is read.
PacketReading readCommands(const uint8_t* data, size_t length);

}  // namespace Simulator
