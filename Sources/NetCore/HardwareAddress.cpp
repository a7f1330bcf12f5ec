#include "NetCore/HardwareAddress.hpp"

#include <fmt/ranges.h>

#include <algorithm>
#include <charconv>

#include "Base/Text.hpp"

namespace netcore {

namespace {
// IEEE 802-2014, 8.2.2: the I/G bit, first on the wire.
constexpr std::uint8_t groupBit = 1;
}  // namespace

std::optional<HardwareAddress> hardwareAddress(base::Bytes bytes) {
    HardwareAddress address;
    if (bytes.size() != address.size()) return std::nullopt;
    std::ranges::copy(bytes, address.begin());
    return address;
}

std::optional<HardwareAddress> parseHardwareAddress(std::string_view text) {
    HardwareAddress address;
    const auto pieces = base::split(text, ':', true);
    if (pieces.size() != address.size()) return std::nullopt;
    for (std::size_t i = 0; i < address.size(); ++i) {
        const auto* end = pieces[i].data() + pieces[i].size();
        const auto [stopped, error] = std::from_chars(pieces[i].data(), end, address[i], 16);
        if (error != std::errc() || stopped != end || pieces[i].size() > 2) return std::nullopt;
    }
    return address;
}

std::string hardwareAddressText(const HardwareAddress& address) { return fmt::format("{:02X}", fmt::join(address, ":")); }

bool isHost(const HardwareAddress& address) {
    return (address[0] & groupBit) == 0 && std::ranges::any_of(address, [](std::uint8_t byte) { return byte != 0; });
}

}  // namespace netcore
