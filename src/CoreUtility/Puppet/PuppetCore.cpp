// The C functions of recordings and animation files.
#include "ZKHAL/Puppet.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "CoreUtility/Assertion.h"
#include "CoreUtility/Boundary.h"
#include "CoreUtility/Messages.h"
#include "CoreUtility/Puppet/AnimationCheck.h"
#include "CoreUtility/Puppet/PuppetRecord.h"
#include "CoreUtility/Puppet/PuppetSequence.h"
#include "CoreUtility/Puppet/ZKAnimConvert.h"
#include "CoreUtility/Text.h"
#include "ZKHAL/Translation.h"

namespace {

using Internal::puppetRecord_t;
using ZKHAL::guarded;
using ZKHAL::printOut;

constexpr float kStart = 0;
constexpr float kEnd = std::numeric_limits<float>::infinity();

// For what did not fit.
void leaveEmpty(char* buffer, size_t bufferSize)
{
    if (buffer == nullptr || bufferSize == 0) {
        printOut("Insufficient storage for even a null character.\n");
    } else {
        buffer[0] = '\0';
    }
}

// The text needs less room than there is.
bool copySequence(const std::string& text, char* buffer, size_t bufferSize)
{
    if (buffer != nullptr && text.size() < bufferSize) {
        std::memcpy(buffer, text.c_str(), text.size() + 1);
        return true;
    }
    printOut("Insufficient storage for sequence.\n");
    leaveEmpty(buffer, bufferSize);
    return false;
}

// A buffer of exactly the text's length is accepted and takes one character less, on purpose.
bool copyName(const std::string& text, char* buffer, size_t bufferSize)
{
    if (buffer != nullptr && bufferSize >= text.size()) {
        const size_t kept = text.size() < bufferSize ? text.size() : bufferSize - 1;
        std::memcpy(buffer, text.data(), kept);
        buffer[kept] = '\0';
        return true;
    }
    printOut("insufficient buffer size. need at least %ld, got only %ld\n", static_cast<long>(text.size() + 1),
             static_cast<long>(bufferSize));
    leaveEmpty(buffer, bufferSize);
    return false;
}

// The sequence of a known record, built when it has to be; null for an unknown one.
const std::string* builtSequence(const char* name, float tStart, float tEnd)
{
    puppetRecord_t* const record = Internal::getRecord(name, false, true);
    if (record == nullptr) {
        return nullptr;
    }
    Internal::buildSubsequence(*record, tStart, tEnd);
    return &record->sequence;
}

std::string slotName(unsigned slot)
{
    return Internal::PUPPET_FILE_BASE + std::to_string(slot);
}

}  // namespace

namespace Internal {

std::vector<uint8_t> convertAN(const char* json, unsigned robotType)
{
    std::vector<uint8_t> bytes;
    if (!ZKAnimConvert::Json2Robot(json, bytes, robotType)) {
        bytes.clear();
    }
    return bytes;
}

}  // namespace Internal

void ZKPuppetCore_init(const char* name)
{
    guarded(__func__, [&] {
        Internal::initRecord(*Internal::getRecord(name, true, false));
        Internal::logPoseInit(Internal::LOGGING_MEASURED);
        Internal::logPoseInit(Internal::LOGGING_COMMANDED);
    });
}

void ZKPuppetCore_addFrame(const char* name, float t, float x, float y, float theta, float pan, float tilt)
{
    guarded(__func__, [&] {
        puppetRecord_t* const record = Internal::getRecord(name, false, true);
        if (record == nullptr) {
            return;
        }
        const Internal::puppetPose_t pose = {t, x, y, theta, pan, tilt};
        record->poses.push_back(pose);
        record->duration = t;
        record->needsBuild = true;
        Internal::logPose(Internal::LOGGING_MEASURED, "MEAS", pose);
    });
}

float ZKPuppetCore_duration(const char* name)
{
    constexpr float kUnknown = std::numeric_limits<float>::quiet_NaN();
    return guarded(__func__, kUnknown, [&] {
        const puppetRecord_t* const record = Internal::getRecord(name, false, true);
        return record != nullptr ? record->duration : kUnknown;
    });
}

float ZKPuppetCore_recommendedInterval(void)
{
    return 0.1f;
}

size_t ZKPuppetCore_subsequenceByteCount(const char* name, float tStart, float tEnd)
{
    return guarded(__func__, size_t{0}, [&] {
        const std::string* const sequence = builtSequence(name, tStart, tEnd);
        return sequence != nullptr ? sequence->size() + 1 : 0;
    });
}

size_t ZKPuppetCore_sequenceByteCount(const char* name)
{
    return ZKPuppetCore_subsequenceByteCount(name, kStart, kEnd);
}

bool ZKPuppetCore_subsequence(const char* name, char* buffer, size_t bufferSize, float tStart, float tEnd)
{
    return guarded(__func__, false, [&] {
        const std::string* const sequence = builtSequence(name, tStart, tEnd);
        return sequence != nullptr && copySequence(*sequence, buffer, bufferSize);
    });
}

bool ZKPuppetCore_sequence(const char* name, char* buffer, size_t bufferSize)
{
    return ZKPuppetCore_subsequence(name, buffer, bufferSize, kStart, kEnd);
}

size_t ZKPuppetCore_convertANByteCount(const char* json, unsigned robotType)
{
    return guarded(__func__, size_t{0}, [&] { return Internal::convertAN(json, robotType).size(); });
}

bool ZKPuppetCore_convertAN(const char* json, unsigned robotType, uint8_t* buffer, size_t bufferSize)
{
    return guarded(__func__, false, [&] {
        const std::vector<uint8_t> bytes = Internal::convertAN(json, robotType);
        const size_t room = buffer != nullptr ? bufferSize : 0;
        if (bytes.size() > room) {
            printOut("Insufficient storage for AN.\n");
            return false;
        }
        if (!bytes.empty()) {
            std::memcpy(buffer, bytes.data(), bytes.size());
        }
        if (room > bytes.size()) {
            std::memset(buffer + bytes.size(), 0, room - bytes.size());
        }
        return true;
    });
}

int ZKCheckAnimationDocument(const char* json, uint32_t robotType, char* message, size_t messageSize)
{
    ZKHAL::copyToBuffer(message, messageSize, "", 0);
    return guarded(__func__, static_cast<int>(ZK_CHECK_REFUSED), [&] {
        std::string findings;
        const auto result = ZKAnimConvert::checkAnimationDocument(ZKHAL::orEmpty(json), robotType, findings);
        ZKHAL::copyToBuffer(message, messageSize, findings.data(), findings.size());
        return static_cast<int>(result);
    });
}

void ZKPuppetCore_clearAll(void)
{
    Internal::records.clear();
}

void ZKPuppetCore_setLogFolder(const char* folder)
{
    guarded(__func__, [&] { Internal::_logFolder = ZKHAL::orEmpty(folder); });
}

bool ZKPuppetCore_fullPathForSlot(char* buffer, size_t bufferSize, unsigned slot, bool withExtension)
{
    return guarded(__func__, false, [&] {
        const std::string path = Internal::PUPPET_FILE_DIR + slotName(slot);
        return copyName(withExtension ? path + Internal::PUPPET_FILE_EXT : path, buffer, bufferSize);
    });
}

bool ZKPuppetCore_justDirForSlot(char* buffer, size_t bufferSize, unsigned)
{
    return guarded(__func__, false, [&] { return copyName(Internal::PUPPET_FILE_DIR, buffer, bufferSize); });
}

bool ZKPuppetCore_justNameForSlot(char* buffer, size_t bufferSize, unsigned slot)
{
    return guarded(__func__, false, [&] { return copyName(slotName(slot), buffer, bufferSize); });
}

void ZKMath_RotatePoint(double* outX, double* outY, double x, double y, double angle)
{
    if (outX == nullptr || outY == nullptr) {
        printOut("error: null output variable/s\n");
        ZK_ASSERT(outX && outY);
    }
    const double c = std::cos(angle), s = std::sin(angle);
    *outX = x * c - y * s;
    *outY = x * s + y * c;
}
