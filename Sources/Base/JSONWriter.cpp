#include "Base/JSONWriter.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <utility>

#include "Base/Text.hpp"

namespace base {

namespace {

constexpr std::size_t longestNumber = 32;  // of the shortest form of a double

bool isControl(char character) { return static_cast<unsigned char>(character) < 0x20; }
bool isASCII(char character) { return static_cast<unsigned char>(character) < 0x80; }
bool needsEscape(char character) { return character == '"' || character == '\\' || isControl(character); }

}  // namespace

JSONWriter& JSONWriter::key(std::string_view name) {
    separate();
    text_.append(1, '"').append(name).append("\":");
    needsComma_ = false;
    return *this;
}

JSONWriter& JSONWriter::textKey(std::string_view name) {
    text(name);
    text_ += ':';
    needsComma_ = false;
    return *this;
}

void JSONWriter::text(std::string_view value) {
    if (std::ranges::all_of(value, isASCII))
        quoted(value);
    else
        quoted(repairUTF8(value));
}

void JSONWriter::quoted(std::string_view valid) {
    separate();
    text_ += '"';
    while (!valid.empty()) {
        const auto plain = static_cast<std::size_t>(std::ranges::find_if(valid, needsEscape) - valid.begin());
        text_.append(valid.substr(0, plain));
        if (plain == valid.size()) break;
        const char character = valid[plain];
        if (isControl(character)) {
            constexpr std::string_view digits = "0123456789abcdef";
            text_.append("\\u00").append(1, digits[static_cast<std::size_t>(character >> 4)]).append(1, digits[character & 0x0F]);
        } else {
            text_.append(1, '\\').append(1, character);
        }
        valid.remove_prefix(plain + 1);
    }
    text_ += '"';
}

void JSONWriter::number(std::optional<double> value) {
    if (!value || !std::isfinite(*value)) return null();
    std::array<char, longestNumber> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), *value).ptr;
    word({digits.data(), end});
}

void JSONWriter::integer(std::int64_t value) {
    std::array<char, longestNumber> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    word({digits.data(), end});
}

void JSONWriter::boolean(bool value) { word(value ? "true" : "false"); }

void JSONWriter::null() { word("null"); }

std::string JSONWriter::take() {
    needsComma_ = false;
    return std::exchange(text_, {});
}

void JSONWriter::separate() {
    if (needsComma_) text_ += ',';
    needsComma_ = true;
}

void JSONWriter::begin(char bracket) {
    separate();
    text_ += bracket;
    needsComma_ = false;
}

void JSONWriter::end(char bracket) {
    text_ += bracket;
    needsComma_ = true;
}

void JSONWriter::word(std::string_view value) {
    separate();
    text_ += value;
}

}  // namespace base
