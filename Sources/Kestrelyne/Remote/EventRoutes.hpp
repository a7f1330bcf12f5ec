#pragma once
// The route of the JSON interface about what has happened: the logs of meters and network in one list.

#include <vector>

#include "Kestrelyne/Metering/DeviceStore.hpp"
#include "Kestrelyne/Network/NetworkMonitor.hpp"
#include "Kestrelyne/Remote/WebAPI.hpp"

namespace kestrelyne {

/// At most so many events are answered, the newest.
inline constexpr std::size_t mostEventsAnswered = 5000;
/// Of the network's log only so many count, the newest.
inline constexpr std::size_t mostNetworkEvents = 150;

/// GET /api/events, the newest first. The stores outlive it; without a network monitor the meters' events stand alone. Main thread.
std::vector<APIRoute> eventRoutes(DeviceStore& store, const NetworkMonitor* network);

}  // namespace kestrelyne
