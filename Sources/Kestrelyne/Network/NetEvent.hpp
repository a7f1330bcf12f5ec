#pragma once
// What is told about the show network: one line of its log, and what its watchers have found.

#include <string>
#include <string_view>
#include <vector>

#include "Base/Clock.hpp"
#include "Base/UUID.hpp"

namespace kestrelyne {

struct NetEvent {
    enum class Level { info, warning, alarm };

    base::UUID id = base::UUID::random();
    base::WallTime date{};
    Level level = Level::info;
    std::string text;    // German
    std::string source;  // "Netzwerk", "Strom", …
};

/// "Info", "Warnung", "Alarm": as the record of a deployment has it.
std::string_view text(NetEvent::Level level);
/// "info", "warning", "alarm": as the JSON interface has it.
std::string_view word(NetEvent::Level level);

inline constexpr const char* networkSource = "Netzwerk";
inline constexpr const char* powerSource = "Strom";

/// What a watcher wants said. Level alarm goes to the notifier as well, when the settings ask for it.
struct NetFinding {
    NetEvent::Level level = NetEvent::Level::info;
    std::string text;
    std::string source = networkSource;
    bool operator==(const NetFinding&) const = default;
};
/// In the order in which they are to be told.
using NetFindings = std::vector<NetFinding>;

}  // namespace kestrelyne
