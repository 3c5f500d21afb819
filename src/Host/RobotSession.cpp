#include "Host/RobotSession.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "Host/Capture.h"
#include "Host/Hub.h"
#include "Host/RobotChannels.h"

namespace Host {

namespace {

constexpr double kSteady = 10;         // seconds after which a connection counts as a good one
constexpr double kSlowestGoodbye = 3;  // seconds until a radio has told the end of a connection

// Names come from the air: control characters, those of two bytes too, do not get into words.
std::string cleaned(std::string text)
{
    for (size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const unsigned next = i + 1 < text.size() ? static_cast<unsigned char>(text[i + 1]) : 0u;
        if (byte < ' ' || byte == 0x7F || (byte == 0xC2 && next >= 0x80 && next < 0xA0)) {
            text[i] = '?';
        }
    }
    return text;
}

}  // namespace

RobotSession::RobotSession(Hub& hub, std::string who, const SessionOptions& options, SessionListener* listener)
    : mHub(hub),
      mWho(std::move(who)),
      mOptions(options),
      mListener(listener),
      mTranslator(nullptr, ZKTranslatorDestroy),
      mDeadline(hub.now() + options.lookSeconds),
      mPause(options.firstPause)
{
    mInfo.size = sizeof mInfo;
}

RobotSession::~RobotSession() = default;

// ---- The way to its robot --------------------------------------------------------------------------------------

bool isCalled(const std::string& who, const std::string& id, const std::string& advertisedName, const ZKRobotInfo& info)
{
    const std::string names[] = {id, advertisedName, info.name, info.uniqueId};
    return std::any_of(std::begin(names), std::end(names),
                       [&](const std::string& name) { return !name.empty() && isSameTextIgnoringCase(who, name); });
}

bool RobotSession::isCalled(const std::string& name) const
{
    return isSameTextIgnoringCase(mWho, name) || (mHasRobot && Host::isCalled(name, mId, mAdvertisedName, mInfo));
}

void RobotSession::onAdvertisement(const Advertisement& advertisement, const ZKRobotInfo& info)
{
    if (mState != SessionState::Looking) {
        return;
    }
    mHasRobot = true;
    mRobot = advertisement.robot;
    mId = advertisement.id;
    mAdvertisedName = advertisement.name;
    mInfo = info;
    mHub.bind(*this);
    if (record != nullptr) {
        record(captureLine(mHub.now(), CaptureKind::Advertisement, "", advertisement.data.data(),
                           advertisement.data.size(), advertisement.name));
    }
    if (mTranslator == nullptr) {
        mTranslator.reset(ZKTranslatorCreate(info.type));
    }
    connect();
}

void RobotSession::connect()
{
    mDeadline = mHub.now() + mOptions.connectSeconds;
    mHub.transport().connect(mRobot);  // first: whoever is told may have it disconnect
    enter(SessionState::Connecting, {});
}

void RobotSession::onConnected()
{
    if (mState == SessionState::Connecting) {
        mHub.transport().discover(mRobot);
    }
}

void RobotSession::onDiscovered(const std::vector<Characteristic>& characteristics)
{
    if (mState != SessionState::Connecting) {
        return;
    }
    // The radio's own services stand among them: what belongs to the robot's is what counts.
    std::vector<const char*> services, own;
    for (const Characteristic& each : characteristics) {
        const char* const service[] = {each.service.c_str()};
        const char* one[] = {service[0]};
        if (ZKIsKnownRobot(mId.c_str()) && ZKValidateEndPoints(mId.c_str(), one, 1)) {
            services.push_back(each.service.c_str());
            own.push_back(each.uuid.c_str());
        }
    }
    if (own.empty() || !ZKValidateChannels(mId.c_str(), own.data(), own.size())) {
        mRefusal = {ErrorCode::NotARobot,
                    own.empty() ? "it has none of the robots' services"
                                : "it has characteristics that its kind of robot does not have",
                    ""};
        disconnect();  // nothing is gained by trying again
        return;
    }
    const auto isThere = [&own](const char* channel) {
        return std::any_of(own.begin(), own.end(),
                           [channel](const char* uuid) { return isSameTextIgnoringCase(uuid, channel); });
    };
    mTakesCommands = isThere(kCommandControl);
    mHasShell = isThere(kShellControl);
    mToSubscribe.clear();
    for (const char* channel : {kSensorPacket2, kSensorPacket1, kShellPacket}) {  // from the back
        if (isThere(channel)) {
            mToSubscribe.push_back(channel);
        }
    }
    subscribeNext();
}

void RobotSession::subscribeNext()
{
    if (!mToSubscribe.empty()) {
        const char* const channel = mToSubscribe.back();
        mToSubscribe.pop_back();
        mHub.transport().subscribe(mRobot, channel);
        return;
    }
    mReadySince = mHub.now();
    mLastError = {};
    if (record != nullptr) {
        record(captureLine(mHub.now(), CaptureKind::Connected, "", nullptr, 0, ""));
    }
    enter(SessionState::Ready, {});
}

void RobotSession::onSubscribed()
{
    if (mState == SessionState::Connecting) {
        subscribeNext();
    }
}

void RobotSession::enter(SessionState state, const Error& error)
{
    mState = state;
    if (error) {
        mLastError = error;
    }
    if (mListener != nullptr) {
        mListener->onState(*this, state, error);
    }
}

void RobotSession::endWith(const Error& error)
{
    if (mState != SessionState::Ended) {
        mHub.unbind(*this);
        enter(SessionState::Ended, error);
    }
}

void RobotSession::onLost(const Error& error)
{
    if (mState != SessionState::Connecting && mState != SessionState::Ready) {
        return;
    }
    const bool wasReady = mState == SessionState::Ready;
    const double now = mHub.now();
    if (wasReady) {
        mLosses += error ? 1u : 0u;
        if (record != nullptr) {
            record(captureLine(now, CaptureKind::Lost, "", nullptr, 0, error ? error.words : "disconnected"));
        }
        if (now - mReadySince >= kSteady) {
            mAttempts = 0;
            mPause = mOptions.firstPause;
        }
    }
    const Error reason = error ? error : mRefusal;
    mState = SessionState::Pausing;  // nothing is taken while the ends are told
    dropEverything(reason ? reason : Error{ErrorCode::NotConnected, "disconnected", ""});
    if (mState != SessionState::Pausing) {
        return;  // ended from inside
    }
    if (mIsWished || mAttempts >= mOptions.retries) {
        endWith(reason);
        return;
    }
    ++mAttempts;
    mDeadline = now + mPause;
    mPause = std::min(2 * mPause, mOptions.longestPause);
    enter(SessionState::Pausing, reason ? reason : Error{ErrorCode::Lost, "the connection is lost", ""});
}

// Of the engine's queue no end is told at a disconnect: that is the session's to do.
void RobotSession::dropEverything(const Error& error)
{
    mQueue.clear();
    mSteer.clear();
    mWriting = 0;
    const HALPacket_t alone = std::exchange(mFirst, {});
    mSecond.length = 0;
    if (alone.length > 0) {
        report(&alone, 1);
    }
    if (mHasRobot && ZKIsKnownRobot(mId.c_str())) {
        ZKHandleDisconnect(mId.c_str());
    }
    ZKTranslatorHandleDisconnect(mTranslator.get());
    for (std::deque<Asked> asked = std::exchange(mAsked, {}); !asked.empty(); asked.pop_front()) {
        if (mListener != nullptr) {
            mListener->onAnswer(*this, asked.front().id, asked.front().command, nullptr, error);
        }
    }
}

void RobotSession::step(double now)
{
    switch (mState) {
        case SessionState::Looking:
            if (now >= mDeadline) {
                endWith(whyNotFound());
            }
            break;
        case SessionState::Connecting:
            if (now >= mDeadline) {
                mHub.transport().disconnect(mRobot);
                mPause = std::max(mPause, kSlowestGoodbye);  // what is told of this connection is not of the next one
                onLost(mIsWished ? Error()
                                 : Error{ErrorCode::TimedOut, "connecting takes too long",
                                         "bring the robot nearer, or switch it off and on"});
            }
            break;
        case SessionState::Pausing:
            if (now >= mDeadline) {
                connect();
            }
            break;
        case SessionState::Ready:
            if (mIsWished && now >= mDeadline) {
                onLost({});  // of a radio that does not tell the end
            }
            pump();
            break;
        case SessionState::Ended:
            break;
    }
}

Error RobotSession::whyNotFound() const
{
    std::string inReach;
    for (const Sighting& seen : mHub.sightings()) {
        if (Host::isCalled(mWho, seen.id, seen.advertisedName, seen.info)) {
            return {ErrorCode::OutOfReach, "another session has \"" + cleaned(mWho) + "\" already", ""};
        }
        inReach += (inReach.empty() ? "" : ", ") + cleaned(seen.info.name[0] != '\0' ? seen.info.name : seen.id);
    }
    return {ErrorCode::OutOfReach, "no robot in reach is called \"" + cleaned(mWho) + "\"",
            inReach.empty() ? "none is in reach at all: is it switched on, and not connected elsewhere?"
                            : "in reach: " + inReach};
}

void RobotSession::disconnect()
{
    mDeadline = mIsWished ? mDeadline : mHub.now() + mOptions.connectSeconds;
    mIsWished = true;
    mQueue.clear();
    mSteer.clear();
    if (mState == SessionState::Ready || mState == SessionState::Connecting) {
        mHub.transport().disconnect(mRobot);
    } else {
        endWith({});
    }
}

}  // namespace Host
