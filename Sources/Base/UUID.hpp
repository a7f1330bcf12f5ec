#pragma once
// Identifiers (RFC 4122), printed in upper case.

#include <array>
#include <compare>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace base {

class UUID {
public:
    /// All zero.
    UUID() = default;
    /// A fresh one (version 4) from the system's random source.
    static UUID random();
    /// Reads the text form, 8-4-4-4-12 digits of either case; absent for anything else.
    static std::optional<UUID> parse(std::string_view text);
    /// "E621E1F8-C36C-495A-93FC-0C247A3E6E5F".
    std::string text() const;

    auto operator<=>(const UUID&) const = default;

private:
    std::array<std::uint8_t, 16> bytes_{};
    friend struct std::hash<UUID>;
};

/// `count` bytes from the system's random source, fit for secrets; ends the process when there is none.
std::string randomBytes(std::size_t count);

}  // namespace base

template <>
struct std::hash<base::UUID> {
    std::size_t operator()(const base::UUID& id) const noexcept {
        std::size_t value = 0;
        for (const auto byte : id.bytes_) value = value * 131 + byte;
        return value;
    }
};
