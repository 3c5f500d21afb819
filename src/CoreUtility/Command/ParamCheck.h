// What becomes of the parameters of a component: what is not read, not sent, limited, or lost to another.
#pragma once

#include <functional>
#include <string>

#include "CoreUtility/Command/CheckFindings.h"
#include "CoreUtility/Command/CommandVocabulary.h"
#include "CoreUtility/Json/nx_json.h"
#include "HAL/RobotMessages/RobotTypes.h"

namespace APICore {

/** Remarks about all parameters of the members of a command document, by the rows of their components. */
class ParamCheck {
public:
    /** robotType   whose limits hold; isOfAnimation   for the commands of a frame */
    ParamCheck(uint32_t robotType, bool isOfAnimation, Findings& findings);

    /**
     * row is member's; words is what people call the component; given is what counts of it in the whole document.
     * isBeaten, when there is one, tells of numbers that are not sent, of which somebody else says why.
     */
    void check(const ComponentRow& row, const char* words, const nx_json* member, const GivenParams& given,
               const std::function<bool(const nx_json*)>& isBeaten);

private:
    void checkList(const GivenParams& given, const nx_json* params, const char* owner);
    void checkParam(const ParamRow& row, const nx_json* param, const GivenParams& given, const char* owner);
    void checkKind(const ParamRow& row, const nx_json* param, const Limits& limits);
    void checkWhole(const std::string& key, const nx_json* place, const nx_json& value, const Limits& limits);
    void checkReal(const std::string& key, const nx_json* place, double value, const Limits& limits);
    void checkName(const ParamRow& row, const nx_json* param, const Limits& limits);
    void checkTone(const ParamRow& row, const nx_json* param);
    void checkElements(const ParamRow& row, const nx_json* param, const Limits& limits);
    void checkMessageLights(const nx_json* param);
    void checkEyeLightNumbers(const nx_json* param);
    void checkEyeBrightness(const std::string& key, const nx_json* param);
    void checkEyeLevel(const std::string& key, const nx_json* place, const nx_json& value);
    void remarkBeyond(const std::string& key, const nx_json* place, const std::string& value, double number,
                      const Limits& limits);
    void remarkTwice(const ParamRow& row, const nx_json* param, const nx_json* params);
    bool isSent(const ParamRow& row, const nx_json* param, const GivenParams& given, const char* owner);
    bool isLost(const ParamRow& row, const nx_json* param);
    void remark(const nx_json* node, const std::string& what);

    Findings& mFindings;
    HAL::RobotSet mRobot;
    uint32_t mRobotType;
    bool mIsOfAnimation;
    const nx_json* mMember = nullptr;  // that is being checked
    uint32_t mComponent = 0;
    std::function<bool(const nx_json*)> mIsBeaten;
};

}  // namespace APICore
