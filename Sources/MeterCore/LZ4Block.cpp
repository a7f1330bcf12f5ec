#include "MeterCore/LZ4Block.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <utility>

#include "Base/Require.hpp"

namespace metercore::LZ4Block {

namespace {

constexpr std::size_t piece = 16;           // bytes that one copy moves
constexpr std::size_t shortestMatch = 4;    // the length 0 of a copy
constexpr std::size_t extendedLength = 15;  // this length goes on in further bytes
constexpr std::size_t offsetSize = 2;
constexpr std::size_t shortMatch = extendedLength - 1 + shortestMatch;  // the longest copy whose length needs no further byte
static_assert(piece >= extendedLength - 1 && 2 * piece >= shortMatch && Buffer::slack >= 2 * piece);

void copyPiece(std::uint8_t* to, const std::uint8_t* from) {
    std::array<std::uint8_t, piece> bytes;
    std::memcpy(bytes.data(), from, piece);
    std::memcpy(to, bytes.data(), piece);
}

// Whole pieces, up to a piece less one byte beyond the end on both sides; `to` is at least a piece ahead of `from`, or in other
// memory.
void copyPieces(std::uint8_t* to, const std::uint8_t* from, std::size_t length) {
    const auto* const end = to + length;
    for (; to < end; to += piece, from += piece) copyPiece(to, from);
}

// Copies of a source that the copy itself goes on: the pattern between the two is laid down twice as long each time, until it is as
// long as a piece. What a piece writes behind the pattern is overwritten by the next, or lies behind the end.
void copyMatch(std::uint8_t* to, std::size_t offset, std::size_t length) {
    const auto* const from = to - offset;
    const auto* const end = to + length;
    for (auto distance = offset; distance < piece && to < end; distance *= 2) {
        copyPiece(to, from);
        to += distance;
    }
    const auto distance = static_cast<std::size_t>(to - from);
    if (to < end) copyPieces(to, to - distance, static_cast<std::size_t>(end - to));
}

// Where the decoder stands in the block.
struct Input {
    const std::uint8_t* at;
    const std::uint8_t* const end;

    std::size_t left() const { return static_cast<std::size_t>(end - at); }
    std::size_t offset() {
        const auto value = static_cast<std::size_t>(at[0] | at[1] << 8);
        at += offsetSize;
        return value;
    }
    // The rest of a length: bytes that add up, the last of them below 255. False when the block ends before it.
    bool extend(std::size_t& length) {
        for (;;) {
            if (at == end) return false;
            const auto byte = *at++;
            length += byte;
            if (byte != 255) return true;
        }
    }
};

Outcome decodeSequences(Input& in, const std::uint8_t* const begin, std::uint8_t*& out, std::uint8_t* const end) {
    const auto room = [&] { return static_cast<std::size_t>(end - out); };
    // An offset of 0 wraps to one beyond everything.
    const auto reaches = [&](std::size_t offset) { return offset - 1 < static_cast<std::size_t>(out - begin); };
    for (;;) {
        if (in.at == in.end) return Outcome::broken;
        const auto token = *in.at++;
        std::size_t literals = token >> 4, match = token & 0x0F;

        // Far from both ends short literals and short copies, the most of all, go in one or two pieces without a look at their
        // length.
        if (literals < extendedLength && in.left() >= piece + offsetSize && room() >= piece) {
            copyPiece(out, in.at);
            out += literals;
            in.at += literals;
        } else {
            if (literals == extendedLength && !in.extend(literals)) return Outcome::broken;
            if (literals > in.left()) return Outcome::broken;
            if (literals > room()) return Outcome::full;
            if (in.left() - literals >= piece)
                copyPieces(out, in.at, literals);
            else if (literals != 0)
                std::memcpy(out, in.at, literals);
            out += literals;
            in.at += literals;
            if (in.at == in.end) return Outcome::clean;
            if (in.left() < offsetSize) return Outcome::broken;
        }

        const auto offset = in.offset();
        if (!reaches(offset)) return Outcome::broken;
        if (match < extendedLength && offset >= piece && room() >= shortMatch) {
            copyPiece(out, out - offset);
            copyPiece(out + piece, out + piece - offset);
        } else {
            if (match == extendedLength && !in.extend(match)) return Outcome::broken;
            if (match + shortestMatch > room()) return Outcome::full;
            copyMatch(out, offset, match + shortestMatch);
        }
        out += match + shortestMatch;
    }
}

}  // namespace

Buffer::Buffer(std::size_t capacity, std::size_t limit) : limit_(limit) { makeRoom(std::min(capacity, limit)); }

Buffer::Buffer(Buffer&& other) noexcept
    : memory_(std::move(other.memory_)),
      count_(std::exchange(other.count_, 0)),
      capacity_(std::exchange(other.capacity_, 0)),
      limit_(other.limit_) {}

Buffer& Buffer::operator=(Buffer&& other) noexcept {
    memory_ = std::move(other.memory_);
    count_ = std::exchange(other.count_, 0);
    capacity_ = std::exchange(other.capacity_, 0);
    limit_ = other.limit_;
    return *this;
}

bool Buffer::makeRoom(std::size_t bytes) {
    if (bytes > limit_ - count_) return false;
    const auto needed = count_ + bytes;
    if (needed <= capacity_) return true;
    auto capacity = capacity_ == 0 ? needed : capacity_;
    while (capacity < needed) capacity *= 2;
    capacity = std::min(capacity, limit_);
    auto* const memory = static_cast<std::uint8_t*>(std::realloc(memory_.get(), capacity + slack));
    if (!memory) throw std::bad_alloc();
    static_cast<void>(memory_.release());
    memory_.reset(memory);
    capacity_ = capacity;
    return true;
}

void Buffer::advance(std::size_t bytes) {
    KESTRELYNE_REQUIRE(bytes <= capacity_ - count_, "only room that was made is filled");
    count_ += bytes;
}

Progress decodeInto(base::Bytes block, Buffer& into, std::size_t room) {
    KESTRELYNE_REQUIRE(room <= into.capacity() - into.count(), "a block is decoded into room that was made");
    Input in{block.data(), block.data() + block.size()};
    auto* out = into.end();
    const auto outcome = decodeSequences(in, into.ptr(), out, into.end() + room);
    return {outcome, static_cast<std::size_t>(in.at - block.data()), static_cast<std::size_t>(out - into.end())};
}

bool decodeBlock(base::Bytes block, Buffer& into) {
    // A block that turns out longer than the room is decoded once more into twice as much.
    for (;;) {
        const auto room = into.capacity() - into.count();
        const auto progress = decodeInto(block, into, room);
        if (progress.outcome == Outcome::clean) into.advance(progress.written);
        if (progress.outcome != Outcome::full) return progress.outcome == Outcome::clean;
        if (room == into.limit() - into.count()) return false;
        if (!into.makeRoom(std::min(2 * room + 64, into.limit() - into.count()))) return false;
    }
}

}  // namespace metercore::LZ4Block
