#pragma once
// What the control socket answers of the show network, as a person reads it in a terminal. Answers of another shape read as
// nothing.

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "Base/Clock.hpp"

namespace kestrelyne {

/// The part "network" of the program's state in few lines.
std::vector<std::string> networkLines(const nlohmann::json& network);
/// The answer of "monitor.status".
std::string monitorReport(const nlohmann::json& network);
/// The answer of "monitor.show".
std::string fieldTable(const nlohmann::json& answer);
/// The answer of "monitor.known".
std::string knownTable(const nlohmann::json& answer);
/// The answer of "device.list".
std::string deviceTable(const nlohmann::json& answer);
/// The answer of "versions".
std::string versionTable(const nlohmann::json& answer);
/// The answer of "adapter.list".
std::string adapterTable(const nlohmann::json& answer);
/// The answer of "universes", with the time it was asked.
std::string universeReport(const nlohmann::json& answer, base::WallTime now);
/// "„Pult“ (10.0.0.1)": a device of an answer.
std::string deviceName(const nlohmann::json& device);

/// The lines that a terminal of this size can show, each cut to its width; the last one says how many are missing.
std::string fitted(std::string_view text, std::size_t rows, std::size_t columns);

}  // namespace kestrelyne
