#pragma once
// What the command line changes in the settings of the network side. The same for a running program, which is asked over its
// control socket, and for stores that no program has open.

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "Kestrelyne/Network/NetConfig.hpp"

namespace kestrelyne {

/// A device by its id, its name or its address. Throws ControlError when none, or more than one, is meant.
const NetDevice& namedDevice(const NetConfig& config, const std::string& word);

/// Carries out the request's "verb": monitor.set (field, value), monitor.forgetKnown, device.add (fields of a device), device.edit
/// (device, fields), device.remove (device), adapter.use (names; none for all), adapter.role (name, role as typed), adapter.label
/// (name, label; empty for none). Answers what has changed: the device that was added, edited or removed, else nothing. Throws
/// ControlError, and nothing is changed then.
nlohmann::json editNetConfig(NetConfig& config, const nlohmann::json& request);

}  // namespace kestrelyne
