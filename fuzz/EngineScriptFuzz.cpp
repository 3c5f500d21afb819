// Any bytes as a script of engine calls, made by the host and from inside its callbacks: every command ends at most
// once, none after its robot has disconnected, and nothing stays armed.
#include <cstdlib>
#include <string>
#include <vector>

#include "support/Host.h"

namespace {

using support::Host;
using support::Told;

class Script {
public:
    Script(const uint8_t* data, size_t size) : mNext(data), mEnd(data + size)
    {
        mHost.on = [this](Told told, const std::string& what) {
            if (told == Told::Done || told == Told::Failed) {
                ended(what);
            }
            if (mDepth < kMaxDepth && mNext < mEnd && *mNext % 2 == 0) {
                step();
            }
        };
    }
    ~Script()
    {
        while (mNext < mEnd) {
            step();
        }
        mHost.on = nullptr;
        Host::forgetAll();
        if (!mHost.timers->toString().empty()) {
            std::abort();
        }
    }
    Script(const Script&) = delete;
    Script& operator=(const Script&) = delete;

private:
    enum class State { Open, Ended, Dropped };
    static constexpr int kMaxDepth = 30;

    uint8_t take()
    {
        return mNext < mEnd ? *mNext++ : uint8_t{0};
    }

    void step()
    {
        ++mDepth;
        const uint8_t choice = take();
        const char* id = choice & 0x80 ? "a" : "b";
        switch (choice >> 1 & 7) {
            case 0: {
                const std::string command = std::to_string(mCommands.size()) + std::string(take(), '.');
                if (ZKIsKnownRobot(id)) {
                    mCommands.push_back({*id, State::Open});
                    Host::enqueue(id, command.c_str(), (take() - 10) * 0.01);
                }
                break;
            }
            case 1: {
                const size_t wanted = take() % 32u;
                const size_t length =
                    wanted < static_cast<size_t>(mEnd - mNext) ? wanted : static_cast<size_t>(mEnd - mNext);
                Host::receive(id, std::string(reinterpret_cast<const char*>(mNext), length));
                mNext += length;
                break;
            }
            case 2:
                Host::answer(id, "yes");
                break;
            case 3:
                Host::wait(take() * 0.01);
                break;
            case 4:
                Host::scan(id, static_cast<char>(take() % 5));
                break;
            case 5:
                drop(*id);
                Host::disconnect(id);
                break;
            case 6:
                drop(*id);
                ZKForgetRobot(id);
                break;
            default:
                Host::receive(id, std::string(take() + 1u, '\n'));
                break;
        }
        --mDepth;
    }

    void drop(char id)
    {
        for (Command& command : mCommands) {
            if (command.robot == id && command.state == State::Open) {
                command.state = State::Dropped;
            }
        }
    }

    void ended(const std::string& what)
    {
        Command& command = mCommands.at(std::stoul(what.substr(4)));
        if (command.robot != what[0] || command.state != State::Open) {
            std::abort();
        }
        command.state = State::Ended;
    }

    struct Command {
        char robot;
        State state;
    };
    Host mHost;
    const uint8_t* mNext;
    const uint8_t* mEnd;
    std::vector<Command> mCommands;
    int mDepth = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const Script script(data, size);
    return 0;
}
