#include "NetCore/SNMPClient.hpp"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <memory>

#include "Base/FileDescriptor.hpp"
#include "Base/Text.hpp"
#include "Base/UUID.hpp"
#include "NetCore/Deadline.hpp"
#include "NetCore/IPv4.hpp"
#include "NetCore/SNMPMessage.hpp"
#include "NetCore/SocketAddress.hpp"

namespace netcore {

namespace {

constexpr std::size_t largestDatagram = 65535;
constexpr std::int32_t rowsPerPage = 25;
// The longest tables of real switches hold a few hundred kilobytes; an agent whose every row is as long as a datagram may be is
// left before it fills the memory.
constexpr std::size_t mostTextBytes = std::size_t{4} << 20;

// Uniform: of 31 random bits all but zero.
std::int32_t randomID() {
    for (;;) {
        const auto bytes = base::randomBytes(sizeof(std::int32_t));
        std::int32_t id = 0;
        std::memcpy(&id, bytes.data(), sizeof id);
        id &= SNMPMessage::mostID;
        if (id >= SNMPMessage::leastID) return id;
    }
}

bool isInterrupted(ssize_t result) { return result < 0 && errno == EINTR; }

}  // namespace

SNMPClient::SNMPClient(std::string host, std::string community, double timeout, int retries, std::uint16_t port)
    : host_(std::move(host)), community_(std::move(community)), timeout_(timeout), retries_(retries), port_(port) {}

std::map<std::string, SNMPClient::Value> SNMPClient::get(const std::vector<std::string>& oids) const {
    std::map<std::string, Value> values;
    for (auto& row : request(SNMPMessage::PDU::get, oids, 0, 0)) values.insert_or_assign(std::move(row.oid), std::move(row.value));
    return values;
}

std::vector<SNMPRow> SNMPClient::walk(const std::string& base, int maxRows) const {
    std::vector<SNMPRow> rows;
    const auto below = base + ".";
    auto cursor = base;
    std::size_t textBytes = 0;
    // An agent that repeats rows for ever is stopped by the limit.
    while (std::ssize(rows) < maxRows && textBytes < mostTextBytes) {
        auto page = request(SNMPMessage::PDU::getBulk, {cursor}, 0, rowsPerPage);
        if (page.empty()) break;
        for (auto& row : page) {
            if (row.value.isNoSuch() || !row.oid.starts_with(below)) return rows;
            if (const auto* text = std::get_if<SNMPValue::String>(&row.value.content())) textBytes += text->size();
            rows.push_back(std::move(row));
        }
        cursor = rows.back().oid;
    }
    return rows;
}

std::vector<SNMPRow> SNMPClient::request(std::uint8_t pdu, const std::vector<std::string>& oids, std::int32_t a,
                                         std::int32_t b) const {
    const auto id = randomID();
    const auto message = SNMPMessage::build({.pdu = pdu, .community = community_, .id = id, .a = a, .b = b, .oids = oids});
    for (int triesLeft = retries_;; --triesLeft) {
        try {
            return SNMPMessage::parseResponse(exchange(message), id);
        } catch (const NetError& error) {
            if (error.kind() != NetError::Case::timeout || triesLeft <= 0) throw;
        }
    }
}

std::vector<std::uint8_t> SNMPClient::exchange(const std::vector<std::uint8_t>& bytes) const {
    const base::FileDescriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!socket) throw NetError::socket(base::errnoText(errno));
    const auto address = ipToUInt32(host_);
    if (!address) throw NetError::protocolError("Ungültige IP " + host_);
    const auto target = socketAddress(*address, port_);

    ssize_t sent = 0;
    do sent = sendto(socket.get(), bytes.data(), bytes.size(), 0, generic(target), sizeof target);
    while (isInterrupted(sent));
    if (sent < 1) throw NetError::socket(base::errnoText(errno));

    const Deadline deadline(base::Seconds(std::trunc(timeout_ * 1000) / 1000));
    const auto buffer = std::make_unique_for_overwrite<std::uint8_t[]>(largestDatagram);
    for (;;) {
        if (!waitFor(socket.get(), POLLIN, deadline)) throw NetError::timeout();
        // A datagram that made the socket readable can still be dropped for its checksum: then the wait goes on.
        const auto received = recv(socket.get(), buffer.get(), largestDatagram, MSG_DONTWAIT);
        if (received > 0) return {buffer.get(), buffer.get() + received};
        if (!isInterrupted(received) && !(received < 0 && errno == EAGAIN)) throw NetError::timeout();
    }
}

}  // namespace netcore
