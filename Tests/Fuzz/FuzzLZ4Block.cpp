// Any block behind any output: it decodes to what a decoder that moves one byte at a time makes of it, or fails where that one
// fails, and leaves what was there before.

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

#include "Base/Require.hpp"
#include "MeterCore/LZ4Block.hpp"

using namespace metercore;

namespace {

using Output = std::vector<std::uint8_t>;

constexpr std::size_t largestOutput = 1 << 20;

// LZ4 Block Format Description, word by word. False when the block is none; nothing when its output is too long to compare.
std::optional<bool> decodeSlowly(base::ByteReader in, Output& out) {
    const auto extended = [&](std::size_t length) -> std::optional<std::size_t> {
        if (length != 15) return length;
        for (;;) {
            const auto byte = in.u8();
            if (!byte) return std::nullopt;
            length += *byte;
            if (*byte != 255) return length;
        }
    };
    for (;;) {
        const auto token = in.u8();
        if (!token) return false;
        const auto literals = extended(*token >> 4);
        if (!literals || *literals > in.remaining()) return false;
        const auto bytes = *in.take(*literals);
        out.insert(out.end(), bytes.begin(), bytes.end());
        if (in.remaining() == 0) return true;
        const auto low = in.u8(), high = in.u8();
        if (!low || !high) return false;
        const std::size_t offset = *low | *high << 8;
        if (offset == 0 || offset > out.size()) return false;
        const auto length = extended(*token & 15);
        if (!length) return false;
        if (out.size() + *length + 4 > largestOutput) return std::nullopt;
        for (std::size_t i = 0; i < *length + 4; ++i) out.push_back(out[out.size() - offset]);
    }
}

void fill(LZ4Block::Buffer& buffer, base::Bytes bytes) {
    KESTRELYNE_REQUIRE(buffer.makeRoom(bytes.size()), "within the limit");
    std::copy(bytes.begin(), bytes.end(), buffer.end());
    buffer.advance(bytes.size());
}

}  // namespace

// The first byte says how many of the bytes are output from before.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const base::Bytes bytes(data + 1, size - 1);
    const auto before = bytes.first(std::min<std::size_t>(data[0], bytes.size()));
    const auto block = bytes.subspan(before.size());

    Output expected(before.begin(), before.end());
    const auto read = decodeSlowly(base::ByteReader(block), expected);
    if (!read) return 0;
    for (const std::size_t capacity : {std::size_t{0}, expected.size(), expected.size() + 100}) {
        LZ4Block::Buffer buffer(capacity, expected.size() + 100);
        fill(buffer, before);
        KESTRELYNE_REQUIRE(LZ4Block::decodeBlock(block, buffer) == *read, "both decoders agree whether it is a block");
        if (!*read) expected.resize(before.size());
        KESTRELYNE_REQUIRE(std::ranges::equal(buffer.bytes(), expected), "both decoders agree what it holds");
    }
    if (*read && expected.size() > before.size()) {
        LZ4Block::Buffer narrow(0, expected.size() - 1);
        fill(narrow, before);
        KESTRELYNE_REQUIRE(!LZ4Block::decodeBlock(block, narrow) && narrow.count() == before.size(), "a limit is a limit");
    }
    return 0;
}
