// The engine's view of one robot.
#pragma once

#include <cstddef>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "CppEngine/AdvertisementData.h"
#include "ZKHAL/HALPacket.h"
#include "ZKHAL/ZKExport.h"

namespace Kestrel {

class RobotActionManagerShell;

// UUIDs of the characteristics. They compare without regard to case.
ZK_API extern const std::string gChannelShellControl;
ZK_API extern const std::string gChannelShellPacket;
ZK_API extern const std::string gChannelCommandControl;
ZK_API extern const std::string gChannelSensorPacket1;
ZK_API extern const std::string gChannelDfuControl;
ZK_API extern const std::string gChannelDfuPacket;
ZK_API extern const std::string gChannelSensorPacket2;
ZK_API extern const std::string gChannelFileTransferControl;  // that of DFU control, on purpose
ZK_API extern const std::string gChannelFileTransferPacket;   // that of DFU packet, on purpose

/**
 * Its id, what it advertised, and its shell command manager. Used by the one thread of the engine. Its owner must not
 * destroy it inside a callback about it.
 */
class ZK_API Robot {
public:
    /** id   the host's id of the robot, copied; null counts as empty. There is no shell manager before a scan. */
    explicit Robot(const char* id);
    /** Queued commands are dropped without a callback. An error line when there never was a scan. */
    virtual ~Robot();
    /** packets, in order, go out through ZKTransmitPackets(). An empty list, or null, stops the process. */
    virtual void transmitPackets(const std::string* channel, const std::vector<HALPacket_t>* packets);

    Robot(const Robot&) = delete;
    Robot& operator=(const Robot&) = delete;

    /**
     * A fresh shell manager. The one before it goes, with all that it has queued, unless a finite time-out of it is
     * armed: then it fails that command in its time and sends its next, until it runs out or the robot disconnects.
     */
    void initialize();
    /** See AdvertisementData::parse(); a failure is logged, and the fields stay. Then initialize(), in any case. */
    void processScan(const char* data, size_t dataLength, const char* name, size_t nameLength);

    /** Whether every characteristic belongs to the advertised mode. Missing ones do not matter. */
    bool validateChannels(const std::set<const char*>& channels) const;
    /** Whether any service is one of the robots'. */
    bool validateEndPoints(const std::set<const char*>& endPoints) const;

    /** Whether notifications of this characteristic are known: receivedData() stops the process for any other. */
    static bool acceptsChannel(const char* channel);
    /** Shell answers go to the shell manager; sensor and file data are ignored, as hosts decode them elsewhere. */
    void receivedData(const char* channel, const char* data, size_t length);

    /** Silent without a command or a scan. See RobotActionManagerShell::enqueueCommand(). */
    void enqueueShellCommand(const char* command, double timeoutSeconds);
    /** -1, with an error line, before the first scan. */
    int pendingShellCommandCount() const;
    /** Drops all commands without a callback, those of replaced managers too. */
    void handleDisconnect();

    const char* uuId() const;
    /** As advertised; "" before the first scan. */
    const char* name() const;
    const AdvertisementData& advertisement() const;

    /** For managers, at the end of their calls: one that has been replaced and can no longer act goes. */
    void releaseIfReplaced(const RobotActionManagerShell* manager);

private:
    void _releaseReplacedManagers();

    std::string mId;
    std::shared_ptr<RobotActionManagerShell> mShellManager;
    AdvertisementData mAdvertisement;
    // Those that may still act. One whose timer manager has gone tells nobody: all are looked through now and then.
    std::unordered_map<const RobotActionManagerShell*, std::shared_ptr<RobotActionManagerShell>> mReplacedManagers;
    size_t mLookThroughAt = 0;
};

}  // namespace Kestrel
