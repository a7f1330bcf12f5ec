#include "NetCore/ArtNetTimeCode.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "NetCore/ArtNetHeader.hpp"

namespace netcore::ArtNet {

namespace {

constexpr std::size_t framesAt = 14, secondsAt = 15, minutesAt = 16, hoursAt = 17, typeAt = 18, minimumLength = 19;

constexpr std::array fpsLabels = {"24 fps (Film)", "25 fps (EBU)", "29,97 fps (DF)", "30 fps (SMPTE)"};

}  // namespace

std::string TimeCode::fpsLabel() const {
    return fpsLabels[static_cast<std::size_t>(std::clamp(type, 0, static_cast<int>(fpsLabels.size()) - 1))];
}

std::string TimeCode::text() const { return fmt::format("{:02}:{:02}:{:02}:{:02}", hours, minutes, seconds, frames); }

std::optional<TimeCode> parseTimeCode(base::Bytes packet) {
    if (opCode(packet) != opTimeCode || packet.size() < minimumLength) return std::nullopt;
    return TimeCode{.hours = packet[hoursAt],
                    .minutes = packet[minutesAt],
                    .seconds = packet[secondsAt],
                    .frames = packet[framesAt],
                    .type = packet[typeAt]};
}

std::array<std::uint8_t, 19> timeCodePacket(const TimeCode& code) {
    std::array<std::uint8_t, minimumLength> packet{};
    putHeaderAndVersion(packet, opTimeCode);
    packet[framesAt] = static_cast<std::uint8_t>(code.frames);
    packet[secondsAt] = static_cast<std::uint8_t>(code.seconds);
    packet[minutesAt] = static_cast<std::uint8_t>(code.minutes);
    packet[hoursAt] = static_cast<std::uint8_t>(code.hours);
    packet[typeAt] = static_cast<std::uint8_t>(code.type);
    return packet;
}

}  // namespace netcore::ArtNet
