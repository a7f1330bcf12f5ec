#include "Kestrelyne/Remote/WebConfig.hpp"

#include <algorithm>
#include <array>

#include "Base/JSONFields.hpp"
#include "Base/Text.hpp"
#include "Kestrelyne/Remote/URLReference.hpp"

namespace kestrelyne {

namespace {

struct ControlName {
    WebConfig::Control control;
    std::string_view label, word;
};
constexpr std::array controlNames = {
    ControlName{WebConfig::Control::view, "Nur ansehen", "view"},
    ControlName{WebConfig::Control::find, "Suchen & Identify / Hellmachen", "find"},
    ControlName{WebConfig::Control::full, "Voller RDM-Zugriff", "full"},
};

std::optional<WebConfig::Control> controlOf(std::string_view text, std::string_view ControlName::*field) {
    const auto found = std::ranges::find(controlNames, text, field);
    if (found == controlNames.end()) return std::nullopt;
    return found->control;
}

WebConfig::Control asControl(const base::JSON& value) {
    const auto control = controlOfLabel(base::asText(value));
    if (!control) throw base::DecodeError("unknown level of the web interface");
    return *control;
}

}  // namespace

std::string_view label(WebConfig::Control control) {
    return std::ranges::find(controlNames, control, &ControlName::control)->label;
}
std::optional<WebConfig::Control> controlOfLabel(std::string_view label) { return controlOf(label, &ControlName::label); }
std::string_view word(WebConfig::Control control) { return std::ranges::find(controlNames, control, &ControlName::control)->word; }
std::optional<WebConfig::Control> controlOfWord(std::string_view word) { return controlOf(word, &ControlName::word); }

std::uint16_t WebConfig::listeningPort() const { return static_cast<std::uint16_t>(std::clamp(port, 0LL, 65535LL)); }

std::optional<std::string> WebConfig::usablePublicURL() const {
    const auto text = base::trimmedOf(base::trimmed(publicURL), "/");
    if (!text.starts_with("http://") && !text.starts_with("https://")) return std::nullopt;
    return std::string(text);
}

std::string WebConfig::publicHost() const {
    const auto url = usablePublicURL();
    const auto reference = url ? parseURLReference(*url) : std::nullopt;
    return reference ? reference->host : std::string();
}

nlohmann::ordered_json WebConfig::toJSON() const {
    return {{"enabled", enabled},        {"port", port}, {"allowLAN", allowLAN},      {"publicURL", publicURL},
            {"control", label(control)}, {"pin", pin},   {"pushSubject", pushSubject}};
}

WebConfig WebConfig::fromJSON(const nlohmann::json& value) {
    WebConfig config;
    base::overlay(value, "enabled", config.enabled, base::asBool);
    base::overlay(value, "port", config.port, base::asInteger);
    base::overlay(value, "allowLAN", config.allowLAN, base::asBool);
    base::overlay(value, "publicURL", config.publicURL, base::asText);
    base::overlay(value, "control", config.control, asControl);
    base::overlay(value, "pin", config.pin, base::asText);
    base::overlay(value, "pushSubject", config.pushSubject, base::asText);
    return config;
}

WebConfig WebConfig::fromStored(std::string_view bytes) {
    try {
        return fromJSON(base::parseJSON(bytes));
    } catch (const base::DecodeError&) {
        return {};
    }
}

}  // namespace kestrelyne
