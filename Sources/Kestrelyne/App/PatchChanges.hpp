#pragma once
// What sets two states of the patch apart, for a table that somebody reads before or after a change.

#include <cstddef>
#include <nlohmann/json_fwd.hpp>

#include "Kestrelyne/Lighting/Patch.hpp"

namespace kestrelyne {

/// "added", "changed", "unchanged", "removed": counts of fixtures, told apart by their ids. "rows": the first `mostRows` of those
/// that are not unchanged, in the order of the list, those removed at the end; each with "what" ("added", "changed", "removed"),
/// "id", "fixtureID", "name", "before" and "after" (addresses; null where it was not or is not), "changes" (what is different,
/// German).
nlohmann::json patchChanges(const Patch& before, const Patch& after, std::size_t mostRows);

}  // namespace kestrelyne
