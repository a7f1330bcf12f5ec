#pragma once
// The fields of the web settings as words of the command line and the control socket.

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

#include "Kestrelyne/App/SettingsStore.hpp"
#include "Kestrelyne/Remote/WebConfig.hpp"

namespace kestrelyne {

inline constexpr const char* webConfigKey = "web.v1";
inline constexpr const char* webSessionsKey = "web.sessions";

/// Sets the field of that name: "enabled", "port" (0…65535), "allowLAN", "publicURL", "control" ("view", "find", "full"), "pin",
/// "pushSubject". Throws ControlError (wrongWords) for another name or a value that does not fit.
void setWebField(WebConfig& config, std::string_view field, const std::string& value);

/// All fields under these names, "control" by its word.
nlohmann::ordered_json webFields(const WebConfig& config);

/// What is stored; the defaults when nothing is, or nothing that decodes.
WebConfig storedWebConfig(const std::optional<SettingValue>& value);

}  // namespace kestrelyne
