#pragma once
// The patch of the demo: enough lamps to search, plan and light.

#include <optional>

#include "Base/UUID.hpp"
#include "Kestrelyne/Lighting/Patch.hpp"

namespace kestrelyne {

/// Two trusses on universes that nobody sends on, and pixels on the first universe of the simulated console. Its distributor
/// belongs to this meter. The same at every call but for the lamps' ids. Pure.
Patch demoPatch(const std::optional<base::UUID>& meter);

}  // namespace kestrelyne
