#pragma once
// Hardware addresses of adapters (IEEE 802, 48 bits) as values and texts. Pure; any thread.

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Base/ByteReader.hpp"

namespace netcore {

using HardwareAddress = std::array<std::uint8_t, 6>;

/// Of exactly six bytes; absent otherwise.
std::optional<HardwareAddress> hardwareAddress(base::Bytes bytes);
/// Six hexadecimal bytes of one or two digits between colons; absent for anything else.
std::optional<HardwareAddress> parseHardwareAddress(std::string_view text);
/// "0A:0B:0C:12:34:56"
std::string hardwareAddressText(const HardwareAddress& address);
/// Whether one computer can have it: not all zero, no group and no broadcast.
bool isHost(const HardwareAddress& address);

}  // namespace netcore
