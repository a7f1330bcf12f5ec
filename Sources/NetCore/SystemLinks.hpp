#pragma once
// The system's list of adapters, with or without addresses (rtnetlink(7)).

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "NetCore/HardwareAddress.hpp"

namespace netcore {

struct SystemLink {
    std::uint32_t index = 0;
    std::string device;
    bool isLoopback = false;
    bool hasCarrier = false;  // up, and something is at the other end
    std::optional<HardwareAddress> address = {};
    std::string alias;   // a person's name for it (ip-link(8), "alias"); mostly empty
    std::string kind;    // "bridge", "veth", "tun" …; empty for a real card
    bool isTap = false;  // of kind "tun": carries Ethernet frames
};

/// In the system's order, the calling thread's network namespace. Absent when the system does not say. Quick; any thread.
std::optional<std::vector<SystemLink>> readLinks();

}  // namespace netcore
