// Recordings of poses as CSV.
#pragma once

#include <string>
#include <vector>

#include "CoreUtility/Puppet/PuppetRecord.h"

namespace zkhal {

constexpr char kRecordingHeader[] = "t,x,y,theta,pan,tilt";

// Lines of six numbers below the header, or a measured.csv of the library. Throws InputError with the line.
std::vector<Internal::puppetPose_t> readRecording(const std::string& name, const std::string& text);

std::string recordingText(const std::vector<Internal::puppetPose_t>& poses);

}  // namespace zkhal
