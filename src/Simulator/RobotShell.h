// The text shell of a robot: packets to command lines, and answers to packets.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "ZKHAL/HALPacket.h"

namespace Simulator {

class RobotShell {
public:
    /** A Rusk's shell has no frame. */
    explicit RobotShell(bool isFramed) : mIsFramed(isFramed) {}

    /** One write. The complete command lines in it, without frame and line end. */
    std::vector<std::string> hear(const uint8_t* data, size_t length);
    /** A half line is forgotten. */
    void forgetLine();

    /** An answer in notifications of up to 20 bytes. Bytes that would end it early become question marks. */
    std::vector<std::string> packetsOf(const std::string& answer) const;

    /** An answer of the host's own to a command; without a text, none at all. */
    void setAnswer(const std::string& command, std::optional<std::string> answer);
    const std::optional<std::string>* ownAnswer(const std::string& command) const;

    /** Packets without a frame, and lines that are too long. */
    uint32_t textLost() const
    {
        return mTextLost;
    }

private:
    bool mIsFramed;
    std::string mLine;
    bool mLineIsTooLong = false;
    std::map<std::string, std::optional<std::string>> mAnswers;
    uint32_t mTextLost = 0;
};

}  // namespace Simulator
