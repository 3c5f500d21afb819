#include "CoreUtility/Puppet/PuppetRecord.h"

#include <cstdio>

#include "CoreUtility/Assertion.h"
#include "CoreUtility/Compiler.h"
#include "CoreUtility/Messages.h"
#include "CoreUtility/Text.h"

namespace Internal {

// Constructed before a host's own constructors run.
ZK_EARLY std::map<std::string, puppetRecord_t> records;
ZK_EARLY std::string _logFolder;

puppetRecord_t* getRecord(const char* name, bool createIfNotFound, bool errorIfNotFound)
{
    ZK_ASSERT(!(createIfNotFound && errorIfNotFound));
    const std::string key = ZKHAL::orEmpty(name);
    auto itr = records.find(key);
    if (itr != records.end()) {
        return &itr->second;
    }
    if (createIfNotFound) {
        ZKHAL::printOut("creating new puppet record: %s\n", key.c_str());
        puppetRecord_t fresh;
        fresh.name = key;
        initRecord(fresh);
        records.emplace(key, fresh);
        itr = records.find(key);
        ZK_ASSERT(itr != records.end());
        return &itr->second;
    }
    if (errorIfNotFound) {
        ZKHAL::printOut("no such record: %s\n", key.c_str());
    }
    return nullptr;
}

void initRecord(puppetRecord_t& record)
{
    record.poses.clear();
    record.needsBuild = true;
    record.duration = 0;
    record.lastStart = 0;
    record.lastEnd = 0;
}

bool recordNeedsSequenceBuilt(const puppetRecord_t& record, float tStart, float tEnd)
{
    return record.needsBuild || tStart != record.lastStart || tEnd != record.lastEnd;
}

bool loggingEnabled()
{
    return !_logFolder.empty();
}

void logLine(const char* file, const std::string& line, bool truncate)
{
    const std::string path = _logFolder + "/" + file;
    if (std::FILE* const log = std::fopen(path.c_str(), truncate ? "w" : "a")) {
        std::fwrite(line.data(), 1, line.size(), log);
        std::fputc('\n', log);
        std::fclose(log);
    }
}

void logPoseInit(const char* file)
{
    if (loggingEnabled()) {
        logLine(file, "operation, tAnim, tPose, x, y, theta, pan, tilt", true);
    }
}

void logPose(const char* file, const char* operation, float tAnim, float tPose, float x, float y, float theta,
             float pan, float tilt)
{
    if (!loggingEnabled()) {
        return;
    }
    std::string line = operation;
    for (const float number : {tAnim, tPose, x, y, theta, pan, tilt}) {
        line += ZKHAL::formatted(", %f", static_cast<double>(number));
    }
    logLine(file, line, false);
}

void logPose(const char* file, const char* operation, const puppetPose_t& pose)
{
    logPose(file, operation, 0, pose.t, pose.x, pose.y, pose.theta, pose.pan, pose.tilt);
}

}  // namespace Internal
