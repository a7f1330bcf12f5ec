#pragma once
// What the control socket answers of the patch, as a person reads it in a terminal. Answers of another shape read as nothing.

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace kestrelyne {

/// The answer of "patch.list": its fixtures and a line of what there is to say of the whole patch.
std::string patchTable(const nlohmann::json& answer);
/// The "settings" of that answer.
std::string patchSettingsTable(const nlohmann::json& settings);
/// The answer of an edit: a row for each of the first fixtures that change, then how many do.
std::string patchChangeTable(const nlohmann::json& changes);

}  // namespace kestrelyne
