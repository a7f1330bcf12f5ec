#pragma once
// The unique identifier of a device in Remote Device Management (ANSI E1.20, 5.1).

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace netcore::RDM {

struct UID {
    std::uint16_t manufacturer = 0;
    std::uint32_t device = 0;

    /// "MMMM:DDDDDDDD" in upper-case hexadecimal digits.
    std::string text() const;
    /// Reads that text, with lower-case digits too; absent for any other.
    static std::optional<UID> parse(std::string_view text);
    auto operator<=>(const UID&) const = default;
};

}  // namespace netcore::RDM

template <>
struct std::hash<netcore::RDM::UID> {
    std::size_t operator()(const netcore::RDM::UID& uid) const noexcept {
        return std::hash<std::uint64_t>()(std::uint64_t{uid.manufacturer} << 32 | uid.device);
    }
};
