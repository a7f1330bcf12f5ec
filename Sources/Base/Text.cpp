#include "Base/Text.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

namespace base {

namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";  // U+FFFD
constexpr std::string_view asciiWhiteSpace = " \t\n\v\f\r";

struct Sequence {
    std::size_t length;  // bytes it takes
    bool valid;
};

constexpr bool inside(std::uint8_t byte, std::uint8_t least, std::uint8_t most) { return byte >= least && byte <= most; }

// The well-formed sequence or the longest broken one at the front (The Unicode Standard 15, table 3-7 and "U+FFFD Substitution of
// Maximal Subparts").
Sequence sequenceAt(std::string_view bytes) {
    const auto first = static_cast<std::uint8_t>(bytes[0]);
    if (first < 0x80) return {1, true};
    std::size_t more = 0;
    std::uint8_t least = 0x80, most = 0xBF;  // what the second byte may be
    if (inside(first, 0xC2, 0xDF)) {
        more = 1;
    } else if (inside(first, 0xE0, 0xEF)) {
        more = 2;
        if (first == 0xE0) least = 0xA0;
        if (first == 0xED) most = 0x9F;
    } else if (inside(first, 0xF0, 0xF4)) {
        more = 3;
        if (first == 0xF0) least = 0x90;
        if (first == 0xF4) most = 0x8F;
    } else {
        return {1, false};
    }
    for (std::size_t i = 1; i <= more; ++i) {
        if (i >= bytes.size() || !inside(static_cast<std::uint8_t>(bytes[i]), least, most)) return {i, false};
        least = 0x80;
        most = 0xBF;
    }
    return {more + 1, true};
}

// What moves a cursor, starts an escape sequence or turns the direction of writing: as the bytes of one valid sequence.
bool isHarmful(std::string_view sequence) {
    const auto byte = [&](std::size_t at) { return static_cast<std::uint8_t>(sequence[at]); };
    if (sequence.size() == 1) return byte(0) < 0x20 || byte(0) == 0x7F;
    if (sequence.size() == 2) return byte(0) == 0xC2 && byte(1) < 0xA0;  // U+0080 … U+009F
    if (sequence.size() != 3 || byte(0) != 0xE2) return false;
    return (byte(1) == 0x80 && inside(byte(2), 0xA8, 0xAE)) ||  // U+2028 … U+202E
           (byte(1) == 0x81 && inside(byte(2), 0xA6, 0xA9));    // U+2066 … U+2069
}

std::optional<std::uint8_t> hexDigit(char digit) {
    if (digit >= '0' && digit <= '9') return static_cast<std::uint8_t>(digit - '0');
    if (digit >= 'a' && digit <= 'f') return static_cast<std::uint8_t>(digit - 'a' + 10);
    if (digit >= 'A' && digit <= 'F') return static_cast<std::uint8_t>(digit - 'A' + 10);
    return std::nullopt;
}

constexpr bool isDigit(char character) { return character >= '0' && character <= '9'; }

constexpr std::uint8_t lowerByte(char character) {
    return static_cast<std::uint8_t>(character >= 'A' && character <= 'Z' ? character - 'A' + 'a' : character);
}

// The digits at the front, without leading zeros; the text goes on behind them.
std::string_view takeDigits(std::string_view& text) {
    std::size_t end = 0;
    while (end < text.size() && isDigit(text[end])) ++end;
    auto digits = text.substr(0, end);
    text.remove_prefix(end);
    digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size()));
    return digits;
}

// from_chars knows no plus sign.
std::string_view withoutPlus(std::string_view text) {
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
    return text;
}

template <class Number>
std::optional<Number> parseWhole(std::string_view text) {
    const auto digits = withoutPlus(text);
    Number value{};
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
    return value;
}

}  // namespace

std::string repairUTF8(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        const auto sequence = sequenceAt(bytes);
        text += sequence.valid ? bytes.substr(0, sequence.length) : replacement;
        bytes.remove_prefix(sequence.length);
    }
    return text;
}

std::string printable(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        const auto [length, valid] = sequenceAt(bytes);
        const auto sequence = bytes.substr(0, length);
        text += valid && !isHarmful(sequence) ? sequence : replacement;
        bytes.remove_prefix(length);
    }
    return text;
}

std::string firstCharacters(std::string_view text, std::size_t count) {
    std::size_t end = 0;
    while (end < text.size() && count > 0) {
        end += sequenceAt(text.substr(end)).length;
        --count;
    }
    return std::string(text.substr(0, end));
}

std::string_view trimmed(std::string_view text) { return trimmedOf(text, asciiWhiteSpace); }

std::string_view trimmedBlanks(std::string_view text) { return trimmedOf(text, " \t"); }

std::string_view trimmedOf(std::string_view text, std::string_view characters) {
    const auto first = text.find_first_not_of(characters);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(characters) - first + 1);
}

std::string lowerASCII(std::string_view text) {
    std::string lower(text);
    for (auto& character : lower)
        if (character >= 'A' && character <= 'Z') character = static_cast<char>(character - 'A' + 'a');
    return lower;
}

bool naturalLess(std::string_view left, std::string_view right) {
    auto restOfLeft = left, restOfRight = right;
    while (!restOfLeft.empty() && !restOfRight.empty()) {
        if (isDigit(restOfLeft[0]) && isDigit(restOfRight[0])) {
            const auto a = takeDigits(restOfLeft), b = takeDigits(restOfRight);
            if (a.size() != b.size()) return a.size() < b.size();
            if (a != b) return a < b;
            continue;
        }
        const auto a = lowerByte(restOfLeft[0]), b = lowerByte(restOfRight[0]);
        if (a != b) return a < b;
        restOfLeft.remove_prefix(1);
        restOfRight.remove_prefix(1);
    }
    if (restOfLeft.empty() != restOfRight.empty()) return restOfLeft.empty();
    return left < right;
}

std::vector<std::string_view> split(std::string_view text, char separator, bool keepEmpty) {
    std::vector<std::string_view> pieces;
    for (;;) {
        const auto end = text.find(separator);
        const auto piece = text.substr(0, end);
        if (keepEmpty || !piece.empty()) pieces.push_back(piece);
        if (end == std::string_view::npos) return pieces;
        text.remove_prefix(end + 1);
    }
}

std::optional<long long> parseInteger(std::string_view text) { return parseWhole<long long>(text); }

std::optional<double> parseDouble(std::string_view text) {
    const auto value = parseWhole<double>(text);
    if (!value || !std::isfinite(*value)) return std::nullopt;
    return value;
}

std::string hex(std::span<const std::uint8_t> bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const auto byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 0xF];
    }
    return text;
}

std::optional<std::string> percentDecoded(std::string_view text) {
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            decoded += text[i];
            continue;
        }
        if (i + 2 >= text.size()) return std::nullopt;
        const auto high = hexDigit(text[i + 1]), low = hexDigit(text[i + 2]);
        if (!high || !low) return std::nullopt;
        decoded += static_cast<char>(*high << 4 | *low);
        i += 2;
    }
    return decoded;
}

bool equalInConstantTime(std::string_view secret, std::string_view given) {
    if (secret.empty()) return given.empty();
    // Volatile, so that the compiler cannot leave the loop at the first difference.
    volatile unsigned difference = secret.size() == given.size() ? 0 : 1;
    for (std::size_t i = 0; i < given.size(); ++i)
        difference = difference | static_cast<unsigned>(static_cast<std::uint8_t>(given[i]) ^
                                                        static_cast<std::uint8_t>(secret[i % secret.size()]));
    return difference == 0;
}

std::string errnoText(int number) {
    char buffer[128] = {};
    return strerror_r(number, buffer, sizeof buffer);
}

}  // namespace base
