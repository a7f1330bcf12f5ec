#pragma once
// Art-Net timecode (Art-Net 4, "ArtTimeCode"): one frame of SMPTE time, as a console or player sends it.

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "Base/ByteReader.hpp"

namespace netcore::ArtNet {

struct TimeCode {
    int hours = 0, minutes = 0, seconds = 0, frames = 0;  // as sent, not range-checked
    int type = 0;                                         // 0 film 24, 1 EBU 25, 2 drop-frame 29.97, 3 SMPTE 30 frames/s

    /// German label of the frame rate; a type outside 0…3 counts as the nearer end.
    std::string fpsLabel() const;
    /// "HH:MM:SS:FF", each at least two digits.
    std::string text() const;
    bool operator==(const TimeCode&) const = default;
};

/// Reads an ArtTimeCode; absent when the datagram is none or shorter than 19 bytes. Pure; any thread.
std::optional<TimeCode> parseTimeCode(base::Bytes packet);

/// ArtTimeCode; of each field the lower 8 bits are sent. Pure; any thread.
std::array<std::uint8_t, 19> timeCodePacket(const TimeCode& code);

}  // namespace netcore::ArtNet
