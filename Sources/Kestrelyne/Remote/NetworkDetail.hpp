#pragma once
// The answer about switches, the map of the network, addresses, memberships and services: netdetail.

#include "Kestrelyne/Network/NetworkMonitor.hpp"
#include "Kestrelyne/Remote/HTTPMessage.hpp"

namespace kestrelyne {

/// The answer of GET /api/netdetail. Without a monitor all lists are empty. Main thread.
HTTPResponse networkDetailResponse(const NetworkMonitor* monitor);

}  // namespace kestrelyne
