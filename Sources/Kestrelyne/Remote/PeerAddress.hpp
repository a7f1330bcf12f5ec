#pragma once
// Socket addresses as numeric text and back. Pure; any thread.

#include <sys/socket.h>

#include <cstdint>
#include <optional>
#include <string>

namespace kestrelyne {

struct SocketAddress {
    sockaddr_storage storage{};
    socklen_t length = 0;

    int family() const { return storage.ss_family; }
    /// The address without zone and port; an IPv4 address that a dual-stack socket shows as ::ffff:a.b.c.d as plain IPv4. "" for
    /// other families.
    std::string text() const;
    /// 0 for other families.
    std::uint16_t port() const;
};

/// Absent when the host is neither an IPv4 nor an IPv6 address in digits.
std::optional<SocketAddress> numericAddress(const std::string& host, std::uint16_t port);

}  // namespace kestrelyne
