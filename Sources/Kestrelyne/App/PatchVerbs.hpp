#pragma once
// The verbs of the control socket that concern the patch.

#include "Base/BackgroundPool.hpp"
#include "Kestrelyne/App/ControlServer.hpp"
#include "Kestrelyne/Lighting/PatchStore.hpp"

namespace kestrelyne {

/// patch.list ("query"), and patch.edit, patch.delete, patch.settings, patch.import (see PatchEdits.hpp), each saved before it
/// answers. A rig of many thousand lamps is worked on in the pool, not on the main thread. What is given outlives the server.
void addPatchVerbs(ControlServer& server, PatchStore& patch, base::BackgroundPool& pool);

}  // namespace kestrelyne
