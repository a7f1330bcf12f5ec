#pragma once
// One received datagram, with the adapter it came in on and the address it was sent to.

#include <cstdint>
#include <string>
#include <vector>

#include "Base/ByteReader.hpp"
#include "Base/Clock.hpp"

namespace netcore {

struct UDPPacket {
    std::vector<std::uint8_t> data;  // at most 2048 bytes
    std::string sourceIP;            // dotted
    std::uint16_t sourcePort = 0;
    std::uint32_t interfaceIndex = 0;  // of the receiving adapter; 0 when the system did not say
    base::Moment time{};               // of reception
    std::string destination;           // group, broadcast or own address, dotted; empty when the system did not say
};

/// The same without memory of its own, for the path of every packet: valid as long as the receive buffer.
struct UDPView {
    base::Bytes data{};
    std::uint32_t source = 0;  // IPv4, host order
    std::uint16_t sourcePort = 0;
    std::uint32_t interfaceIndex = 0;
    base::Moment time{};
    std::uint32_t destination = 0;  // IPv4, host order; 0 when the system did not say

    UDPPacket packet() const;
};

}  // namespace netcore
