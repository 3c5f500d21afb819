// Why something with a robot or a radio went wrong, in a code for programs and in words for people.
#pragma once

#include <cstdint>
#include <string>

namespace Host {

enum class ErrorCode : uint8_t {
    None,
    NoAdapter,       // no Bluetooth adapter, or not the one that was asked for
    AdapterOff,      // there is one, but it is not powered
    AdapterBlocked,  // switched off by rfkill
    NotPermitted,    // this user may not
    NoDaemon,        // nobody answers for Bluetooth on this machine
    OutOfReach,      // the robot does not answer
    Lost,            // the connection broke
    TimedOut,
    NotARobot,      // services or characteristics are not a robot's
    NotConnected,   // nothing can be sent now
    BadDocument,    // a command document is refused; words are the check's findings
    TooMuch,        // more is waiting than is kept
    ShellTimedOut,  // a shell command has no answer in its time
    NotSupported,   // this transport does not do it
    Failed,         // anything else
};

struct Error {
    ErrorCode code = ErrorCode::None;
    std::string words = {};  // one line, or for BadDocument one for each finding; no control characters
    std::string hint = {};   // what to do about it; may be empty

    explicit operator bool() const
    {
        return code != ErrorCode::None;
    }
};

/** "words (hint)", or the words alone. */
inline std::string inWords(const Error& error)
{
    return error.hint.empty() ? error.words : error.words + " (" + error.hint + ")";
}

}  // namespace Host
