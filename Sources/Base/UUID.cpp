#include "Base/UUID.hpp"

#include <sys/random.h>

#include <algorithm>
#include <cerrno>

#include "Base/Require.hpp"

namespace base {

namespace {

constexpr std::size_t textLength = 36;
constexpr std::size_t versionAt = 6, variantAt = 8;  // bytes, RFC 4122, 4.1.2

// A hyphen stands before these bytes.
constexpr bool hyphenBefore(std::size_t byte) { return byte == 4 || byte == 6 || byte == 8 || byte == 10; }

int digitValue(char digit) {
    if (digit >= '0' && digit <= '9') return digit - '0';
    if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
    if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
    return -1;
}

}  // namespace

UUID UUID::random() {
    UUID id;
    const auto bytes = randomBytes(id.bytes_.size());
    std::ranges::transform(bytes, id.bytes_.begin(), [](char byte) { return static_cast<std::uint8_t>(byte); });
    id.bytes_[versionAt] = static_cast<std::uint8_t>((id.bytes_[versionAt] & 0x0F) | 0x40);
    id.bytes_[variantAt] = static_cast<std::uint8_t>((id.bytes_[variantAt] & 0x3F) | 0x80);
    return id;
}

std::optional<UUID> UUID::parse(std::string_view text) {
    if (text.size() != textLength) return std::nullopt;
    UUID id;
    std::size_t at = 0;
    for (std::size_t i = 0; i < id.bytes_.size(); ++i) {
        if (hyphenBefore(i) && text[at++] != '-') return std::nullopt;
        const int high = digitValue(text[at]), low = digitValue(text[at + 1]);
        if (high < 0 || low < 0) return std::nullopt;
        id.bytes_[i] = static_cast<std::uint8_t>(high << 4 | low);
        at += 2;
    }
    return id;
}

std::string UUID::text() const {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    text.reserve(textLength);
    for (std::size_t i = 0; i < bytes_.size(); ++i) {
        if (hyphenBefore(i)) text += '-';
        text += digits[bytes_[i] >> 4];
        text += digits[bytes_[i] & 0xF];
    }
    return text;
}

std::string randomBytes(std::size_t count) {
    std::string bytes(count, '\0');
    std::size_t have = 0;
    while (have < count) {
        const auto got = getrandom(bytes.data() + have, count - have, 0);
        if (got < 0 && errno == EINTR) continue;
        KESTRELYNE_REQUIRE(got > 0, "the system has no random source");
        have += static_cast<std::size_t>(got);
    }
    return bytes;
}

}  // namespace base
