// A D-Bus of the tests' own, in the place of the system's.
#pragma once

#include <sys/types.h>

#include <string>

namespace support {

class PrivateBus {
public:
    /** Sets DBUS_SYSTEM_BUS_ADDRESS: to be made before there are threads. */
    PrivateBus();
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    /** "" when it runs, else why it does not. */
    const std::string& problem() const
    {
        return mProblem;
    }
    /** Of this bus alone, and gone with it. */
    const std::string& folder() const
    {
        return mFolder;
    }
    /** Everyone who is connected loses the bus. */
    void stop();

private:
    std::string mFolder, mProblem;
    pid_t mProcess = -1;
};

}  // namespace support
