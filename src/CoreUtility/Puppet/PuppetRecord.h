// The store of puppet recordings, and the logs of what was measured and commanded.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "ZKHAL/ZKExport.h"

namespace Internal {

struct puppetPose_t {
    float t;                 // seconds since the start of the recording
    float x, y;              // in the host's unit
    float theta, pan, tilt;  // radians
};

struct puppetRecord_t {
    std::string name;
    std::vector<puppetPose_t> poses;  // in the order in which they were added
    std::string sequence;             // as last built
    bool needsBuild = true;
    float duration = 0;                // time of the pose that was added last
    float lastStart = 0, lastEnd = 0;  // of the last build
};

ZK_API extern std::map<std::string, puppetRecord_t> records;
ZK_API extern std::string _logFolder;  // "": no logs

constexpr char PUPPET_FILE_DIR[] = "SYST";
constexpr char PUPPET_FILE_BASE[] = "PUPPET";
constexpr char PUPPET_FILE_EXT[] = "AN";
constexpr char LOGGING_MEASURED[] = "measured.csv";
constexpr char LOGGING_COMMANDED[] = "commanded.csv";

/** Null for an unknown record, with a line if errorIfNotFound; a new one, with another line, if createIfNotFound. */
ZK_API puppetRecord_t* getRecord(const char* name, bool createIfNotFound, bool errorIfNotFound);
/** The sequence stays until it is built again. */
ZK_API void initRecord(puppetRecord_t& record);
/** Not-a-number is never the time of the last build. A tEnd of -1 has been replaced. */
ZK_API bool recordNeedsSequenceBuilt(const puppetRecord_t& record, float tStart, float tEnd);

ZK_API bool loggingEnabled();
/** Writes a line to a file of the log folder: a new file, or behind what it holds. */
ZK_API void logLine(const char* file, const std::string& line, bool truncate);
/** A new log with its header line, if logging is on. */
ZK_API void logPoseInit(const char* file);
/** A line of a log, if logging is on. */
ZK_API void logPose(const char* file, const char* operation, float tAnim, float tPose, float x, float y, float theta,
                    float pan, float tilt);
ZK_API void logPose(const char* file, const char* operation, const puppetPose_t& pose);

}  // namespace Internal
