#include "Host/RobotSession.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "Host/Capture.h"
#include "Host/Hub.h"

namespace Host {

namespace {

#define ZK_CHANNEL(prefix) prefix "-879D-6186-1F49-DECA0E85D9C1"
constexpr char kShellControl[] = ZK_CHANNEL("AF230000"), kShellPacket[] = ZK_CHANNEL("AF230001");
constexpr char kCommandControl[] = ZK_CHANNEL("AF230002");
constexpr char kSensorPacket1[] = ZK_CHANNEL("AF230003"), kSensorPacket2[] = ZK_CHANNEL("AF230006");

constexpr size_t kMostWaiting = 4096;  // packets
constexpr size_t kMostAsked = 256;
constexpr size_t kMostSteered = 4096;  // bytes of a document
constexpr double kSteady = 10;         // seconds after which a connection counts as a good one

// "volume" above 1 is not sent: the robot stays as loud as it is.
constexpr char kStopDriving[] =
    R"({"211":{"left_cm_s":0,"right_cm_s":0},"208":{"angular_deg_s":0},"209":{"angular_deg_s":0},)"
    R"("300":{"file":"STOPSOUND","volume":2}})";
constexpr char kStopSounding[] = R"({"300":{"file":"STOPSOUND","volume":2}})";

bool isSameTextIgnoringCase(const std::string& a, const std::string& b)
{
    return a.size() == b.size() && canonicalUuid(a) == canonicalUuid(b);
}

bool takesCommands(uint32_t type)
{
    return type == ZK_ROBOT_ORVIK || type == ZK_ROBOT_PELL || type == ZK_ROBOT_QUILL;
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

bool RobotSession::isWanted(const Advertisement& advertisement, const ZKRobotInfo& info) const
{
    for (const std::string& name :
         {advertisement.id, advertisement.name, std::string(info.name), std::string(info.uniqueId)}) {
        if (!name.empty() && isSameTextIgnoringCase(mWho, name)) {
            return true;
        }
    }
    return false;
}

void RobotSession::onAdvertisement(const Advertisement& advertisement, const ZKRobotInfo& info)
{
    if (mState != SessionState::Looking) {
        return;
    }
    mHasRobot = true;
    mRobot = advertisement.robot;
    mId = advertisement.id;
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
    enter(SessionState::Connecting, {});
    mHub.transport().connect(mRobot);
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
        mIsWished = true;  // nothing is gained by trying again
        mLastError = {ErrorCode::NotARobot,
                      own.empty() ? "it has none of the robots' services"
                                  : "it has characteristics that its kind of robot does not have",
                      ""};
        mHub.transport().disconnect(mRobot);
        return;
    }
    mToSubscribe.clear();
    for (const char* channel : {kSensorPacket2, kSensorPacket1, kShellPacket}) {  // from the back
        const bool isThere = std::any_of(own.begin(), own.end(),
                                         [channel](const char* uuid) { return isSameTextIgnoringCase(uuid, channel); });
        if (isThere) {
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
    const Error reason = error || !mIsWished ? error : mLastError;
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
    mFirst.length = 0;
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
                std::string inReach;
                for (const Sighting& seen : mHub.sightings()) {
                    inReach += (inReach.empty() ? "" : ", ") +
                               std::string(seen.info.name[0] != '\0' ? seen.info.name : seen.id.c_str());
                }
                endWith({ErrorCode::OutOfReach, "no robot in reach is called \"" + mWho + "\"",
                         inReach.empty() ? "none is in reach at all: is it switched on, and not connected elsewhere?"
                                         : "in reach: " + inReach});
            }
            break;
        case SessionState::Connecting:
            if (now >= mDeadline) {
                mHub.transport().disconnect(mRobot);
                onLost({ErrorCode::TimedOut, "connecting takes too long",
                        "bring the robot nearer, or switch it off and on"});
            }
            break;
        case SessionState::Pausing:
            if (now >= mDeadline) {
                connect();
            }
            break;
        case SessionState::Ready:
            pump();
            break;
        case SessionState::Ended:
            break;
    }
}

void RobotSession::disconnect()
{
    mIsWished = true;
    mQueue.clear();
    mSteer.clear();
    if (mState == SessionState::Ready || mState == SessionState::Connecting) {
        mHub.transport().disconnect(mRobot);
    } else {
        endWith({});
    }
}

// ---- What goes out ---------------------------------------------------------------------------------------------

Error RobotSession::translate(const char* json, HALPacket_t* packets, size_t& count)
{
    char findings[4096];
    if (ZKTranslatorTranslate(mTranslator.get(), json, packets, &count, findings, sizeof findings) == 0) {
        return {ErrorCode::BadDocument, findings[0] != '\0' ? findings : "it cannot be translated", ""};
    }
    return {};
}

Error RobotSession::send(const char* json)
{
    if (!isReady()) {
        return {ErrorCode::NotConnected, "the robot is not connected", ""};
    }
    if (mQueue.size() + ZK_MAX_COMMAND_PACKETS > kMostWaiting) {
        return {ErrorCode::TooMuch, "thousands of packets are waiting already", "wait until some have gone out"};
    }
    HALPacket_t packets[ZK_MAX_COMMAND_PACKETS];
    size_t count = 0;
    const Error error = translate(json, packets, count);
    if (!error) {
        queuePackets(kCommandControl, packets, count);
    }
    return error;
}

Error RobotSession::steer(const char* json)
{
    if (!isReady()) {
        return {ErrorCode::NotConnected, "the robot is not connected", ""};
    }
    // Checked now, so that a mistake is told to whom it belongs; translated when it goes out.
    static thread_local char findings[4096];
    if (ZKCheckCommandDocument(json, mInfo.type, findings, sizeof findings) == ZK_CHECK_REFUSED) {
        return {ErrorCode::BadDocument, findings, ""};
    }
    if (std::strlen(json) > kMostSteered) {
        return {ErrorCode::TooMuch, "a document for steering has at most 4096 bytes", ""};
    }
    mSteer = json;
    pump();
    return {};
}

void RobotSession::stop()
{
    mQueue.clear();
    mSteer.clear();
    if (isReady() && takesCommands(mInfo.type)) {
        send(mInfo.type == ZK_ROBOT_PELL ? kStopSounding : kStopDriving);
    }
}

void RobotSession::queuePackets(const char* channel, const HALPacket_t* packets, size_t count)
{
    for (size_t i = 0; i < count; ++i) {
        Outgoing outgoing = {channel, static_cast<uint8_t>(std::min<uint32_t>(packets[i].length, HAL_PACKET_SIZE)), {}};
        std::memcpy(outgoing.bytes, packets[i].data, outgoing.length);
        mQueue.push_back(outgoing);
    }
    pump();
}

bool RobotSession::write(const char* channel, const uint8_t* data, size_t length)
{
    if (mWriting >= mHub.transport().writeWindow() || !mHub.transport().write(mRobot, channel, data, length)) {
        return false;
    }
    ++mWriting;
    if (record != nullptr) {
        record(captureLine(mHub.now(), CaptureKind::Written, channel, data, length, ""));
    }
    if (mListener != nullptr) {
        mListener->onPacket(*this, true, channel, data, length);
    }
    return true;
}

void RobotSession::pump()
{
    while (isReady() && !mQueue.empty()) {
        const Outgoing next = mQueue.front();
        if (!write(next.channel, next.bytes, next.length)) {
            return;
        }
        mQueue.pop_front();
    }
    // One steering document at a time is on its way: what comes meanwhile replaces what waits.
    if (isReady() && !mSteer.empty() && mWriting == 0) {
        const std::string json = std::exchange(mSteer, {});
        HALPacket_t packets[ZK_MAX_COMMAND_PACKETS];
        size_t count = 0;
        if (!translate(json.c_str(), packets, count)) {
            queuePackets(kCommandControl, packets, count);
        }
    }
}

void RobotSession::onWritten()
{
    mWriting -= mWriting > 0 ? 1 : 0;
    pump();
}

// ---- The shell -------------------------------------------------------------------------------------------------

Error RobotSession::ask(const std::string& command, double timeoutSeconds, AskId& id)
{
    id = 0;
    if (!isReady()) {
        return {ErrorCode::NotConnected, "the robot is not connected", ""};
    }
    if (command.empty() || command.find('\0') != std::string::npos) {
        return {ErrorCode::BadDocument, command.empty() ? "the command is empty" : "a zero byte is no text", ""};
    }
    if (!(timeoutSeconds > 0) || !std::isfinite(timeoutSeconds)) {
        return {ErrorCode::BadDocument, "a time-out is a number of seconds above 0", ""};
    }
    if (mAsked.size() >= kMostAsked) {
        return {ErrorCode::TooMuch, "hundreds of commands are waiting already", "wait until some are answered"};
    }
    id = ++mHub.mLastAsk;
    mAsked.push_back({id, command});
    ZKEnqueueShellCommand(mId.c_str(), command.c_str(), timeoutSeconds);
    return {};
}

void RobotSession::onShellPackets(const char* channel, const HALPacket_t** packets, size_t count)
{
    const bool isControl = isSameTextIgnoringCase(channel, kShellControl);
    for (size_t i = 0; i < count && isControl; ++i) {
        queuePackets(kShellControl, packets[i], 1);
    }
}

void RobotSession::onShellEnd(const char* command, const char* answer, const Error& error)
{
    if (mAsked.empty() || mAsked.front().command != command) {
        return;
    }
    const Asked asked = std::move(mAsked.front());
    mAsked.pop_front();
    if (mListener != nullptr) {
        mListener->onAnswer(*this, asked.id, asked.command, answer, error);
    }
}

// ---- What comes in ---------------------------------------------------------------------------------------------

void RobotSession::onNotification(const char* channel, const uint8_t* data, size_t length)
{
    if (!isReady()) {
        return;
    }
    if (record != nullptr) {
        record(captureLine(mHub.now(), CaptureKind::Notified, channel, data, length, ""));
    }
    if (mListener != nullptr) {
        mListener->onPacket(*this, false, channel, data, length);
    }
    const bool isFirst = std::strcmp(channel, kSensorPacket1) == 0;
    if (isFirst || std::strcmp(channel, kSensorPacket2) == 0) {
        takeSensorPacket(isFirst, data, length);
    } else if (ZKIsKnownRobot(mId.c_str()) && ZKAcceptsChannel(channel)) {
        ZKReceivedData(mId.c_str(), channel, reinterpret_cast<const char*>(data), length);
    }
}

// Both packets of a report carry its number. One whose partner is lost is decoded alone when it is the first.
void RobotSession::takeSensorPacket(bool isFirst, const uint8_t* data, size_t length)
{
    if (length == 0) {
        return;
    }
    HALPacket_t packet = {};
    packet.length = static_cast<uint32_t>(std::min<size_t>(length, HAL_PACKET_SIZE));
    std::memcpy(packet.data, data, packet.length);
    const auto number = [](const HALPacket_t& each) { return each.data[0] >> 4; };
    if (isFirst) {
        if (mFirst.length > 0 && number(packet) != number(mFirst)) {
            report(&mFirst, 1);
        }
        mFirst = packet;
    } else if (mFirst.length > 0 && number(packet) == number(mFirst)) {
        const HALPacket_t both[] = {mFirst, packet};
        mFirst.length = 0;
        report(both, 2);
    }
}

void RobotSession::report(const HALPacket_t* packets, size_t count)
{
    char json[ZK_MAX_REPORT_SIZE];
    const size_t size = ZKTranslatorDecode(mTranslator.get(), packets, count, json, sizeof json);
    ++mReports;
    if (mListener != nullptr && size > 0) {
        mListener->onReport(*this, mHub.now(), json, size - 1);
    }
}

}  // namespace Host
