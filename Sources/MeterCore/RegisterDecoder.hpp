#pragma once
// From Modbus register words to numbers.

#include <bit>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace metercore {

/// Which word of a longer value comes first. The bytes inside a register always have the higher first (Modbus Application Protocol
/// V1.1b3, 4.2).
enum class WordOrder { bigEndian, wordSwapped };

enum class RegisterDataType { float32, float64, int16, uint16, int32, uint32, int64, uint64 };

/// The caption, which is also the stored form.
std::string_view text(WordOrder order);
std::string_view text(RegisterDataType type);
/// Absent when the text names none.
std::optional<WordOrder> wordOrder(std::string_view text);
std::optional<RegisterDataType> registerDataType(std::string_view text);

/// How many 16-bit registers a value takes: 1, 2 or 4.
int registerWidth(RegisterDataType type);

/// Pure; any thread.
namespace RegisterDecoder {

/// The IEEE 754 single whose upper half is `high`. NaN and infinity pass unchanged.
inline double float32(std::uint16_t high, std::uint16_t low) {
    return std::bit_cast<float>(static_cast<std::uint32_t>(high) << 16 | low);
}

/// The number that the words form, in the order in which the meter delivered them. The caller passes `registerWidth(type)` words;
/// more are a programming error.
double decode(std::span<const std::uint16_t> words, RegisterDataType type, WordOrder order);

}  // namespace RegisterDecoder
}  // namespace metercore
