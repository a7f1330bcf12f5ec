#pragma once
// Show files as the reader expects them: records, blocks, the file around them.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace support {

using ByteVector = std::vector<std::uint8_t>;

template <class Number>
void putLittleEndian(ByteVector& bytes, std::size_t at, Number value, std::size_t size = sizeof(Number)) {
    for (std::size_t i = 0; i < size; ++i) bytes.at(at + i) = static_cast<std::uint8_t>(value >> 8 * i);
}
inline void append(ByteVector& to, const ByteVector& bytes) { to.insert(to.end(), bytes.begin(), bytes.end()); }
inline ByteVector bytesOf(std::string_view text) { return {text.begin(), text.end()}; }

/// One object of a show; everything that is not set is zero.
struct MA3Record {
    std::uint32_t id = 0;
    std::string name{};
    std::uint32_t patch = 0;  // (universe − 1) · 512 + address − 1
    std::uint32_t typeRef = 0;
    std::uint64_t stamp = 1700000000000;
    std::size_t stampAt = 13, nameAt = 45;   // from the class name's length
    std::size_t idOffset = 180, tail = 400;  // from the name's end
    std::string className = "Fixture";

    ByteVector bytes() const {
        const auto nameEnd = nameAt + 2 + name.size();
        ByteVector record(nameEnd + tail);
        putLittleEndian(record, 0, static_cast<std::uint16_t>(className.size()));
        std::copy(className.begin(), className.end(), record.begin() + 2);
        putLittleEndian(record, stampAt, stamp);
        putLittleEndian(record, nameAt, static_cast<std::uint16_t>(name.size()));
        std::copy(name.begin(), name.end(), record.begin() + static_cast<std::ptrdiff_t>(nameAt + 2));
        putLittleEndian(record, nameEnd + idOffset - 56, patch, 3);
        putLittleEndian(record, nameEnd + idOffset - 52, typeRef);
        putLittleEndian(record, nameEnd + idOffset, id);
        return record;
    }
};

inline constexpr std::uint32_t ma3Patch(std::uint32_t universe, std::uint32_t address) {
    return (universe - 1) << 9 | (address - 1);
}

inline ByteVector plainShow(const std::vector<MA3Record>& records) {
    ByteVector plain(100, 0x20);
    for (const auto& record : records) append(plain, record.bytes());
    return plain;
}

/// An LZ4 block of literals alone.
inline ByteVector storedBlock(const ByteVector& plain) {
    ByteVector block;
    if (plain.size() < 15) {
        block.push_back(static_cast<std::uint8_t>(plain.size() << 4));
    } else {
        block.push_back(0xF0);
        auto rest = plain.size() - 15;
        for (; rest >= 255; rest -= 255) block.push_back(255);
        block.push_back(static_cast<std::uint8_t>(rest));
    }
    append(block, plain);
    return block;
}

/// The file of these blocks: "GMA3", `lead`, the head of the first block, and the others with their lengths.
inline ByteVector ma3File(const std::vector<ByteVector>& blocks, const ByteVector& lead = ByteVector(20)) {
    auto file = bytesOf("GMA3");
    append(file, lead);
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        const auto length = static_cast<std::uint16_t>(blocks[i].size());
        const auto at = file.size();
        if (i == 0) {
            file.resize(at + 10);
            putLittleEndian(file, at + 4, length);
            putLittleEndian(file, at + 8, length);
        } else {
            file.resize(at + 2);
            putLittleEndian(file, at, length);
        }
        append(file, blocks[i]);
    }
    return file;
}

/// Plain bytes in blocks of 32768, the last with what is left.
inline std::vector<ByteVector> pieces(const ByteVector& plain, std::size_t size = 32768) {
    std::vector<ByteVector> result;
    for (std::size_t at = 0; at < plain.size(); at += size)
        result.emplace_back(plain.begin() + static_cast<std::ptrdiff_t>(at),
                            plain.begin() + static_cast<std::ptrdiff_t>(std::min(at + size, plain.size())));
    return result;
}

/// A show file that needs no compressor.
inline ByteVector storedShow(const ByteVector& plain) {
    std::vector<ByteVector> blocks;
    for (const auto& piece : pieces(plain)) blocks.push_back(storedBlock(piece));
    return ma3File(blocks);
}

}  // namespace support
