// The engine's view of one robot.
#pragma once

#include <cstddef>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "CppEngine/ActionHost.h"
#include "CppEngine/AdvertisementData.h"
#include "CppEngine/Channels.h"
#include "HAL/RobotMessages/RobotTypes.h"
#include "ZKHAL/HALPacket.h"
#include "ZKHAL/ZKExport.h"

namespace Kestrel {

class RobotActionManagerShell;

/**
 * Its id, what it advertised, and its shell command manager. Used by the one thread of the engine. Its owner must not
 * destroy it inside a callback about it.
 */
class ZK_API Robot : public ActionHost {
public:
    /** id   the host's id of the robot, copied; null counts as empty. There is no shell manager before a scan. */
    explicit Robot(const char* id);
    /** Queued commands are dropped without a callback. An error line when there never was a scan. */
    ~Robot() override;
    /** packets, in order, go out through ZKTransmitPackets(). An empty list, or null, stops the process. */
    void transmitPackets(const std::string* channel, const std::vector<HALPacket_t>* packets) override;

    Robot(const Robot&) = delete;
    Robot& operator=(const Robot&) = delete;

    /**
     * A fresh shell manager. The one before it goes, with all that it has queued, unless a finite time-out of it is
     * armed: then it fails that command in its time and sends its next, until it runs out or the robot disconnects.
     */
    void initialize();
    /** See AdvertisementData::parse(); a failure is logged, and the fields stay. Then initialize(), in any case. */
    void processScan(const char* data, size_t dataLength, const char* name, size_t nameLength);
    /** The same for a report of its family, its mode and zeros, which does not count as one. */
    void assume(const HAL::RobotTypeRow& type);
    /** Whether a report could be read. */
    bool hasReport() const
    {
        return mHasReport;
    }

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

    const char* uuId() const override;
    /** As advertised; "" before the first scan. */
    const char* name() const override;
    const AdvertisementData& advertisement() const;

    void releaseIfReplaced(const RobotActionManagerAbstract* manager) override;

private:
    void _releaseReplacedManagers();

    std::string mId;
    std::shared_ptr<RobotActionManagerShell> mShellManager;
    AdvertisementData mAdvertisement;
    bool mHasReport = false;
    // Those that may still act. One whose timer manager has gone tells nobody: all are looked through now and then.
    std::unordered_map<const RobotActionManagerAbstract*, std::shared_ptr<RobotActionManagerShell>> mReplacedManagers;
    size_t mLookThroughAt = 0;
};

}  // namespace Kestrel
