#include "Kestrelyne/App/WebFields.hpp"

#include "Base/JSONFields.hpp"
#include "Base/Text.hpp"
#include "Kestrelyne/App/ControlMessage.hpp"

namespace kestrelyne {

namespace {

constexpr long long highestPort = 65535;

[[noreturn]] void wrong(std::string_view field, const std::string& wanted) {
    throw ControlError("„" + std::string(field) + "“ muss " + wanted + " sein.", ExitCode::wrongWords);
}

bool switchOf(std::string_view field, const std::string& value) {
    if (value == "true" || value == "on") return true;
    if (value == "false" || value == "off") return false;
    wrong(field, "true oder false");
}

}  // namespace

void setWebField(WebConfig& config, std::string_view field, const std::string& value) {
    if (base::repairUTF8(value) != value) wrong(field, "gültiges UTF-8");
    if (field == "enabled") {
        config.enabled = switchOf(field, value);
    } else if (field == "port") {
        const auto port = base::parseInteger(value);
        if (!port || *port < 0 || *port > highestPort) wrong(field, "eine Zahl von 0 bis 65535");
        config.port = *port;
    } else if (field == "allowLAN") {
        config.allowLAN = switchOf(field, value);
    } else if (field == "publicURL") {
        config.publicURL = value;
    } else if (field == "control") {
        const auto control = controlOfWord(value);
        if (!control) wrong(field, "view, find oder full");
        config.control = *control;
    } else if (field == "pin") {
        config.pin = value;
    } else if (field == "pushSubject") {
        config.pushSubject = value;
    } else {
        throw ControlError("Unbekanntes Feld „" + base::repairUTF8(field) +
                               "“: es gibt enabled, port, allowLAN, publicURL, control, pin und pushSubject.",
                           ExitCode::wrongWords);
    }
}

nlohmann::ordered_json webFields(const WebConfig& config) {
    auto fields = config.toJSON();
    fields["control"] = word(config.control);
    return fields;
}

}  // namespace kestrelyne
