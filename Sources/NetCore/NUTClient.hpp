#pragma once
// One asking of a server of the UPS management protocol (RFC 9271) on 127.0.0.1.

#include <cstdint>
#include <optional>
#include <vector>

#include "Base/Clock.hpp"
#include "NetCore/NUTProtocol.hpp"

namespace netcore {

/// Blocks until the end or the time limit, however the server behaves. Absent when there is none, or none that speaks properly. Any
/// thread but the main one.
std::optional<std::vector<NUTDevice>> readNUTDevices(std::uint16_t port, base::Seconds limit);

}  // namespace netcore
