// A host of a few lines: finds a robot, drives it, asks it, leaves.
#include <cstdio>
#include <string>

#include <Host/Hub.h>
#include <Host/VirtualTransport.h>

namespace {

struct Listener final : Host::SessionListener {
    void onAnswer(Host::RobotSession&, Host::AskId, const std::string& command, const char* answer,
                  const Host::Error&) override
    {
        std::printf("%s: %s\n", command.c_str(), answer != nullptr ? answer : "nothing");
    }
};

}  // namespace

int main()
{
    Host::VirtualTransport radio(Host::Pace::Fast);
    radio.add({ZK_ROBOT_QUILL, 1, {}});
    Listener listener;
    Host::Hub hub(radio);
    Host::RobotSession& robot = hub.open("Virtual Quill", {}, &listener);
    hub.runUntil([&] { return robot.isReady(); }, 5);
    robot.send(R"({"211":{"left_cm_s":10,"right_cm_s":10}})");
    hub.run(1);
    Host::AskId id;
    robot.ask("NAME", 1, id);
    hub.run(0.5);
    std::printf("%s\n", radio.robot(0).state().x > 5 ? "it drives" : "it stands");
    return 0;
}
