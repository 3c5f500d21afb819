// The robot's side of the command packets: bytes back into commands.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "ZKHAL/HALPacket.h"

namespace Simulator {

// Some bits of a byte of the command, byte 0 being the command byte.
struct Piece {
    uint8_t byte, shift, bits;
};

enum class Show : uint8_t { Number, EyeLights, Lights, AnimationOrSeven };

// A field of a command, its pieces from the lowest bits up.
struct FieldLayout {
    const char* name;  // "" where the command's own name says it
    const char* unit;  // "" for plain numbers
    double scale;      // value = raw number * scale
    bool isSigned;
    Piece pieces[4];
    Show show = Show::Number;
};

struct CommandLayout {
    int code;
    int subCode;  // second byte, -1: none
    size_t size;
    const char* name;
    const FieldLayout* fields;
    size_t fieldCount;
    uint8_t textAt = 0;  // a name, zero-padded; 0: none
    uint8_t textSize = 0;
};

class RobotCommand {
public:
    RobotCommand(const CommandLayout& layout, const uint8_t* bytes);

    const char* name() const
    {
        return mLayout->name;
    }
    int code() const
    {
        return mLayout->code;
    }
    size_t size() const
    {
        return mLayout->size;
    }
    const uint8_t* bytes() const
    {
        return mBytes;
    }
    // By the names of the layout; 0 for a field that the command does not have.
    int64_t raw(const char* field) const;
    double value(const char* field) const;
    // The name that the command carries, "" if none.
    std::string text() const;
    // In words and units: "wheel speeds: left 10 cm/s, right -10 cm/s".
    std::string inWords() const;

private:
    const CommandLayout* mLayout;
    uint8_t mBytes[HAL_PACKET_SIZE];
};

struct PacketReading {
    std::vector<RobotCommand> commands;
    std::string problem;  // why reading stopped before the end, "" if it did not
    size_t problemAt = 0;
};

// Any bytes of any length; at most one packet's worth is read.
PacketReading readCommands(const uint8_t* data, size_t length);

}  // namespace Simulator
