#pragma once
// Numbers and texts at fixed places of a datagram, for codecs that have checked its length once. Pure; any thread.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "Base/ByteReader.hpp"

namespace netcore::wire {

using MutableBytes = std::span<std::uint8_t>;

// Numbers: the caller has made sure that they lie within the bytes.

inline std::uint16_t big16(base::Bytes bytes, std::size_t at) { return static_cast<std::uint16_t>(bytes[at] << 8 | bytes[at + 1]); }
inline std::uint16_t little16(base::Bytes bytes, std::size_t at) {
    return static_cast<std::uint16_t>(bytes[at + 1] << 8 | bytes[at]);
}
inline std::uint32_t big32(base::Bytes bytes, std::size_t at) {
    return static_cast<std::uint32_t>(big16(bytes, at)) << 16 | big16(bytes, at + 2);
}

inline void putBig16(MutableBytes bytes, std::size_t at, std::uint16_t value) {
    bytes[at] = static_cast<std::uint8_t>(value >> 8);
    bytes[at + 1] = static_cast<std::uint8_t>(value);
}
inline void putLittle16(MutableBytes bytes, std::size_t at, std::uint16_t value) {
    bytes[at] = static_cast<std::uint8_t>(value);
    bytes[at + 1] = static_cast<std::uint8_t>(value >> 8);
}
inline void putBig32(MutableBytes bytes, std::size_t at, std::uint32_t value) {
    putBig16(bytes, at, static_cast<std::uint16_t>(value >> 16));
    putBig16(bytes, at + 2, static_cast<std::uint16_t>(value));
}

/// Copies what fits to the front of the field; the rest of the field stays as it is.
void put(MutableBytes field, base::Bytes bytes);

// Texts in fields of fixed width

/// The bytes of the field before its first zero, or all of them. They are foreign: not necessarily UTF-8.
std::string_view beforeZero(base::Bytes field);
/// As much of the text as fits before a closing zero, cut between characters; the rest of the field becomes zero.
void putText(MutableBytes field, std::string_view text);

}  // namespace netcore::wire
