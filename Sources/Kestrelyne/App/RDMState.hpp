#pragma once
// What the scanner knows of devices, as the control socket answers it.

#include <nlohmann/json_fwd.hpp>

#include "Kestrelyne/Lighting/RDMScanner.hpp"

namespace kestrelyne {

/// "uid", "name", "nodeIP", "nodeName", "universe" (Port-Address), "universeLabel", "manufacturer", "model", "label", "software",
/// "info" ("modelID", "category", "softwareVersionID", "footprint", "personality", "personalityCount", "startAddress",
/// "sensorCount"), "deviceHours", "lampHours", "sensors" ("number", "name", "unit", "value", "max", "isTemperature"), "temp" (°C,
/// of the hottest sensor), "supported" (PIDs), "personalities" ("number", "name", "footprint"), "identifying", "atFactoryDefaults",
/// "lampState", "responding", "lastUpdate" (seconds since 1970). What is not known is null.
nlohmann::json rdmDeviceState(const RDMDeviceState& device);
/// "devices", "isScanning", "progress", "lastScan" (seconds since 1970, or null), "writeEnabled", "lastWriteResult" (or null).
nlohmann::json rdmState(const RDMScanner& scanner);

}  // namespace kestrelyne
