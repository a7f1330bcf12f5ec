#pragma once
// What the control socket answers of Remote Device Management, as a person reads it in a terminal. Answers of another shape read as
// nothing.

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace kestrelyne {

/// The answer of "rdm.list".
std::string rdmTable(const nlohmann::json& answer);
/// The same, sensor by sensor.
std::string rdmSensorTable(const nlohmann::json& answer);
/// The answer of "rdm.show", and of a write.
std::string rdmDeviceReport(const nlohmann::json& answer);
/// The plan in the answer of "rdm.sequential".
std::string rdmPlanTable(const nlohmann::json& answer);
/// "Überschneidung mit Front 1, Front 2": of an answer with "overlaps"; empty when there are none.
std::string rdmOverlapLine(const nlohmann::json& answer);

}  // namespace kestrelyne
