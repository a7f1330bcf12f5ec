#include "NetCore/RDMUID.hpp"

#include <fmt/format.h>

#include <charconv>

namespace netcore::RDM {

namespace {

template <class Number>
bool read(std::string_view digits, Number& number) {
    const auto* const end = digits.data() + digits.size();
    const auto [stopped, error] = std::from_chars(digits.data(), end, number, 16);
    return error == std::errc() && stopped == end;
}

}  // namespace

std::string UID::text() const { return fmt::format("{:04X}:{:08X}", manufacturer, device); }

std::optional<UID> UID::parse(std::string_view text) {
    constexpr std::size_t colonAt = 4, length = 13;
    UID uid;
    if (text.size() != length || text[colonAt] != ':' || !read(text.substr(0, colonAt), uid.manufacturer) ||
        !read(text.substr(colonAt + 1), uid.device))
        return std::nullopt;
    return uid;
}

}  // namespace netcore::RDM
