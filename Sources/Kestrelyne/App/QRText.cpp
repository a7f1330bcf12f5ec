#include "Kestrelyne/App/QRText.hpp"

#include <qrencode.h>

#include <memory>

namespace kestrelyne {

namespace {

constexpr int quietZone = 4;  // ISO/IEC 18004, 5.3.8
constexpr std::string_view onWhite =
    "\x1b[38;5;16;48;5;231m";  // the palette's fixed black and white, which no colour scheme changes
constexpr std::string_view asBefore = "\x1b[0m";

struct FreeCode {
    void operator()(QRcode* code) const { QRcode_free(code); }
};

}  // namespace

std::optional<std::string> qrText(std::string_view text, QRColours colours) {
    const std::unique_ptr<QRcode, FreeCode> code(QRcode_encodeString8bit(std::string(text).c_str(), 0, QR_ECLEVEL_M));
    if (!code) return std::nullopt;
    const int width = code->width;
    const auto dark = [&](int x, int y) {
        return x >= 0 && y >= 0 && x < width && y < width && (code->data[y * width + x] & 1) != 0;
    };
    // Without colours the glyphs are the light modules, with them the dark ones.
    const bool inked = colours == QRColours::blackOnWhite;
    const auto glyph = [](bool upper, bool lower) { return upper ? (lower ? "█" : "▀") : (lower ? "▄" : " "); };
    std::string lines;
    for (int y = -quietZone; y < width + quietZone; y += 2) {
        if (inked) lines += onWhite;
        for (int x = -quietZone; x < width + quietZone; ++x) {
            // The height is odd: below the last row nothing is drawn.
            const bool lowerExists = y + 1 < width + quietZone;
            lines += inked ? glyph(dark(x, y), dark(x, y + 1)) : glyph(!dark(x, y), lowerExists && !dark(x, y + 1));
        }
        if (inked) lines += asBefore;
        lines += '\n';
    }
    return lines;
}

}  // namespace kestrelyne
