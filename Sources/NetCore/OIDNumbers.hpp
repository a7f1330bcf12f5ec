#pragma once
// Object identifiers as numbers (RFC 2578, 3.5), for comparing them and for the indices at their ends. Pure; any thread.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace netcore {

/// In the order of an agent's table when compared: number by number, a beginning before what it begins.
using OIDNumbers = std::vector<std::uint32_t>;
inline constexpr std::size_t mostOIDNumbers = 128;

/// Of dotted text; absent when a piece is no number of 32 bits, or there are too many. No text is no numbers.
std::optional<OIDNumbers> oidNumbers(std::string_view dotted);
/// What stands behind `base` and a dot; absent when the OID is not below `base` or a piece behind it is no number of 32 bits.
std::optional<OIDNumbers> oidIndex(std::string_view oid, std::string_view base);

}  // namespace netcore
