#include "MeterCore/RegisterDecoder.hpp"

#include <array>
#include <utility>

#include "Base/Require.hpp"

namespace metercore {

namespace {

constexpr std::array<std::pair<WordOrder, std::string_view>, 2> orderTexts = {{
    {WordOrder::bigEndian, "ABCD (Big Endian)"},
    {WordOrder::wordSwapped, "CDAB (Word-Swap)"},
}};

struct TypeRow {
    RegisterDataType type;
    std::string_view text;
    int width;  // registers
};
constexpr std::array<TypeRow, 8> typeRows = {{
    {RegisterDataType::float32, "Float 32", 2},
    {RegisterDataType::float64, "Float 64", 4},
    {RegisterDataType::int16, "Int 16", 1},
    {RegisterDataType::uint16, "UInt 16", 1},
    {RegisterDataType::int32, "Int 32", 2},
    {RegisterDataType::uint32, "UInt 32", 2},
    {RegisterDataType::int64, "Int 64", 4},
    {RegisterDataType::uint64, "UInt 64", 4},
}};

const TypeRow& row(RegisterDataType type) { return typeRows[static_cast<std::size_t>(type)]; }

}  // namespace

std::string_view text(WordOrder order) { return orderTexts[static_cast<std::size_t>(order)].second; }
std::string_view text(RegisterDataType type) { return row(type).text; }
int registerWidth(RegisterDataType type) { return row(type).width; }

std::optional<WordOrder> wordOrder(std::string_view text) {
    for (const auto& [order, name] : orderTexts)
        if (name == text) return order;
    return std::nullopt;
}

std::optional<RegisterDataType> registerDataType(std::string_view text) {
    for (const auto& candidate : typeRows)
        if (candidate.text == text) return candidate.type;
    return std::nullopt;
}

double RegisterDecoder::decode(std::span<const std::uint16_t> words, RegisterDataType type, WordOrder order) {
    KESTRELYNE_REQUIRE(words.size() <= static_cast<std::size_t>(registerWidth(type)), "more words than the type holds");
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < words.size(); ++i)
        number = number << 16 | words[order == WordOrder::wordSwapped ? words.size() - 1 - i : i];
    switch (type) {
        case RegisterDataType::float32: return std::bit_cast<float>(static_cast<std::uint32_t>(number));
        case RegisterDataType::float64: return std::bit_cast<double>(number);
        case RegisterDataType::int16: return static_cast<std::int16_t>(number);
        case RegisterDataType::int32: return static_cast<std::int32_t>(number);
        case RegisterDataType::int64: return static_cast<double>(static_cast<std::int64_t>(number));
        case RegisterDataType::uint16:
        case RegisterDataType::uint32:
        case RegisterDataType::uint64: return static_cast<double>(number);
    }
    return 0;
}

}  // namespace metercore
