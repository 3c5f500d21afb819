#include "Simulator/Link.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <utility>

#include "CoreUtility/Numbers.h"

namespace Simulator {

namespace {

struct FaultRow {
    const char* name;
    double Faults::*chance;
};
constexpr FaultRow kFaults[] = {
    {"drop", &Faults::drop},       {"duplicate", &Faults::duplicate}, {"delay", &Faults::delay},
    {"reorder", &Faults::reorder}, {"corrupt", &Faults::corrupt},     {"truncate", &Faults::truncate},
    {"cut", &Faults::cut},
};

constexpr double kLongestDelay = 0.5, kLongestOvertaking = 0.1;  // seconds
constexpr double kSlice = 1.0 / 120;                             // in which time passes
constexpr double kNanoseconds = 1e9;
constexpr double kLongestAdvance = 3600;
constexpr size_t kMostInTheAir = 4096;  // each way; beyond it the oldest is lost

int64_t nanoseconds(double seconds)
{
    return ZKHAL::roundHalfAway(seconds * kNanoseconds);
}

}  // namespace

std::optional<Faults> parseFaults(const std::string& text, std::string& problem)
{
    Faults faults;
    for (size_t at = 0, end; at < text.size(); at = end + 1) {
        end = std::min(text.find(',', at), text.size());
        const std::string item = text.substr(at, end - at);
        const size_t equals = std::min(item.find('='), item.size());
        const std::string name = item.substr(0, equals);
        const auto row = std::find_if(std::begin(kFaults), std::end(kFaults),
                                      [&](const FaultRow& each) { return name == each.name; });
        if (row == std::end(kFaults)) {
            problem = "no fault is called \"" + name + "\"; there are";
            for (const FaultRow& each : kFaults) {
                problem += std::string(" ") + each.name;
            }
            return std::nullopt;
        }
        const char* const begin = item.data() + std::min(equals + 1, item.size());
        double& chance = faults.*row->chance;
        const auto [stop, error] = std::from_chars(begin, item.data() + item.size(), chance);
        if (error != std::errc() || stop != item.data() + item.size() || !(chance >= 0 && chance <= 1)) {
            problem = name + " wants a chance from 0 to 1, as in " + name + "=0.05";
            return std::nullopt;
        }
    }
    return faults;
}

Link::Link(VirtualRobot& robot, const Faults& faults, uint64_t seed) : mRobot(robot), mFaults(faults), mRandom(seed) {}

void Link::connect()
{
    mIsConnected = true;
}

void Link::disconnect()
{
    if (mIsConnected) {
        mIsConnected = false;
        mToRobot.clear();
        mToHost.clear();
        mRobot.handleDisconnect();
    }
}

// Without the chance, no number is drawn: a clean link is the same for every seed.
bool Link::happens(double chance)
{
    const bool does = chance > 0 && mRandom.unit() < chance;
    mFaultCount += does ? 1 : 0;
    return does;
}

bool Link::write(const char* channel, const uint8_t* data, size_t length)
{
    if (!mIsConnected || channel == nullptr) {
        return false;
    }
    std::string bytes(reinterpret_cast<const char*>(data), data != nullptr ? length : 0);
    send(mToRobot, mLastToRobot_ns, {0, 0, channel, std::move(bytes), nullptr});
    return true;
}

void Link::send(std::vector<Packet>& way, int64_t& lastDue_ns, Packet packet)
{
    if (happens(mFaults.drop)) {
        return;
    }
    if (!packet.data.empty() && happens(mFaults.corrupt)) {
        const uint64_t bit = mRandom.below(packet.data.size() * 8);
        packet.data[bit / 8] = static_cast<char>(packet.data[bit / 8] ^ (1 << bit % 8));
    }
    if (!packet.data.empty() && happens(mFaults.truncate)) {
        packet.data.resize(mRandom.below(packet.data.size()));
    }
    const double delay = happens(mFaults.delay) ? mRandom.unit() * kLongestDelay : 0;
    lastDue_ns = packet.due_ns = std::max(mNow_ns + nanoseconds(delay), lastDue_ns);
    if (happens(mFaults.reorder)) {
        packet.due_ns += nanoseconds(mRandom.unit() * kLongestOvertaking);  // nobody waits for it
    }
    const int copies = happens(mFaults.duplicate) ? 2 : 1;
    for (int i = 0; i < copies; ++i) {
        if (way.size() == kMostInTheAir) {
            way.erase(way.begin());
            ++mFaultCount;
        }
        packet.number = mSent++;
        way.push_back(packet);
    }
}

std::optional<Link::Packet> Link::takeDue(std::vector<Packet>& way, int64_t now_ns)
{
    const auto first = std::min_element(way.begin(), way.end(), [](const Packet& a, const Packet& b) {
        return std::pair(a.due_ns, a.number) < std::pair(b.due_ns, b.number);
    });
    if (first == way.end() || first->due_ns > now_ns) {
        return std::nullopt;
    }
    Packet packet = std::move(*first);
    way.erase(first);
    return packet;
}

void Link::advance(double seconds)
{
    for (double left = std::min(seconds, kLongestAdvance); left > 0; left -= kSlice) {
        const double slice = std::min(left, kSlice);
        mNow_ns += nanoseconds(slice);
        while (const auto packet = takeDue(mToRobot, mNow_ns)) {
            mRobot.write(packet->channel.c_str(), reinterpret_cast<const uint8_t*>(packet->data.data()),
                         packet->data.size());
        }
        mRobot.advance(slice);
        Notification notification;
        while (mRobot.nextNotification(notification)) {
            if (mIsConnected) {
                send(mToHost, mLastToHost_ns, {0, 0, "", std::move(notification.data), notification.channel});
            }
        }
        if (mIsConnected && happens(mFaults.cut * slice)) {
            disconnect();
        }
    }
}

bool Link::nextNotification(Notification& notification)
{
    auto packet = takeDue(mToHost, mNow_ns);
    if (!packet) {
        return false;
    }
    notification = {packet->notified, std::move(packet->data)};
    return true;
}

}  // namespace Simulator
