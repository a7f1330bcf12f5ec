#pragma once
// The system's table of neighbours: which hardware address answered for which IPv4 address.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace netcore {

struct ARPRow {
    std::string ip;      // dotted
    std::string mac;     // "0A:0B:0C:12:34:56"
    std::string device;  // the adapter's device name
    bool operator==(const ARPRow&) const = default;
};

/// Rows with a hardware address only; without groups (224.…) and broadcast. Absent when the system tells nothing. Any thread; no
/// child process.
std::optional<std::vector<ARPRow>> readARPTable();

/// Pure functions; any thread.
namespace ARPTexts {
/// Output of "arp -an" in its BSD form: "? (10.0.0.1) at 0:1b:2c:3:4:5 on en0 ifscope [ethernet]". Short bytes get their zero.
std::vector<ARPRow> parseARP(std::string_view text);
/// The text of /proc/net/arp (proc(5)).
std::vector<ARPRow> parseProc(std::string_view text);
}  // namespace ARPTexts

}  // namespace netcore
