#pragma once
// The IPv4 addresses of this computer's adapters.

#include <string>
#include <vector>

namespace base {

struct HostAddress {
    std::string adapter;  // the system's name, "eth0"
    std::string address;  // dotted
};

/// Adapters that are up, in the system's order, without the loopback adapter. Quick; any thread.
std::vector<HostAddress> hostAddresses();

}  // namespace base
