// zkhal advert: an advertisement to a description.
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "Commands.h"
#include "CppEngine/AdvertisementData.h"
#include "HAL/RobotHardware/RobotHW.h"
#include "HexText.h"
#include "JsonWriter.h"
#include "RobotOption.h"
#include "ZKHAL/Vocabulary.h"

namespace zkhal {

namespace {

struct CodeName {
    uint32_t code;
    const char* name;
};
constexpr CodeName kModes[] = {{Kestrel::kModeBootloader, "bootloader"}, {Kestrel::kModeApplication, "application"}};
constexpr CodeName kCharges[] = {{0, "not charging"}, {1, "charging"}, {2, "charging"}};  // a Quill has two ways

template <size_t kCount>
const char* nameOf(const CodeName (&names)[kCount], uint32_t code)
{
    for (const CodeName& row : names) {
        if (row.code == code) {
            return row.name;
        }
    }
    return "unknown";
}

int advert(const std::string& hex, const std::string& name)
{
    std::vector<uint8_t> bytes;
    std::string problem;
    if (!readHex(hex, bytes, problem)) {
        std::cerr << "zkhal advert: " << hex << ": " << problem << '\n';
        return kBadInput;
    }
    Kestrel::AdvertisementData advertised;
    const std::vector<char> data(bytes.begin(), bytes.end());
    const char none = 0;
    if (!advertised.parse(data.empty() ? &none : data.data(), data.size(), name.c_str(), name.size())) {
        std::cerr << "zkhal advert: " << advertised.parseErrorMessage() << '\n';
        return kBadInput;
    }
    JsonWriter out(1);
    out.beginObject();
    out.add("type", advertised.robotType);
    ZKRobotTypeInfo type = {};
    type.size = sizeof type;
    const bool isRobot = ZKFindRobotType(std::to_string(advertised.robotType).c_str(), &type);
    out.add("robot", isRobot ? type.words : "unrecognised");
    out.add("mode", advertised.robotMode);
    out.add("modeName", nameOf(kModes, advertised.robotMode));
    out.add("name", advertised.name);
    out.add("uniqueId", advertised.uniqueId);
    out.add("serialNumber", advertised.serialNumber);
    const uint8_t* v = advertised.version;
    out.add("firmware", std::to_string(v[Kestrel::kFirmwareMajor]) + "." + std::to_string(v[Kestrel::kFirmwareMinor]) +
                            "." + std::to_string(v[Kestrel::kFirmwareSubMinor]));
    out.add("resources", uint32_t{v[Kestrel::kResourceVersion]});
    out.add("hardware", uint32_t{advertised.hardwareMinorVersion});
    if (advertised.robotMode == Kestrel::kModeApplication) {  // otherwise the byte tells no language
        out.add("language", HAL::RobotHW::langStringFromID(advertised.localeId));
    }
    out.add("batteryLevel", advertised.batteryLevel);
    out.add("battery", batteryInWords(advertised.batteryLevel));
    out.add("chargeMode", advertised.chargeMode);
    out.add("charge", nameOf(kCharges, advertised.chargeMode));
    out.add("usbConnected", advertised.isCharging);
    out.add("buttonPressed", advertised.flagB);
    out.add("crashDumps", advertised.flagA);
    out.add("personalityColor", uint32_t{v[Kestrel::kPersonalityColor]});
    out.add("personalityAnimation", uint32_t{v[Kestrel::kPersonalityAnimation]});
    out.add("shellColor", advertised.shellColor);
    out.add("avatar", advertised.avatarId);
    out.add("backupImage", advertised.hasBackupImage);
    out.add("wifiStatus", advertised.wifiStatus);
    out.add("updateStatus", advertised.updateStatus);
    out.add("batteryVoltage", uint32_t{advertised.batteryVoltage});
    out.end();
    std::cout << out.text();
    return kSuccess;
}

}  // namespace

void addAdvert(CLI::App& app, int& status)
{
    struct Options {
        std::string hex, name;
    };
    auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("advert", "Describe a robot by its advertisement, as JSON");
    command->add_option("data", options->hex, "Manufacturer data as hex, at most 26 bytes")
        ->type_name("HEX")
        ->required();
    command->add_option("name", options->name, "The advertised local name")->type_name("NAME");
    command->footer(
        "Levels and modes that are not known are 9999, an avatar that is not known is 255. A Quill\n"
        "that charges has the mode 1 or 2. Only robots in application mode have a language.\n\n"
        "Example:\n"
        "  zkhal advert 03010010070301980A000000A1B2C30005206F6E2033 'Orvik num'");
    command->callback([options, &status] { status = advert(options->hex, options->name); });
}

}  // namespace zkhal
