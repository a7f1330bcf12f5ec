#pragma once
// The fields of a request to the control socket. A field that is missing or of another type throws ControlError (wrongWords).

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

namespace kestrelyne {

/// Valid UTF-8.
std::string textField(const nlohmann::json& request, const char* key);
bool switchField(const nlohmann::json& request, const char* key);
std::vector<std::string> textListField(const nlohmann::json& request, const char* key);

/// Those that may be missing.
std::optional<std::string> optionalText(const nlohmann::json& request, const char* key);
std::optional<bool> optionalSwitch(const nlohmann::json& request, const char* key);
std::optional<long long> optionalInteger(const nlohmann::json& request, const char* key);

}  // namespace kestrelyne
