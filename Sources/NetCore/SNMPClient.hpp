#pragma once
// SNMP v2c over IPv4 UDP: GET and a walk by GETBULK (RFC 3416). No v1, v3, GETNEXT, SET or traps.

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "NetCore/SNMPTarget.hpp"

namespace netcore {

/// Immutable; any number of threads may use one at once. A call blocks for up to (retries + 1) × timeout per request: never on the
/// main thread. Each try has a socket of its own.
class SNMPClient final : public SNMPTarget {
public:
    using Value = SNMPValue;

    /// `host` dotted IPv4, never resolved; `timeout` in seconds for one reply; `retries` further tries after one that timed out.
    SNMPClient(std::string host, std::string community, double timeout, int retries, std::uint16_t port);

    std::map<std::string, Value> get(const std::vector<std::string>& oids) const override;
    std::vector<SNMPRow> walk(const std::string& base, int maxRows) const override;

private:
    std::vector<SNMPRow> request(std::uint8_t pdu, const std::vector<std::string>& oids, std::int32_t a, std::int32_t b) const;
    std::vector<std::uint8_t> exchange(const std::vector<std::uint8_t>& bytes) const;

    const std::string host_, community_;
    const double timeout_;
    const int retries_;
    const std::uint16_t port_;
};

}  // namespace netcore
