#pragma once
// Whether a TCP port takes connections.

#include <cstdint>
#include <string>

#include "Base/Clock.hpp"

namespace netcore::PortCheck {

/// Blocks for at most `timeout`; false also for a bad address. Any thread.
bool isOpen(const std::string& ip, std::uint16_t port, base::Seconds timeout);

}  // namespace netcore::PortCheck
