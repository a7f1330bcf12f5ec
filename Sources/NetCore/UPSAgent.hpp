#pragma once
// What the UPS simulator answers: an SNMP v2c agent (RFC 3416) with the UPS-MIB (RFC 1628) of a three-phase UPS of 10 kVA. Its
// values move slowly; faults switch it to other states.

#include <cstdint>
#include <optional>
#include <vector>

#include "Base/ByteReader.hpp"
#include "Base/Clock.hpp"

namespace netcore {

struct UPSFaults {
    bool onBattery = false, lowBattery = false, overload = false, bypass = false, offline = false;
    bool operator==(const UPSFaults&) const = default;
};

/// Pure; any thread.
namespace UPSAgent {

// An answer is no longer than this, so that it fits a datagram (65507 bytes) with its headers.
inline constexpr std::size_t longestAnswer = 60000;
inline constexpr std::int64_t mostRepetitions = 50;

struct Scene {
    base::Seconds running{0};                // since the start
    std::optional<base::Seconds> onBattery;  // since the mains went; absent on mains
    UPSFaults faults;
};

/// The answer to a GET, GETNEXT or GETBULK request; absent for anything else and with the fault `offline`. The community is echoed,
/// any will do.
std::optional<std::vector<std::uint8_t>> respond(base::Bytes packet, const Scene& scene);

}  // namespace UPSAgent

}  // namespace netcore
