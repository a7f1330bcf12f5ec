#pragma once
// The routes of the JSON interface about meters and their alarms: power, device and events.

#include <vector>

#include "Base/Clock.hpp"
#include "Kestrelyne/Metering/DeviceStore.hpp"
#include "Kestrelyne/Remote/WebAPI.hpp"

namespace kestrelyne {

/// At most so many events are answered, the newest.
inline constexpr std::size_t mostEventsAnswered = 5000;

/// In their order: GET /api/power, GET /api/device/<uuid>, GET /api/events. The store outlives them. Main thread.
std::vector<APIRoute> meteringRoutes(DeviceStore& store);

/// The answer of GET /api/power.
HTTPResponse powerResponse(DeviceStore& store);

}  // namespace kestrelyne
