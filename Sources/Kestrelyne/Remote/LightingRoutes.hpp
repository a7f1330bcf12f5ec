#pragma once
// The routes of the JSON interface about the lighting rig: the patch, its lamps and what may be done with them, the scan for
// devices, the test light.

#include <functional>
#include <string>
#include <vector>

#include "Kestrelyne/Lighting/DMXOutput.hpp"
#include "Kestrelyne/Lighting/PatchStore.hpp"
#include "Kestrelyne/Lighting/RDMScanner.hpp"
#include "Kestrelyne/Remote/WebAPI.hpp"

namespace kestrelyne {

class WebServer;

/// What the routes speak of; all of it outlives them.
struct LightingRig {
    const WebServer& web;  // tells what phones may do
    const PatchStore& patch;
    DMXOutput& dmx;
    RDMScanner* rdm = nullptr;                    // absent: no device is known, and there is no scan
    std::function<void(std::string text)> log{};  // what phones have done; may be empty
};

/// In their order: GET /api/patch, GET /api/fixture/<uuid>, POST /api/fixture/<uuid>/<action>, POST /api/rdm/scan,
/// POST /api/dmx/start, POST /api/dmx/stop. Main thread.
std::vector<APIRoute> lightingRoutes(const LightingRig& rig);

}  // namespace kestrelyne
