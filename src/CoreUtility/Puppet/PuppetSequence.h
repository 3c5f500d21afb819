// Recordings to animation sequences.
#pragma once

#include <ios>
#include <locale>
#include <ostream>
#include <string>

#include "CoreUtility/PayloadText.h"
#include "CoreUtility/Puppet/PuppetRecord.h"
#include "ZKHAL/ZKExport.h"

namespace Internal {

/**
 * Builds the record's sequence of the poses from the last one at or before tStart to the last one before the first that
 * is later than tEnd, if it is not built yet. A tEnd of -1 means to the end. No poses give {"data": []}.
 */
ZK_API void buildSubsequence(puppetRecord_t& record, float tStart, float tEnd);

/** The commands of a frame that sets the pose from which the others count. */
ZK_API std::string toJsonSetTempGlobal(const puppetPose_t& pose);
/** The commands of a frame that drives to a pose and turns the head, within so many seconds. */
ZK_API std::string toJsonTempGlobal(const puppetPose_t& pose, float time);

/** One member of an object behind a prefix, which is "" for the first and "," for the others. */
ZK_API void appendKVPairNum(ZKHAL::PayloadText& out, const char* prefix, const char* key, int value);
/** Four digits after the point. */
ZK_API void appendKVPairNum(ZKHAL::PayloadText& out, const char* prefix, const char* key, float value);
/** value is JSON text. */
ZK_API void appendKVPairObj(ZKHAL::PayloadText& out, const char* prefix, const char* key, const std::string& value);

// The same on a stream.
/** Four digits after the point, in every locale. */
inline void setupOSS(std::ostream& out)
{
    out.imbue(std::locale::classic());
    out.setf(std::ios::fixed, std::ios::floatfield);
    out.precision(4);
}

/** In the stream's own format. */
template <class Number>
void appendKVPairNum(std::ostream& out, const char* prefix, const char* key, Number value)
{
    out << prefix << '"' << key << "\":" << value;
}

inline void appendKVPairObj(std::ostream& out, const char* prefix, const char* key, const std::string& value)
{
    ZKHAL::PayloadText text;
    appendKVPairObj(text, prefix, key, value);
    out.write(text.data(), static_cast<std::streamsize>(text.length()));
}

}  // namespace Internal
