// A recorded capture as a radio: one robot, which says what it said then, in its own time or at once.
#pragma once

#include <string>
#include <vector>

#include "Host/Capture.h"
#include "Host/Transport.h"
#include "Host/VirtualTransport.h"

namespace Host {

/**
 * Notifications come at the times that stand in the capture, from the moment on when the host has subscribed to all it
 * wants; the transport's time is then that of the capture, later by whole seconds where the host was late. Writes are
 * taken and told, and change nothing. At the end of the capture the robot is lost.
 */
class CaptureTransport final : public Transport {
public:
    /** robotType   for captures without an advertisement */
    CaptureTransport(std::vector<CaptureEvent> events, Pace pace, uint32_t robotType);

    void scan(bool isOn) override;
    void connect(RobotRef robot) override;
    void discover(RobotRef robot) override;
    void subscribe(RobotRef robot, const char* channel) override;
    bool write(RobotRef robot, const char* channel, const uint8_t* data, size_t length,
               bool withResponse = false) override;
    size_t writeWindow() const override;
    void disconnect(RobotRef robot) override;
    void poll(double timeoutSeconds, TransportListener& listener) override;
    std::vector<pollfd> descriptors() const override;
    double nextPoll() const override;
    double seconds() const override;
    bool isRealTime() const override;
    std::string description() const override;

    /** Whether all of it has been played. */
    bool isOver() const
    {
        return mNext == mEvents.size();
    }

private:
    void tell(TransportListener& listener);
    void play(double until, TransportListener& listener);
    const CaptureEvent* nextNotification() const;
    void lose(TransportListener& listener, const Error& error);

    enum class Pending : uint8_t { Connected, Discovered, Subscribed, Written, Disconnected };
    struct Event {
        Pending kind;
        std::string channel;
    };

    std::vector<CaptureEvent> mEvents;
    Pace mPace;
    Advertisement mAdvertisement;
    std::vector<Characteristic> mCharacteristics;
    std::vector<Event> mPending, mTelling;
    std::vector<std::string> mSubscribed;
    size_t mNext = 0;
    size_t mWriting = 0;
    bool mIsScanning = false, mIsConnected = false, mIsPlaying = false;
    double mSeconds = 0;
    double mAdvertiseAt = 0;
    double mLead = 0;  // of the transport's time before the capture's
    double mStart;     // of the world's time
};

}  // namespace Host
