#pragma once
// Datagrams written as what stands where; all else is zero.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <vector>

#include "Base/ByteReader.hpp"

namespace netcore::vectors {

using Bytes = std::vector<std::uint8_t>;

struct Piece {
    Piece(std::size_t offset, std::initializer_list<std::uint8_t> content) : at(offset), bytes(content) {}
    Piece(std::size_t offset, std::string_view text) : at(offset), bytes(text.begin(), text.end()) {}
    Piece(std::size_t offset, std::size_t count, std::uint8_t value) : at(offset), bytes(count, value) {}

    std::size_t at;
    Bytes bytes;
};

inline Bytes with(Bytes packet, std::initializer_list<Piece> pieces) {
    for (const auto& piece : pieces) {
        packet.resize(std::max(packet.size(), piece.at + piece.bytes.size()));
        std::copy(piece.bytes.begin(), piece.bytes.end(), packet.begin() + static_cast<std::ptrdiff_t>(piece.at));
    }
    return packet;
}

inline Bytes packetOf(std::size_t size, std::initializer_list<Piece> pieces) { return with(Bytes(size), pieces); }

/// The first bytes of a packet, in memory of exactly that size.
inline Bytes cut(const Bytes& packet, std::size_t size) {
    return {packet.begin(), packet.begin() + static_cast<std::ptrdiff_t>(size)};
}

/// 0, 1, 2 … from the first value on, wrapping.
inline Bytes ramp(std::size_t count, std::uint8_t first) {
    Bytes bytes(count);
    for (auto& byte : bytes) byte = first++;
    return bytes;
}

template <class Container>
Bytes copyOf(const Container& bytes) {
    return {bytes.begin(), bytes.end()};
}

}  // namespace netcore::vectors
