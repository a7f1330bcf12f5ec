#include "NetCore/SNMPValue.hpp"

#include <algorithm>
#include <string_view>

#include "Base/Text.hpp"

namespace netcore {

namespace {

template <class... Functions>
struct Overloaded : Functions... {
    using Functions::operator()...;
};

bool isControl(char character) {
    const auto code = static_cast<unsigned char>(character);
    return code < 0x20 && code != '\t' && code != '\n' && code != '\r';
}

std::string hexPairs(const SNMPValue::String& bytes) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    text.reserve(bytes.size() * 3);
    for (const auto byte : bytes) {
        if (!text.empty()) text += ':';
        text += digits[byte >> 4];
        text += digits[byte & 0xF];
    }
    return text;
}

// Many agents close their texts with a zero, or fill fields of fixed width with zeros.
std::string displayed(const SNMPValue::String& bytes) {
    std::string text;
    text.reserve(bytes.size());
    std::ranges::copy_if(bytes, std::back_inserter(text), [](std::uint8_t byte) { return byte != 0; });
    if (std::ranges::any_of(text, isControl) || base::repairUTF8(text) != text) return hexPairs(bytes);
    return std::string(base::trimmed(text));
}

}  // namespace

std::optional<double> SNMPValue::number() const {
    return std::visit(
        Overloaded{
            [](std::int64_t value) -> std::optional<double> { return static_cast<double>(value); },
            []<class Tag>(const Unsigned<Tag>& value) -> std::optional<double> { return static_cast<double>(value.value); },
            [](const auto&) -> std::optional<double> { return std::nullopt; },
        },
        content_);
}

std::optional<std::uint64_t> SNMPValue::count() const {
    return std::visit(Overloaded{
                          [](std::int64_t value) -> std::optional<std::uint64_t> {
                              return value < 0 ? std::nullopt : std::optional(static_cast<std::uint64_t>(value));
                          },
                          []<class Tag>(const Unsigned<Tag>& value) -> std::optional<std::uint64_t> { return value.value; },
                          [](const auto&) -> std::optional<std::uint64_t> { return std::nullopt; },
                      },
                      content_);
}

std::string SNMPValue::text() const {
    return std::visit(Overloaded{
                          [](std::int64_t value) { return std::to_string(value); },
                          []<class Tag>(const Unsigned<Tag>& value) { return std::to_string(value.value); },
                          [](const String& bytes) { return displayed(bytes); },
                          [](const OID& oid) { return oid.dotted; },
                          [](const IP& ip) { return ip.dotted; },
                          [](const Null&) { return std::string("null"); },
                          [](const NoSuch&) { return std::string("–"); },
                      },
                      content_);
}

std::optional<std::int64_t> SNMPValue::integer() const {
    const auto* value = std::get_if<std::int64_t>(&content_);
    return value == nullptr ? std::nullopt : std::optional(*value);
}

}  // namespace netcore
