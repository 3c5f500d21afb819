#include "host/PrivateBus.h"

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace support {

namespace {

// As narrow as the system's where that matters: so many calls of a program may be unanswered.
constexpr char kConfig[] = R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <listen>unix:dir=FOLDER</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_type="method_call"/>
    <allow send_type="signal"/>
    <allow send_requested_reply="true" send_type="method_return"/>
    <allow send_requested_reply="true" send_type="error"/>
    <allow receive_type="method_call"/>
    <allow receive_type="method_return"/>
    <allow receive_type="error"/>
    <allow receive_type="signal"/>
  </policy>
  <limit name="max_replies_per_connection">128</limit>
</busconfig>
)";

}  // namespace

PrivateBus::PrivateBus()
{
    char folder[] = "/tmp/zkhal-bus-XXXXXX";
    int answer[2];
    if (!mkdtemp(folder) || pipe(answer) != 0) {
        mProblem = "no folder for a bus can be made";
        return;
    }
    mFolder = folder;
    std::string config = kConfig;
    config.replace(config.find("FOLDER"), 6, mFolder);
    const std::string file = mFolder + "/bus.conf", log = mFolder + "/log", option = "--config-file=" + file;
    std::ofstream(file) << config;

    mProcess = fork();
    if (mProcess == 0) {
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        dup2(answer[1], STDOUT_FILENO);
        dup2(open(log.c_str(), O_WRONLY | O_CREAT, 0600), STDERR_FILENO);
        close(answer[0]);
        close(answer[1]);
        execlp("dbus-daemon", "dbus-daemon", option.c_str(), "--nofork", "--print-address", nullptr);
        _exit(127);
    }
    close(answer[1]);
    std::string address;
    char byte;
    while (read(answer[0], &byte, 1) == 1 && byte != '\n') {
        address += byte;
    }
    close(answer[0]);
    if (address.empty()) {
        mProblem = "dbus-daemon is not installed, or does not start (Debian package dbus-daemon)";
    }
    setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1);
}

PrivateBus::~PrivateBus()
{
    stop();
    std::error_code ignored;
    std::filesystem::remove_all(mFolder, ignored);
}

void PrivateBus::stop()
{
    if (mProcess > 0) {
        kill(mProcess, SIGTERM);
        waitpid(mProcess, nullptr, 0);
        mProcess = -1;
    }
}

}  // namespace support
