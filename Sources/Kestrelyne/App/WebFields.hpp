#pragma once
// The fields of the web settings as words of the command line and the control socket.

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

#include "Kestrelyne/Remote/WebConfig.hpp"

namespace kestrelyne {

/// Sets the field of that name: "enabled", "port" (0…65535), "allowLAN", "publicURL", "control" ("view", "find", "full"), "pin",
/// "pushSubject". Throws ControlError (wrongWords) for another name or a value that does not fit.
void setWebField(WebConfig& config, std::string_view field, const std::string& value);

/// All fields under these names, "control" by its word.
nlohmann::ordered_json webFields(const WebConfig& config);

}  // namespace kestrelyne
