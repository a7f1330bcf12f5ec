#pragma once
// The LZ4 block format (LZ4 Block Format Description, 2022-07-31): sequences of literals and of copies of what was decoded before.
// A copy reaches back into everything that the output holds, so blocks that depend on one another are decoded into one buffer in
// turn.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "Base/ByteReader.hpp"

namespace metercore::LZ4Block {

/// Decoded bytes, one block behind the other. Its memory doubles until the request fits, and never holds more than `limit` bytes.
/// Memory that was not written yet is not touched: a large capacity costs addresses, not memory. Not for several threads.
class Buffer {
public:
    static constexpr std::size_t noLimit = std::size_t{1} << 62;

    /// Throws std::bad_alloc.
    explicit Buffer(std::size_t capacity, std::size_t limit = noLimit);
    Buffer(Buffer&& other) noexcept;
    Buffer& operator=(Buffer&& other) noexcept;

    const std::uint8_t* ptr() const { return memory_.get(); }
    std::size_t count() const { return count_; }
    std::size_t capacity() const { return capacity_; }
    std::size_t limit() const { return limit_; }
    /// What was decoded; valid until the buffer grows or goes.
    base::Bytes bytes() const { return {memory_.get(), count_}; }

    /// Room for so many bytes more. False, with nothing changed, when that is beyond the limit. Throws std::bad_alloc.
    bool makeRoom(std::size_t bytes);
    /// The first byte that is free, with the room that was made behind it.
    std::uint8_t* end() { return memory_.get() + count_; }
    /// So many bytes behind end() were written; they lie within the room.
    void advance(std::size_t bytes);
    void clear() { count_ = 0; }

    /// What a decoder may write behind the capacity: copies go in whole pieces.
    static constexpr std::size_t slack = 32;

private:
    struct Free {
        void operator()(std::uint8_t* memory) const { std::free(memory); }
    };
    std::unique_ptr<std::uint8_t, Free> memory_;
    std::size_t count_ = 0, capacity_ = 0, limit_;
};

enum class Outcome {
    clean,   // the block ended where the format lets it end: behind literals
    broken,  // it stops in the middle, or a copy reaches back by nothing or to before the output
    full,    // it is longer than the room
};
struct Progress {
    Outcome outcome;
    std::size_t read;     // bytes of the block that were looked at
    std::size_t written;  // bytes behind end() that were written; none of them counts unless the outcome is clean
};

/// Decodes a block behind the buffer's end, into the room that is there: at most `room` bytes of it, which is no more than the
/// capacity leaves. The buffer's count stays. Its cost is at most proportional to `read` + `written`. Pure; any thread.
Progress decodeInto(base::Bytes block, Buffer& into, std::size_t room);

/// Decodes a block and makes the room that it needs. True when it decoded cleanly; else the buffer's count is what it was. A block
/// of n bytes gives at most 255 n bytes.
bool decodeBlock(base::Bytes block, Buffer& into);

}  // namespace metercore::LZ4Block
