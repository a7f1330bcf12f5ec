#pragma once
// A device of a NUT server as a UPS. Pure; any thread.

#include <optional>

#include "NetCore/LocalUPSFinding.hpp"
#include "NetCore/NUTProtocol.hpp"

namespace netcore {

/// Absent when the device says that it is something else than a UPS.
std::optional<LocalUPSFinding> nutFinding(const NUTDevice& device, const base::Moment& time);

}  // namespace netcore
