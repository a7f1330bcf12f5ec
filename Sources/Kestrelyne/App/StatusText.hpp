#pragma once
// The answers of the control socket as a person reads them in a terminal.

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "Base/Clock.hpp"

namespace kestrelyne {

/// The answer of the verb "status". Keys that are missing read as nothing.
std::string statusReport(const nlohmann::json& status, base::WallTime now);
/// The answer of the verb "web.show".
std::string webReport(const nlohmann::json& state);

}  // namespace kestrelyne
