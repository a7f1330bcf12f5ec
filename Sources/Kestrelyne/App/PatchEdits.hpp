#pragma once
// What the command line changes in the patch. The same for a running program, which is asked over its control socket, and for a
// file that no program has open.

#include <cstddef>
#include <nlohmann/json_fwd.hpp>

#include "Kestrelyne/Lighting/Patch.hpp"

namespace kestrelyne {

/// Rows of a table of changes in an answer.
inline constexpr std::size_t mostPatchRows = 20;

/// Carries out the request's "verb":
///   patch.edit      "fixtures" (words, each a number of the console or an id; "all"), and any of the fields of a fixture:
///                   fixtureID, name, manufacturer, model, mode, layer, position, distributor, plugbox, socket, breaker, phase,
///                   notes, rdmUID (texts; an empty one removes), universe, address, footprint (whole numbers), powerW (null
///                   removes)
///   patch.delete    "fixtures" (words), or "all": true
///   patch.settings  artNetOffset, breakerAmps, voltage; "distributor" with "device" (id of its meter; empty removes it)
///   patch.import    "fixtures" (objects as in the file), "replace", "source" (name of the file)
/// With "dryRun": true the patch stays as it is. Answers patchChanges(); patch.settings the settings. Throws ControlError, and
/// nothing is changed then. Any thread.
nlohmann::json editPatch(Patch& patch, const nlohmann::json& request);

}  // namespace kestrelyne
