#include "Host/BluezLink.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "Host/BluezErrors.h"
#include "Host/BluezNames.h"

namespace Host::Bluez {

namespace {

constexpr double kNever = std::numeric_limits<double>::infinity();
constexpr double kRetrySeconds = 0.5;
constexpr unsigned kMostFailures = 3;
constexpr double kCallSeconds = 25;
constexpr double kDisconnectSeconds = 10;  // BlueZ takes two

}  // namespace

Link::~Link()
{
    // BlueZ keeps connections whose program has gone.
    if (mState != State::Idle && !mDevice.path.empty()) {
        mAir.calls.tell(mDevice.path, kDevice, "Disconnect");
    }
    become(State::Idle);
}

void Link::become(State state)
{
    if (mState == State::Connected) {
        --mAir.connectedLinks;
    }
    if (state == State::Connected) {
        ++mAir.connectedLinks;
    }
    mState = state;
    mDeadline = mRetryAt = kNever;
}

void Link::tell(std::function<void(TransportListener&)> event)
{
    mAir.events.push_back(std::move(event));
}

void Link::connect()
{
    if (mState != State::Idle) {
        return;
    }
    mAttempt = std::make_shared<int>();
    mFailures = 0;
    mWaitsForServices = mIsDiscovered = false;
    become(State::Seeking);
    mDeadline = mAir.now() + mAir.connectTimeoutSeconds;
    onSeen();
}

void Link::onSeen()
{
    if (mState == State::Seeking && !mDevice.path.empty()) {
        const double deadline = mDeadline;
        become(State::Connecting);
        mDeadline = deadline;
        call("Connect");
    }
}

void Link::call(const char* method)
{
    const bool isConnect = mState == State::Connecting;
    // Connecting has a deadline of its own, which comes first.
    const double seconds = isConnect ? mAir.connectTimeoutSeconds + kCallSeconds : kDisconnectSeconds;
    mAir.calls.call(
        mAir.calls.newCall(mDevice.path, kDevice, method), mAttempt,
        [this, isConnect](BusMessage& reply) {
            if (isConnect) {
                onConnectReply(reply);
            } else {
                end({});
            }
        },
        seconds);
}

void Link::onConnectReply(const BusMessage& reply)
{
    const BusError failure = reply.error();
    if (mState != State::Connecting) {
        return;  // its services were told before
    }
    if (!failure || failure.name == "org.bluez.Error.AlreadyConnected") {
        onNowConnected();
        return;
    }
    if (isUnknownObject(failure)) {
        onForgotten();
        return;
    }
    Error error = explain(failure, "the robot does not answer", ErrorCode::OutOfReach);
    if (error.code == ErrorCode::AdapterOff) {
        error = mAir.whyOff();
    }
    // A radio that is busy with another robot, or with leaving this one, says so and is free soon.
    mFailures += isInProgress(failure) ? 0u : 1u;
    if (isFinal(error.code) || mFailures >= kMostFailures) {
        error.hint = error.code == ErrorCode::OutOfReach ? "is it on, near, and not connected elsewhere?" : error.hint;
        end(error);
        return;
    }
    mRetryAt = mAir.now() + kRetrySeconds;
}

void Link::onNowConnected()
{
    become(State::Connected);
    tell([robot = mDevice.robot](TransportListener& listener) { listener.onConnected(robot); });
}

void Link::onForgotten()
{
    if (mState == State::Connecting) {
        const double deadline = mDeadline;
        mAttempt = std::make_shared<int>();
        become(State::Seeking);
        mDeadline = deadline;
        mDevice.forgetPath();
    } else if (mState == State::Connected) {
        end({ErrorCode::Lost, "the connection is lost", ""});
    } else if (mState == State::Disconnecting) {
        end({});
    }
}

void Link::onConnectedChanged()
{
    // That it is connected may never be told, and what is told while it connects may be older than the attempt.
    if (mState == State::Connected && !mDevice.isConnected) {
        end({ErrorCode::Lost, "the connection is lost", ""});
    }
}

void Link::onResolvedChanged()
{
    if (mState == State::Connecting && mDevice.isResolved) {
        onNowConnected();
    }
    if (mState == State::Connected && mDevice.isResolved && mWaitsForServices) {
        askResolved();
    }
}

void Link::discover()
{
    if (mState != State::Connected) {
        return;
    }
    mWaitsForServices = true;
    mDeadline = mAir.now() + mAir.connectTimeoutSeconds;
    askResolved();
}

// BlueZ may tell that all is known before it tells what: its answers come after all that it had to tell.
void Link::askResolved()
{
    BusMessage question = mAir.calls.newCall(mDevice.path, kProperties, "Get");
    question.append(BusValue(std::string(kDevice)), BusValue(std::string("ServicesResolved")));
    mAir.calls.call(
        std::move(question), mAttempt,
        [this](BusMessage& reply) {
            bool isResolved = false;
            if (!reply.error() && reply.read(isResolved) && isResolved && mWaitsForServices) {
                mDevice.isResolved = true;
                tellDiscovered();
            }
        },
        kCallSeconds);
}

void Link::tellDiscovered()
{
    mWaitsForServices = false;
    mIsDiscovered = true;
    mDeadline = kNever;
    tell([robot = mDevice.robot, list = mDevice.listCharacteristics()](TransportListener& listener) {
        listener.onDiscovered(robot, list);
    });
}

void Link::subscribe(const char* channel)
{
    if (mState != State::Connected) {
        return;
    }
    const std::string path = mDevice.pathOf(channel);
    const std::string uuid = canonicalUuid(channel);
    if (path.empty()) {
        giveUp({ErrorCode::NotARobot, "the robot has no characteristic " + printable(uuid), ""});
        return;
    }
    const auto told = [robot = mDevice.robot, uuid](TransportListener& listener) {
        listener.onSubscribed(robot, uuid.c_str());
    };
    const auto [subscription, isNew] = mSubscriptions.emplace(path, Subscription::Asked);
    if (!isNew) {
        if (subscription->second == Subscription::Made) {
            tell(told);
        }
        return;
    }
    mAir.calls.call(
        mAir.calls.newCall(path, kCharacteristic, "StartNotify"), mAttempt,
        [this, path, told](BusMessage& reply) {
            if (const BusError failure = reply.error(); failure && !isInProgress(failure)) {
                giveUp(explain(failure, "subscribing failed", ErrorCode::Lost));
                return;
            }
            mSubscriptions[path] = Subscription::Made;
            tell(told);
        },
        kCallSeconds);
}

void Link::onValue(const std::string& characteristic, const Bytes& value)
{
    const auto at = mDevice.characteristics.find(characteristic);
    if (mState != State::Connected || mSubscriptions.count(characteristic) == 0 ||
        at == mDevice.characteristics.end()) {
        return;
    }
    tell([robot = mDevice.robot, uuid = at->second.uuid, value](TransportListener& listener) {
        listener.onNotification(robot, uuid.c_str(), value.data(), value.size());
    });
}

bool Link::write(const char* channel, const uint8_t* data, size_t length, bool withResponse)
{
    if (mState != State::Connected || mWrites.size() >= kWriteWindow) {
        return false;
    }
    const std::string path = mDevice.pathOf(channel);
    if (path.empty()) {
        const std::string words = "the robot has no characteristic " + printable(canonicalUuid(channel));
        tell([words](TransportListener& listener) { listener.onFailed({ErrorCode::NotARobot, words, ""}); });
        return false;
    }
    BusMessage call = mAir.calls.newCall(path, kCharacteristic, "WriteValue");
    call.append(BusValue(Bytes(data, data + length)));
    call.append(BusProperties{{"type", std::string(withResponse ? "request" : "command")}});
    mWrites.push_back({call, withResponse});
    sendWrites();
    return true;
}

size_t Link::openWrites() const
{
    return static_cast<size_t>(
        std::count_if(mWrites.begin(), mWrites.end(), [](const Write& write) { return write.isOpen; }));
}

void Link::sendWrites()
{
    // One robot that is slow must not use up what all may have open.
    const size_t share =
        std::clamp<size_t>(Calls::kMostOpenWrites / std::max<size_t>(mAir.connectedLinks, 1), 1, kWriteWindow);
    size_t open = openWrites();
    for (size_t i = 0; i < mWrites.size() && open < share; ++i) {
        Write& write = mWrites[i];
        if (write.isOpen || write.isDone) {
            // BlueZ refuses a second request, and what overtakes one would come first.
            if (write.isOpen && write.withResponse) {
                return;
            }
            continue;
        }
        if (write.withResponse && open > 0) {
            return;
        }
        write.isOpen = true;
        ++open;
        const uint64_t id = mFirstWrite + i;
        mAir.calls.call(
            std::move(write.call), mAttempt, [this, id](BusMessage& reply) { onWriteReply(id, reply); }, kCallSeconds);
    }
}

void Link::onWriteReply(uint64_t id, const BusMessage& reply)
{
    Write& write = mWrites[id - mFirstWrite];
    write.isOpen = false;
    write.isDone = true;
    if (const BusError failure = reply.error()) {
        const Error error = explain(failure, "writing failed", ErrorCode::Failed);
        if (isUnknownObject(failure) || error.code == ErrorCode::Lost || isFinal(error.code) ||
            failure.text == "Not connected") {
            giveUp({ErrorCode::Lost, "the connection is lost", ""});
            return;
        }
        tell([error](TransportListener& listener) { listener.onFailed(error); });
    }
    while (!mWrites.empty() && mWrites.front().isDone) {
        mWrites.pop_front();
        ++mFirstWrite;
        tell([robot = mDevice.robot](TransportListener& listener) { listener.onWritten(robot); });
    }
    sendWrites();
}

void Link::disconnect()
{
    if (mState == State::Idle || mState == State::Disconnecting) {
        return;
    }
    if (mState == State::Seeking || mDevice.path.empty()) {
        end({});
        return;
    }
    mAttempt = std::make_shared<int>();
    become(State::Disconnecting);
    call("Disconnect");
}

void Link::giveUp(const Error& error)
{
    if (!mDevice.path.empty()) {
        mAir.calls.tell(mDevice.path, kDevice, "Disconnect");
    }
    end(error);
}

void Link::end(const Error& error)
{
    become(State::Idle);
    mAttempt.reset();
    mSubscriptions.clear();
    mFirstWrite += mWrites.size();
    mWrites.clear();
    tell([robot = mDevice.robot, error](TransportListener& listener) { listener.onLost(robot, error); });
}

void Link::breakOff(const Error& error)
{
    if (mState != State::Idle) {
        end(mState == State::Disconnecting ? Error{} : error);
    }
}

void Link::tick()
{
    const double now = mAir.now();
    if (now >= mRetryAt) {
        mRetryAt = kNever;
        call("Connect");
    }
    if (now < mDeadline) {
        return;
    }
    switch (mState) {
        case State::Seeking:
            end({ErrorCode::OutOfReach, "the robot is not in reach", "is it on, near, and not connected elsewhere?"});
            break;
        case State::Connecting:
            giveUp(
                {ErrorCode::OutOfReach, "the robot does not answer", "is it on, near, and not connected elsewhere?"});
            break;
        case State::Connected:
            giveUp({ErrorCode::TimedOut, "the robot does not tell its services", ""});
            break;
        default:
            mDeadline = kNever;
            break;
    }
}

double Link::due() const
{
    return std::min(mDeadline, mRetryAt);
}

}  // namespace Host::Bluez
