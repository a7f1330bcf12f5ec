#pragma once
// Announcements of clocks (IEEE 1588): version 1 (2002) by its Sync, version 2 (2008) by its Announce.

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "Base/ByteReader.hpp"

/// Pure functions; any thread.
namespace netcore::PTP {

inline constexpr std::uint16_t eventPort = 319;
inline constexpr std::uint16_t generalPort = 320;
inline constexpr std::array<const char*, 4> groups = {"224.0.1.129", "224.0.1.130", "224.0.1.131", "224.0.1.132"};

struct Announcement {
    int version = 0;          // 1 or 2
    std::string domain;       // "Domäne 0"; of version 1 the subdomain, "_DFLT" when empty; foreign text, valid UTF-8
    std::string grandmaster;  // lower-case hexadecimal bytes joined by ":"
    std::string sender;       // the same
    std::optional<int> priority1 = {}, priority2 = {}, clockClass = {}, stratum = {}, stepsRemoved = {};
    bool operator==(const Announcement&) const = default;
};

/// Reads the payload of a datagram; absent for every other message.
std::optional<Announcement> parse(base::Bytes packet);

}  // namespace netcore::PTP
