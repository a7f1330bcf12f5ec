#include "NetCore/TopologyRows.hpp"

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <utility>

#include "NetCore/HardwareAddress.hpp"
#include "NetCore/IPv4.hpp"
#include "NetCore/OIDNumbers.hpp"

namespace netcore::TopologyRows {

namespace {

constexpr std::size_t macLength = 6;
constexpr double macAddressSubtype = 4;  // LldpChassisIdSubtype
// Family and length of an IPv4 address in an index: AddressFamilyNumbers of the IANA, and its four bytes.
constexpr std::uint32_t ipv4Family = 1, ipv4Length = 4;

std::optional<int> positive(std::optional<double> number) {
    if (!number || *number < 1 || *number > std::numeric_limits<int>::max()) return std::nullopt;
    return static_cast<int>(*number);
}

// Numbers of an index that are bytes.
template <std::size_t count>
std::optional<std::array<std::uint8_t, count>> bytesOf(std::span<const std::uint32_t> numbers) {
    if (numbers.size() != count || std::ranges::any_of(numbers, [](auto number) { return number > 0xFF; })) return std::nullopt;
    std::array<std::uint8_t, count> bytes{};
    std::ranges::transform(numbers, bytes.begin(), [](auto number) { return static_cast<std::uint8_t>(number); });
    return bytes;
}

Learnt learntBelow(Rows rows, const std::string& base, std::size_t leastNumbers, const BasePorts& ports) {
    Learnt learnt;
    for (const auto& [oid, value] : rows) {
        const auto index = oidIndex(oid, base);
        const auto bridgePort = positive(value.number());
        if (!index || index->size() < leastNumbers || !bridgePort) continue;
        const auto address = bytesOf<macLength>(std::span(*index).last(macLength));
        if (!address) continue;
        const auto port = ports.find(*bridgePort);
        learnt.insert_or_assign(TopologyReader::mac(*address), port == ports.end() ? *bridgePort : port->second);
    }
    return learnt;
}

const SNMPValue::String* octets(const SNMPValue& value) { return std::get_if<SNMPValue::String>(&value.content()); }

std::optional<HardwareAddress> addressOf(const SNMPValue& value) {
    const auto* bytes = octets(value);
    return bytes ? hardwareAddress(*bytes) : std::nullopt;
}

// What tells a neighbour from the others of a switch, in a row of the neighbour table and in one of its addresses.
struct NeighborKey {
    int localPort = 0;
    std::uint32_t remoteIndex = 0;
    auto operator<=>(const NeighborKey&) const = default;
};

std::optional<NeighborKey> keyOf(std::uint32_t localPort, std::uint32_t remoteIndex) {
    const auto port = positive(localPort);
    return port ? std::optional(NeighborKey{*port, remoteIndex}) : std::nullopt;
}

// Index of the neighbour table: time mark, local port, remote index.
std::optional<NeighborKey> keyOfRow(const std::string& oid, const std::string& base) {
    constexpr std::size_t leastNumbers = 3;
    const auto index = oidIndex(oid, base);
    if (!index || index->size() < leastNumbers) return std::nullopt;
    return keyOf((*index)[index->size() - 2], index->back());
}

struct Management {
    NeighborKey key;
    std::string ip;
};

// Index of the address table: time mark, local port, remote index, family, length, address. Some agents leave the length out.
std::optional<Management> managementOf(const std::string& oid) {
    constexpr std::size_t localPortAt = 1, remoteIndexAt = 2, familyAt = 3, addressAt = 4;
    const auto index = oidIndex(oid, OID::remoteManagement);
    if (!index || index->size() <= addressAt || (*index)[familyAt] != ipv4Family) return std::nullopt;
    const auto key = keyOf((*index)[localPortAt], (*index)[remoteIndexAt]);
    auto numbers = std::span(*index).subspan(addressAt);
    if (numbers.size() == ipv4Length + 1 && numbers.front() == ipv4Length) numbers = numbers.subspan(1);
    const auto bytes = bytesOf<ipv4Length>(numbers);
    if (!key || !bytes) return std::nullopt;
    std::uint32_t address = 0;
    for (const auto byte : *bytes) address = address << 8 | byte;
    return Management{*key, uint32ToIP(address)};
}

}  // namespace

BasePorts basePorts(Rows rows) {
    BasePorts ports;
    for (const auto& [oid, value] : rows) {
        const auto index = oidIndex(oid, OID::basePortIfIndex);
        if (!index || index->empty()) continue;
        const auto bridgePort = positive(index->back()), interface = positive(value.number());
        if (bridgePort && interface) ports.insert_or_assign(*bridgePort, *interface);
    }
    return ports;
}

Learnt learntByVLAN(Rows rows, const BasePorts& ports) { return learntBelow(rows, OID::learntByVLAN, macLength + 1, ports); }

Learnt learnt(Rows rows, const BasePorts& ports) { return learntBelow(rows, OID::learnt, macLength, ports); }

void addAddresses(Rows rows, std::set<std::string>& addresses) {
    for (const auto& row : rows)
        if (const auto address = addressOf(row.value); address && isHost(*address)) addresses.insert(hardwareAddressText(*address));
}

std::vector<SwitchTopology::Neighbor> neighbors(const NeighborRows& rows) {
    std::map<NeighborKey, SwitchTopology::Neighbor> found;
    // Strings alone: an agent that has no name for a neighbour may say so with another kind of value.
    const auto each = [&found](Rows column, const std::string& base, auto take) {
        for (const auto& [oid, value] : column) {
            const auto key = keyOfRow(oid, base);
            if (!key || !octets(value)) continue;
            auto& neighbor = found[*key];
            neighbor.port = key->localPort;
            take(neighbor, *key, value);
        }
    };
    std::map<NeighborKey, double> subtypes;
    for (const auto& [oid, value] : rows.chassisSubtypes)
        if (const auto key = keyOfRow(oid, OID::remoteSubtype)) subtypes.insert_or_assign(*key, value.number().value_or(0));
    each(rows.names, OID::remoteName, [](auto& neighbor, const auto&, const auto& value) { neighbor.systemName = value.text(); });
    each(rows.ports, OID::remotePort, [](auto& neighbor, const auto&, const auto& value) { neighbor.portID = value.text(); });
    each(rows.chassis, OID::remoteChassis, [&subtypes](auto& neighbor, const auto& key, const auto& value) {
        const auto subtype = subtypes.find(key);
        if (subtype == subtypes.end() || subtype->second != macAddressSubtype) return;
        if (const auto address = addressOf(value)) neighbor.chassisMAC = hardwareAddressText(*address);
    });
    for (const auto& row : rows.management) {
        const auto management = managementOf(row.oid);
        if (!management) continue;
        const auto neighbor = found.find(management->key);
        if (neighbor != found.end() && !neighbor->second.managementIP) neighbor->second.managementIP = management->ip;
    }
    std::vector<SwitchTopology::Neighbor> list;
    list.reserve(found.size());
    for (auto& [key, neighbor] : found) list.push_back(std::move(neighbor));
    return list;
}

}  // namespace netcore::TopologyRows
