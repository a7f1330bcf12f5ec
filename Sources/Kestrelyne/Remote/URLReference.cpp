#include "Kestrelyne/Remote/URLReference.hpp"

#include <algorithm>

#include "Base/Text.hpp"

namespace kestrelyne {

namespace {

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isSchemeCharacter(char c) { return isLetter(c) || (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.'; }

// RFC 3986, 3.1.
bool isScheme(std::string_view text) { return !text.empty() && isLetter(text[0]) && std::ranges::all_of(text, isSchemeCharacter); }

std::optional<std::string> decoded(std::string_view text) {
    if (text.find('%') == std::string_view::npos) return std::string(text);
    auto result = base::percentDecoded(text);
    if (result && base::repairUTF8(*result) != *result) return std::nullopt;
    return result;
}

// RFC 3986, 3.2: [user "@"] host [":" port]; an IPv6 host stands in brackets.
std::string hostOf(std::string_view authority) {
    if (const auto at = authority.rfind('@'); at != std::string_view::npos) authority.remove_prefix(at + 1);
    if (authority.starts_with('[')) {
        const auto end = authority.find(']');
        return end == std::string_view::npos ? std::string() : base::lowerASCII(authority.substr(1, end - 1));
    }
    return base::lowerASCII(authority.substr(0, authority.find(':')));
}

}  // namespace

std::optional<URLReference> parseURLReference(std::string_view text) {
    URLReference result;
    text = text.substr(0, text.find('#'));

    const auto question = text.find('?');
    const auto query = question == std::string_view::npos ? std::string_view() : text.substr(question + 1);
    text = text.substr(0, question);

    if (const auto colon = text.find(':'); colon < text.find('/')) {
        if (!isScheme(text.substr(0, colon))) return std::nullopt;
        text.remove_prefix(colon + 1);
    }
    if (text.starts_with("//")) {
        text.remove_prefix(2);
        const auto end = std::min(text.find('/'), text.size());
        result.host = hostOf(text.substr(0, end));
        text.remove_prefix(end);
    }

    auto path = decoded(text);
    if (!path) return std::nullopt;
    result.path = std::move(*path);

    for (const auto item : base::split(query, '&', false)) {
        const auto equals = item.find('=');
        auto name = decoded(item.substr(0, equals));
        auto value = decoded(equals == std::string_view::npos ? std::string_view() : item.substr(equals + 1));
        if (!name || !value) return std::nullopt;
        result.query.insert_or_assign(std::move(*name), std::move(*value));
    }
    return result;
}

}  // namespace kestrelyne
