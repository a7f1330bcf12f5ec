#pragma once
// IPv4 addresses as numbers in host order: 10.0.0.1 is 0x0A000001.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Pure functions; any thread.
namespace netcore {

/// Absent when the text is no dotted address of four decimal bytes.
std::optional<std::uint32_t> ipToUInt32(std::string_view text);
/// Dotted, the highest byte first.
std::string uint32ToIP(std::uint32_t address);

}  // namespace netcore
