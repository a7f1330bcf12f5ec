#include "NetCore/WireFields.hpp"

#include <algorithm>
#include <cstring>

namespace netcore::wire {

namespace {

// In UTF-8 every byte of a character but its first is 10xxxxxx.
bool continues(char byte) { return (static_cast<std::uint8_t>(byte) & 0xC0) == 0x80; }

}  // namespace

void put(MutableBytes field, base::Bytes bytes) { std::copy_n(bytes.begin(), std::min(bytes.size(), field.size()), field.begin()); }

std::string_view beforeZero(base::Bytes field) {
    const auto* text = reinterpret_cast<const char*>(field.data());
    return {text, field.empty() ? 0 : strnlen(text, field.size())};
}

void putText(MutableBytes field, std::string_view text) {
    auto end = std::min(text.size(), field.size() - 1);
    if (end < text.size())
        while (end > 0 && continues(text[end])) --end;
    const auto rest = std::transform(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(end), field.begin(),
                                     [](char character) { return static_cast<std::uint8_t>(character); });
    std::fill(rest, field.end(), std::uint8_t{0});
}

}  // namespace netcore::wire
