#include "NetCore/IPv4.hpp"

namespace netcore {

std::optional<std::uint32_t> ipToUInt32(std::string_view text) {
    std::uint32_t address = 0;
    std::size_t at = 0;
    for (int part = 0; part < 4; ++part) {
        if (part > 0) {
            if (at == text.size() || text[at] != '.') return std::nullopt;
            ++at;
        }
        const auto first = at;
        std::uint32_t value = 0;
        while (at < text.size() && at - first < 3 && text[at] >= '0' && text[at] <= '9')
            value = value * 10 + static_cast<std::uint32_t>(text[at++] - '0');
        // A leading zero means octal to some and nothing to others.
        if (at == first || value > 255 || (at - first > 1 && text[first] == '0')) return std::nullopt;
        address = address << 8 | value;
    }
    if (at != text.size()) return std::nullopt;
    return address;
}

std::string uint32ToIP(std::uint32_t address) {
    std::string text;
    text.reserve(15);
    for (int shift = 24; shift >= 0; shift -= 8) {
        text += std::to_string(address >> shift & 0xFF);
        if (shift > 0) text += '.';
    }
    return text;
}

}  // namespace netcore
