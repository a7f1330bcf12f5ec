#pragma once
// ICMP echo (RFC 792), to one host or to many at once, without privilege where the system allows it.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Base/ByteReader.hpp"
#include "Base/Clock.hpp"

/// All calls block their thread. Any thread; calls at once are kept apart by their identifiers.
namespace netcore::Ping {

/// What the last attempt to open a socket said: empty while ping works, else one German line with what is missing and how it is
/// granted.
std::string missingRight();

/// Round trip in seconds; absent without an answer, for a bad address and without the right to ping.
std::optional<double> ping(const std::string& ip, base::Seconds timeout);

/// Address to round trip in seconds, of those that answered.
using Answers = std::map<std::string, double>;
/// All requests back to back over one socket, then one shared wait; the time limit holds for both together. Absent when the system
/// lets us open no ICMP socket: nothing is known of any host then. An empty list gives an empty map. Addresses that may not be
/// there are for the caller to pace: some 250 a call and a second, as each one takes a place in the computer's one neighbour table
/// for three seconds.
std::optional<Answers> sweep(const std::vector<std::string>& ips, base::Seconds timeout);

/// Pure pieces.
inline constexpr std::string_view payload = "Kestrelyne-ping..";
/// Echo request of 25 bytes with its checksum.
std::vector<std::uint8_t> request(std::uint16_t identifier, std::uint16_t sequence);
/// Internet checksum (RFC 1071).
std::uint16_t checksum(base::Bytes message);

struct Reply {
    std::uint16_t identifier = 0;
    std::uint16_t sequence = 0;
    bool operator==(const Reply&) const = default;
};
/// An echo reply, with or without an IP header in front; absent for anything else.
std::optional<Reply> parseReply(base::Bytes received);

}  // namespace netcore::Ping
