#pragma once
// A plain TCP connection with a time limit and, if wanted, bound to one adapter.

#include <cstdint>
#include <string>

#include "Base/Clock.hpp"
#include "Base/FileDescriptor.hpp"

namespace metercore {

namespace TCPSocket {

/// An open, blocking, close-on-exec socket with TCP_NODELAY, whose reads and writes each fail with EAGAIN after `timeout`.
/// Every address of the host is tried in turn, each for at most `timeout`; an infinite one waits without limit. An empty interface
/// name binds to none. Senders pass MSG_NOSIGNAL. Blocks; any thread. Throws ModbusError (`resolve` or `connect`).
base::FileDescriptor connect(const std::string& host, std::uint16_t port, base::Seconds timeout, const std::string& interface = {});

}  // namespace TCPSocket
}  // namespace metercore
