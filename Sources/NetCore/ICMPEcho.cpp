#include <algorithm>

#include "NetCore/Ping.hpp"
#include "NetCore/WireFields.hpp"

namespace netcore::Ping {

namespace {

// RFC 792, "Echo or Echo Reply Message".
constexpr std::size_t typeAt = 0, checksumAt = 2, identifierAt = 4, sequenceAt = 6, payloadAt = 8;
constexpr std::uint8_t echoReply = 0, echoRequest = 8;
// RFC 791, 3.1: version in the high half of the first byte, header length in words of four bytes in the low one.
constexpr std::uint8_t ipVersion4 = 4;
constexpr std::size_t shortestIPHeader = 20;

}  // namespace

std::uint16_t checksum(base::Bytes message) {
    std::uint64_t sum = 0;
    for (std::size_t i = 0; i < message.size(); i += 2)
        sum += static_cast<std::uint32_t>(message[i] << 8) + (i + 1 < message.size() ? message[i + 1] : 0);
    while (sum > 0xFFFF) sum = (sum >> 16) + (sum & 0xFFFF);
    return static_cast<std::uint16_t>(~sum);
}

std::vector<std::uint8_t> request(std::uint16_t identifier, std::uint16_t sequence) {
    std::vector<std::uint8_t> message(payloadAt + payload.size());
    message[typeAt] = echoRequest;
    wire::putBig16(message, identifierAt, identifier);
    wire::putBig16(message, sequenceAt, sequence);
    std::copy(payload.begin(), payload.end(), message.begin() + payloadAt);
    wire::putBig16(message, checksumAt, checksum(message));
    return message;
}

std::optional<Reply> parseReply(base::Bytes received) {
    auto message = received;
    if (!message.empty() && message[0] >> 4 == ipVersion4) {
        const std::size_t headerLength = (message[0] & 0xFU) * 4;
        if (headerLength < shortestIPHeader || headerLength > message.size()) return std::nullopt;
        message = message.subspan(headerLength);
    }
    if (message.size() < payloadAt || message[typeAt] != echoReply) return std::nullopt;
    return Reply{.identifier = wire::big16(message, identifierAt), .sequence = wire::big16(message, sequenceAt)};
}

}  // namespace netcore::Ping
