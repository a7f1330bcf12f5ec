#include "NetCore/PTP.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "Base/Text.hpp"
#include "NetCore/WireFields.hpp"

namespace netcore::PTP {

namespace {

constexpr std::size_t minimumLength = 34;  // the common header of version 2
constexpr std::size_t versionAt = 1;
constexpr std::uint8_t nibble = 0x0F;

// IEEE 1588-2008, 13.3 and 13.5
namespace v2 {
constexpr std::size_t messageTypeAt = 0, domainAt = 4, senderAt = 20, priority1At = 47, clockClassAt = 48, priority2At = 52,
                      grandmasterAt = 53, stepsRemovedAt = 61, announceLength = 64;
constexpr std::size_t identitySize = 8;
constexpr std::uint8_t announce = 11;
}  // namespace v2

// IEEE 1588-2002, 8.2 and 8.3
namespace v1 {
constexpr std::size_t subdomainAt = 4, senderAt = 22, controlAt = 32, grandmasterAt = 54, stratumAt = 67, syncLength = 80;
constexpr std::size_t subdomainSize = 16, identitySize = 6;
constexpr std::uint8_t sync = 0;
}  // namespace v1

std::string identity(base::Bytes bytes) { return fmt::format("{:02x}", fmt::join(bytes, ":")); }

std::optional<Announcement> parseVersion2(base::Bytes packet) {
    if (packet.size() < v2::announceLength || (packet[v2::messageTypeAt] & nibble) != v2::announce) return std::nullopt;
    return Announcement{.version = 2,
                        .domain = fmt::format("Domäne {}", packet[v2::domainAt]),
                        .grandmaster = identity(packet.subspan(v2::grandmasterAt, v2::identitySize)),
                        .sender = identity(packet.subspan(v2::senderAt, v2::identitySize)),
                        .priority1 = packet[v2::priority1At],
                        .priority2 = packet[v2::priority2At],
                        .clockClass = packet[v2::clockClassAt],
                        .stepsRemoved = wire::big16(packet, v2::stepsRemovedAt)};
}

std::optional<Announcement> parseVersion1(base::Bytes packet) {
    if (packet.size() < v1::syncLength || packet[0] != 0 || packet[versionAt] != 1 || packet[v1::controlAt] != v1::sync)
        return std::nullopt;
    const auto subdomain = wire::beforeZero(packet.subspan(v1::subdomainAt, v1::subdomainSize));
    return Announcement{.version = 1,
                        .domain = subdomain.empty() ? "_DFLT" : base::repairUTF8(subdomain),
                        .grandmaster = identity(packet.subspan(v1::grandmasterAt, v1::identitySize)),
                        .sender = identity(packet.subspan(v1::senderAt, v1::identitySize)),
                        .stratum = packet[v1::stratumAt]};
}

}  // namespace

std::optional<Announcement> parse(base::Bytes packet) {
    if (packet.size() < minimumLength) return std::nullopt;
    return (packet[versionAt] & nibble) == 2 ? parseVersion2(packet) : parseVersion1(packet);
}

}  // namespace netcore::PTP
