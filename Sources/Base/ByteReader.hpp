#pragma once
// Reads numbers in network order from foreign bytes and never past their end. The only place that moves a position through a
// buffer.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace base {

using Bytes = std::span<const std::uint8_t>;

/// A position in a buffer. Each read moves it on, or leaves it and answers nothing when too few bytes remain. Pure.
class ByteReader {
public:
    explicit ByteReader(Bytes bytes) : rest_(bytes) {}

    std::size_t remaining() const { return rest_.size(); }
    /// What has not been read yet.
    Bytes rest() const { return rest_; }

    std::optional<std::uint8_t> u8() {
        if (rest_.empty()) return std::nullopt;
        const auto value = rest_[0];
        rest_ = rest_.subspan(1);
        return value;
    }
    std::optional<std::uint16_t> u16() {
        if (rest_.size() < 2) return std::nullopt;
        const auto value = static_cast<std::uint16_t>(rest_[0] << 8 | rest_[1]);
        rest_ = rest_.subspan(2);
        return value;
    }
    std::optional<std::uint32_t> u32() {
        if (rest_.size() < 4) return std::nullopt;
        const auto value = static_cast<std::uint32_t>(rest_[0]) << 24 | static_cast<std::uint32_t>(rest_[1]) << 16 |
                           static_cast<std::uint32_t>(rest_[2]) << 8 | rest_[3];
        rest_ = rest_.subspan(4);
        return value;
    }
    std::optional<Bytes> take(std::size_t count) {
        if (rest_.size() < count) return std::nullopt;
        const auto taken = rest_.first(count);
        rest_ = rest_.subspan(count);
        return taken;
    }

private:
    Bytes rest_;
};

}  // namespace base
