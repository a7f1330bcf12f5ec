#pragma once
// A QR code (ISO/IEC 18004) as text, two modules a character.

#include <optional>
#include <string>
#include <string_view>

namespace kestrelyne {

enum class QRColours {
    none,         // characters alone: right on a dark terminal
    blackOnWhite  // black on white by escape sequences (ECMA-48, SGR), whatever the terminal's own colours are
};

/// Lines with "\n" behind each, the standard's quiet zone of four modules around. Absent when the text is empty or too long for a
/// code.
std::optional<std::string> qrText(std::string_view text, QRColours colours);

}  // namespace kestrelyne
