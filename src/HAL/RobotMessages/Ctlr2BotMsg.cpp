#include "HAL/RobotMessages/Ctlr2BotMsg.h"

#include <string>

#include "CoreUtility/Messages.h"
#include "CoreUtility/Numbers.h"

namespace HAL {

namespace {

double degreesForPrint(double radians)
{
    return radians / ZKHAL::kTwoPi * 360;
}

}  // namespace

Ctlr2BotMsg::~Ctlr2BotMsg()
{
    clear();
}

void Ctlr2BotMsg::clear()
{
    if (mRecords != nullptr && mOwner != nullptr) {
        mOwner->messageIsGone(mRecords);
    }
    mMaps = nullptr;
    mRecords = nullptr;
    mHwData = nullptr;
}

void* Ctlr2BotMsg::find(RecordKind kind, uint32_t id) const
{
    if (mMaps == nullptr) {
        return nullptr;
    }
    const int component = componentIndex(id);
    if (component < 0) {
        return nullptr;
    }
    if (void* own = record(kind, static_cast<size_t>(component))) {
        return own;
    }
    // Some stand in the map of another kind too.
    const size_t index = static_cast<size_t>(kind);
    for (size_t i = mMaps->begin[index]; i < mMaps->begin[index + 1]; ++i) {
        const StorageRow& row = mMaps->rows[i];
        if (row.id == id && (row.robots & mRobot) != 0) {
            return mRecords->touch(row);
        }
    }
    return nullptr;
}

template <class Record, class Print>
void Ctlr2BotMsg::forEachSet(RecordKind kind, Print print) const
{
    if (mMaps == nullptr) {
        return;
    }
    const auto index = static_cast<size_t>(kind);
    for (size_t i = mMaps->begin[index]; i < mMaps->begin[index + 1]; ++i) {
        const auto* record = static_cast<const Record*>(find(kind, mMaps->rows[i].id));
        if (record != nullptr && record->isSet != 0) {
            print(*record);
        }
    }
}

HALNoParams_t* Ctlr2BotMsg::getNoParamsStorage(uint32_t id) const
{
    return static_cast<HALNoParams_t*>(find(RecordKind::NoParams, id));
}

HALLauncher_t* Ctlr2BotMsg::getLauncherStorage(uint32_t id) const
{
    return static_cast<HALLauncher_t*>(find(RecordKind::Launcher, id));
}

HALLedMsg_t* Ctlr2BotMsg::getLedMsgStorage(uint32_t id) const
{
    return static_cast<HALLedMsg_t*>(find(RecordKind::LedMsg, id));
}

HALSpeaker_t* Ctlr2BotMsg::getSpeakerStorage(uint32_t id) const
{
    return static_cast<HALSpeaker_t*>(find(RecordKind::Speaker, id));
}

HALAnim_t* Ctlr2BotMsg::getAnimStorage(uint32_t id) const
{
    return static_cast<HALAnim_t*>(find(RecordKind::Anim, id));
}

HALUserSetting_t* Ctlr2BotMsg::getUserSettingsStorage(uint32_t id) const
{
    return static_cast<HALUserSetting_t*>(find(RecordKind::UserSetting, id));
}

HALMotorWheel_t* Ctlr2BotMsg::getMotorWheelStorage(uint32_t id) const
{
    return static_cast<HALMotorWheel_t*>(find(RecordKind::MotorWheel, id));
}

HALMotorServo_t* Ctlr2BotMsg::getMotorServoStorage(uint32_t id) const
{
    return static_cast<HALMotorServo_t*>(find(RecordKind::MotorServo, id));
}

HALLED_t* Ctlr2BotMsg::getLEDStorage(uint32_t id) const
{
    return static_cast<HALLED_t*>(find(RecordKind::LED, id));
}

HALLED3_t* Ctlr2BotMsg::getLED3Storage(uint32_t id) const
{
    return static_cast<HALLED3_t*>(find(RecordKind::LED3, id));
}

HALRGB_t* Ctlr2BotMsg::getRGBStorage(uint32_t id) const
{
    return static_cast<HALRGB_t*>(find(RecordKind::RGB, id));
}

HALEyeRing_t* Ctlr2BotMsg::getEyeRingStorage(uint32_t id) const
{
    return static_cast<HALEyeRing_t*>(find(RecordKind::EyeRing, id));
}

HALPower_t* Ctlr2BotMsg::getPowerStorage(uint32_t id) const
{
    return static_cast<HALPower_t*>(find(RecordKind::Power, id));
}

HALPing_t* Ctlr2BotMsg::getPingStorage(uint32_t id) const
{
    return static_cast<HALPing_t*>(find(RecordKind::Ping, id));
}

HALBodyMotionLinearAngular_t* Ctlr2BotMsg::getBodyMotionLinearAngularStorage(uint32_t id) const
{
    return static_cast<HALBodyMotionLinearAngular_t*>(find(RecordKind::BodyMotionLinearAngular, id));
}

HALBodyPose_t* Ctlr2BotMsg::getBodyPoseStorage(uint32_t id) const
{
    return static_cast<HALBodyPose_t*>(find(RecordKind::BodyPose, id));
}

HALAudioSynth_t* Ctlr2BotMsg::getAudioSynthStorage(uint32_t id) const
{
    return static_cast<HALAudioSynth_t*>(find(RecordKind::AudioSynth, id));
}

HALPamplemousse_t* Ctlr2BotMsg::getPamplemousseStorage(uint32_t id) const
{
    return static_cast<HALPamplemousse_t*>(find(RecordKind::Pamplemousse, id));
}

HALComponentScalar_t* Ctlr2BotMsg::getScalarStorage(uint32_t id) const
{
    return static_cast<HALComponentScalar_t*>(find(RecordKind::Scalar, id));
}

void Ctlr2BotMsg::printCommands() const
{
    using ZKHAL::printOut;
    forEachSet<HALSpeaker_t>(RecordKind::Speaker, [](const HALSpeaker_t& speaker) {
        printOut("Speaker Cmd: Index = %s\n", speaker.fileName);
    });
    forEachSet<HALBodyMotionLinearAngular_t>(
        RecordKind::BodyMotionLinearAngular, [](const HALBodyMotionLinearAngular_t& motion) {
            printOut("Body Motion Linear Angular Cmd: LinearVelocity = %f, AngularVelocity = %f\n",
                     motion.linearVelocity, motion.angularVelocity);
        });
    forEachSet<HALBodyPose_t>(RecordKind::BodyPose, [](const HALBodyPose_t& pose) {
        // No line end after this one, on purpose.
        printOut("Body Pose Cmd: X = %f Y = %f Degrees = %f Time = %f Mode = %d Dir = %d WrapTheta = %d", pose.x,
                 pose.y, degreesForPrint(pose.theta), pose.time, static_cast<int>(pose.mode),
                 static_cast<int>(pose.dir), static_cast<int>(pose.wrapTheta));
    });
    forEachSet<HALMotorWheel_t>(RecordKind::MotorWheel, [](const HALMotorWheel_t& wheel) {
        printOut("MotorWheel Cmd: Speed = %02f\n", wheel.speed);
    });
    forEachSet<HALMotorServo_t>(RecordKind::MotorServo, [](const HALMotorServo_t& servo) {
        printOut("MotorServo Cmd: Degrees = %02f\n", degreesForPrint(servo.angle));
    });
    forEachSet<HALLED_t>(RecordKind::LED,
                         [](const HALLED_t& led) { printOut("Led Cmd: Brightness = %d\n", led.brightness); });
    forEachSet<HALRGB_t>(RecordKind::RGB, [](const HALRGB_t& light) {
        printOut("Rgb Cmd: r = %d, g = %d, b = %d\n", light.red, light.green, light.blue);
    });
    forEachSet<HALEyeRing_t>(RecordKind::EyeRing, [](const HALEyeRing_t& eye) {
        std::string line = ZKHAL::formatted("Eye Cmd: animationId = %d", static_cast<int>(eye.animationId));
        line += ZKHAL::formatted(", bitmap = %04x", eye.ledBitmap);
        if (eye.brightnessMode == 0) {
            line += ZKHAL::formatted(", brightness: %d", eye.brightness);
        } else if (eye.brightnessMode == 1) {
            line += ZKHAL::formatted(", brightness: %d, %d, %d, %d", eye.brightnessQuad[0], eye.brightnessQuad[1],
                                     eye.brightnessQuad[2], eye.brightnessQuad[3]);
        } else {
            line += ", BRIGHTNESS UNHANDLED";
        }
        printOut("%s\n", line.c_str());
    });
    forEachSet<HALPower_t>(RecordKind::Power,
                           [](const HALPower_t& power) { printOut("Power Cmd: state = %d, \n", power.state); });
    forEachSet<HALAudioSynth_t>(RecordKind::AudioSynth, [](const HALAudioSynth_t& synth) {
        printOut("AudioSynth Cmd: type = %d\n", static_cast<int>(synth.type));
    });
}

}  // namespace HAL
