#pragma once
// The patch as the command line is told of it.

#include <nlohmann/json_fwd.hpp>
#include <string_view>

#include "Kestrelyne/Lighting/Patch.hpp"

namespace kestrelyne {

/// The fixture as from_json() reads it back, without what is empty, zero or false.
nlohmann::json compactFixture(const PatchFixture& fixture);

/// "fixtures" (compact) that match the query, "count" of all, "settings", "sourceName", "overlaps" (how many), "distributors"
/// (names), "circuits" ("distributor", "breaker", "phase", "fixtures", "powerW", "missingPower"). Any thread.
nlohmann::json patchState(const Patch& patch, std::string_view query);

}  // namespace kestrelyne
