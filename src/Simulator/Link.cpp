#include "Simulator/Link.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>

#include "CoreUtility/Numbers.h"
#include "CoreUtility/ReadReal.h"

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
constexpr int64_t kSecond_ns = 1000000000;
constexpr int64_t kSlice_ns = 5000000;  // in which time passes
constexpr double kSlice_s = 0.005;
constexpr double kLongestAdvance = 3600;
constexpr size_t kMostInTheAir = 4096;  // each way; beyond it the oldest is lost

int64_t nanoseconds(double seconds)
{
    return ZKHAL::roundHalfAway(seconds * static_cast<double>(kSecond_ns));
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
        const char* const begin = item.c_str() + std::min(equals + 1, item.size());
        const auto [stop, chance] = ZKHAL::readReal(begin);
        if (stop == begin || stop != item.c_str() + item.size() || !(chance >= 0 && chance <= 1)) {
            problem = name + " wants a chance from 0 to 1, as in " + name + "=0.05";
            return std::nullopt;
        }
        faults.*row->chance = chance;
    }
    return faults;
}

Link::Link(VirtualRobot& robot, const Faults& faults, uint64_t seed) : mRobot(robot), mFaults(faults), mRandom(seed) {}

void Link::connect()
{
    mIsConnected = true;
    mNextCut_ns = mNow_ns + kSecond_ns;
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
    Packet<Written> packet = {Written(reinterpret_cast<const char*>(data), data != nullptr ? length : 0), channel};
    send(mToRobot, mLastToRobot_ns, std::move(packet));
    return true;
}

template <class Data>
void Link::send(Way<Data>& way, int64_t& lastDue_ns, Packet<Data> packet)
{
    if (happens(mFaults.drop)) {
        return;
    }
    Data& data = packet.data;
    if (!data.empty() && happens(mFaults.corrupt)) {
        const auto bit = static_cast<size_t>(mRandom.below(data.size() * 8));
        data[bit / 8] = static_cast<char>(data[bit / 8] ^ (1 << bit % 8));
    }
    if (!data.empty() && happens(mFaults.truncate)) {
        data.resize(static_cast<size_t>(mRandom.below(data.size())));
    }
    const double delay = happens(mFaults.delay) ? mRandom.unit() * kLongestDelay : 0;
    packet.due_ns = lastDue_ns = std::max(mNow_ns + nanoseconds(delay), lastDue_ns);
    if (happens(mFaults.reorder)) {
        packet.due_ns += nanoseconds(mRandom.unit() * kLongestOvertaking);  // nobody waits for it
    }
    const int copies = happens(mFaults.duplicate) ? 2 : 1;
    for (int i = 0; i < copies; ++i) {
        if (way.size() == kMostInTheAir) {
            take(way);
            ++mFaultCount;
        }
        packet.order = mSent++;
        way.push_back(packet);
        std::push_heap(way.begin(), way.end(), std::greater<>());
    }
}

template <class Data>
bool Link::isDue(const Way<Data>& way, int64_t now_ns)
{
    return !way.empty() && way.front().due_ns <= now_ns;
}

template <class Data>
Link::Packet<Data> Link::take(Way<Data>& way)
{
    std::pop_heap(way.begin(), way.end(), std::greater<>());
    Packet<Data> packet = std::move(way.back());
    way.pop_back();
    return packet;
}

void Link::advance(double seconds)
{
    if (!(seconds > 0)) {
        return;
    }
    // In whole slices, so that no rounding adds up.
    constexpr double kSlack = 1e-9;
    for (mRest += std::min(seconds, kLongestAdvance); mRest > kSlice_s - kSlack; mRest -= kSlice_s) {
        mNow_ns += kSlice_ns;
        while (isDue(mToRobot, mNow_ns)) {
            const Packet<Written> packet = take(mToRobot);
            mRobot.write(packet.channel.c_str(), reinterpret_cast<const uint8_t*>(packet.data.data()),
                         packet.data.size());
        }
        mRobot.advance(kSlice_s);
        Notification notification;
        while (mRobot.nextNotification(notification)) {
            if (mIsConnected) {
                send(mToHost, mLastToHost_ns, Packet<Notified>{Notified(notification.data), notification.channel});
            }
        }
        if (mNow_ns >= mNextCut_ns) {
            mNextCut_ns += kSecond_ns;
            if (mIsConnected && happens(mFaults.cut)) {
                disconnect();
            }
        }
    }
}

bool Link::nextNotification(Notification& notification)
{
    if (!isDue(mToHost, mNow_ns)) {
        return false;
    }
    const Packet<Notified> packet = take(mToHost);
    notification = {packet.channel, packet.data};
    return true;
}

}  // namespace Simulator
