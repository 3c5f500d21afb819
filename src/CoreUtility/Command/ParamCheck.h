// What becomes of the parameters of a component: what is not read, not sent, limited, or lost to another.
#pragma once

#include <string>

#include "CoreUtility/Command/CheckFindings.h"
#include "CoreUtility/Command/CommandVocabulary.h"
#include "CoreUtility/Json/nx_json.h"
#include "HAL/RobotMessages/RobotTypes.h"

namespace APICore {

/** Remarks about all parameters of a member of a command document, by the rows of its component. */
class ParamCheck {
public:
    /** robotType   whose limits hold; isOfAnimation   for the commands of a frame */
    ParamCheck(uint32_t robotType, bool isOfAnimation, Findings& findings);

    /** row is member's; words is what people call the component. */
    void check(const ComponentRow& row, const char* words, const nx_json* member);

private:
    void checkList(const ParamList& list, const nx_json* params, const char* owner);
    void checkParam(const ParamRow& row, const nx_json* param, const nx_json* params, const char* owner);
    void checkKind(const ParamRow& row, const nx_json* param, const Limits& limits);
    void checkWhole(const std::string& key, const nx_json* place, const nx_json& value, const Limits& limits);
    void checkReal(const std::string& key, const nx_json* place, double value, const Limits& limits);
    void checkName(const ParamRow& row, const nx_json* param, const Limits& limits);
    void checkElements(const ParamRow& row, const nx_json* param, const Limits& limits);
    void checkEyeBrightness(const std::string& key, const nx_json* place, const nx_json& value);
    void remarkBeyond(const std::string& key, const nx_json* place, const std::string& value, double number,
                      const Limits& limits);
    bool isSent(const ParamRow& row, const nx_json* param, const nx_json* params, const char* owner);
    bool isLost(const ParamRow& row, const nx_json* param);
    void remark(const nx_json* node, const std::string& what);

    Findings& mFindings;
    HAL::RobotSet mRobot;
    uint32_t mRobotType;
    bool mIsOfAnimation;
    const nx_json* mMember = nullptr;  // that is being checked
    uint32_t mComponent = 0;
};

}  // namespace APICore
