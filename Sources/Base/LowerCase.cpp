#include "Base/LowerCase.hpp"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <cstddef>
#include <cstdint>

namespace base {

namespace {

constexpr std::int32_t firstBroken = 0x110000;  // a broken byte counts as a character of its own behind all others

// The character at the front in lower case; it leaves the text, which is not empty.
std::int32_t takeLower(std::string_view& text) {
    const auto byte = static_cast<unsigned char>(text[0]);
    if (byte < 0x80) {
        text.remove_prefix(1);
        return byte >= 'A' && byte <= 'Z' ? byte - 'A' + 'a' : byte;
    }
    std::size_t length = 0;
    UChar32 character = 0;
    U8_NEXT(text.data(), length, text.size(), character);
    text.remove_prefix(character < 0 ? 1 : length);
    return character < 0 ? firstBroken + byte : u_tolower(character);
}

void append(std::string& text, std::int32_t character) {
    if (character >= firstBroken) {
        text += static_cast<char>(character - firstBroken);
        return;
    }
    char bytes[U8_MAX_LENGTH];
    std::size_t length = 0;
    U8_APPEND_UNSAFE(bytes, length, character);
    text.append(bytes, length);
}

}  // namespace

std::string lowerCase(std::string_view text) {
    std::string lower;
    lower.reserve(text.size());
    while (!text.empty()) append(lower, takeLower(text));
    return lower;
}

bool beginsLower(std::string_view text, std::string_view lower) {
    while (!lower.empty())
        if (text.empty() || takeLower(text) != takeLower(lower)) return false;
    return true;
}

bool equalsLower(std::string_view text, std::string_view lower) {
    while (!text.empty() && !lower.empty())
        if (takeLower(text) != takeLower(lower)) return false;
    return text.empty() && lower.empty();
}

bool containsLower(std::string_view text, std::string_view lower) {
    if (lower.empty()) return true;
    auto rest = lower;
    const auto first = takeLower(rest);
    while (!text.empty())
        if (takeLower(text) == first && beginsLower(text, rest)) return true;
    return false;
}

}  // namespace base
