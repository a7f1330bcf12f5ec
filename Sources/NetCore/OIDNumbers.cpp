#include "NetCore/OIDNumbers.hpp"

#include <charconv>

#include "Base/Text.hpp"

namespace netcore {

std::optional<OIDNumbers> oidNumbers(std::string_view dotted) {
    OIDNumbers numbers;
    if (dotted.empty()) return numbers;
    for (const auto piece : base::split(dotted, '.', true)) {
        std::uint32_t number = 0;
        const auto [end, error] = std::from_chars(piece.data(), piece.data() + piece.size(), number);
        if (error != std::errc() || end != piece.data() + piece.size() || numbers.size() == mostOIDNumbers) return std::nullopt;
        numbers.push_back(number);
    }
    return numbers;
}

std::optional<OIDNumbers> oidIndex(std::string_view oid, std::string_view base) {
    if (!oid.starts_with(base)) return std::nullopt;
    oid.remove_prefix(base.size());
    if (oid.size() < 2 || oid.front() != '.') return std::nullopt;
    return oidNumbers(oid.substr(1));
}

}  // namespace netcore
