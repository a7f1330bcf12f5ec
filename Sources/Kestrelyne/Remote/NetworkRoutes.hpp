#pragma once
// The routes of the JSON interface about the show network: network, dmx and netdetail.

#include <vector>

#include "Kestrelyne/Lighting/PatchStore.hpp"
#include "Kestrelyne/Network/NetworkMonitor.hpp"
#include "Kestrelyne/Remote/WebAPI.hpp"

namespace kestrelyne {

/// In their order: GET /api/network, GET /api/dmx, GET /api/netdetail. Monitor and patch outlive them; without one its lists are
/// empty.
/// Main thread.
std::vector<APIRoute> networkRoutes(const NetworkMonitor* monitor, const PatchStore* patch = nullptr);

/// The answer of GET /api/network.
HTTPResponse networkResponse(const NetworkMonitor* monitor, const PatchStore* patch = nullptr);

}  // namespace kestrelyne
