#pragma once
// The routes of the JSON interface about meters and their alarms: power and device.

#include <vector>

#include "Base/Clock.hpp"
#include "Kestrelyne/Lighting/PatchStore.hpp"
#include "Kestrelyne/Metering/DeviceStore.hpp"
#include "Kestrelyne/Presentation/UPSSummary.hpp"
#include "Kestrelyne/Remote/WebAPI.hpp"

namespace kestrelyne {

/// In their order: GET /api/power, GET /api/device/<uuid>. Stores and monitor outlive them; without a monitor there are no
/// UPSs, without a patch nothing is planned.
/// Main thread.
std::vector<APIRoute> meteringRoutes(DeviceStore& store, const NetworkMonitor* network, const PatchStore* patch = nullptr);

/// "info" for an ending, else "alarm" or "warning".
const char* levelOf(const AlarmEvent& event);

/// The answer of GET /api/power.
HTTPResponse powerResponse(DeviceStore& store, const NetworkMonitor* network, const PatchStore* patch = nullptr);

}  // namespace kestrelyne
