#include "Kestrelyne/App/QRText.hpp"

#include <gtest/gtest.h>
#include <qrencode.h>

#include <vector>

namespace kestrelyne {
namespace {

constexpr std::string_view address = "http://192.168.1.20:8470";

/// The lines as rows of dark modules.
std::vector<std::vector<bool>> modules(const std::string& text, bool glyphIsDark) {
    std::vector<std::vector<bool>> rows;
    std::size_t start = 0;
    while (start < text.size()) {
        const auto end = text.find('\n', start);
        std::string_view line(text.data() + start, end - start);
        start = end + 1;
        std::vector<bool> upper, lower;
        while (!line.empty()) {
            if (line[0] == '\x1b') {
                line.remove_prefix(line.find('m') + 1);
                continue;
            }
            bool up = false, low = false;
            std::size_t length = 3;
            if (line.starts_with("█"))
                up = low = true;
            else if (line.starts_with("▀"))
                up = true;
            else if (line.starts_with("▄"))
                low = true;
            else
                length = 1;
            line.remove_prefix(length);
            upper.push_back(up == glyphIsDark);
            lower.push_back(low == glyphIsDark);
        }
        rows.push_back(upper);
        rows.push_back(lower);
    }
    return rows;
}

class QRTextColours : public testing::TestWithParam<QRColours> {};

TEST_P(QRTextColours, ShowsTheCodeInsideItsQuietZone) {
    const auto text = qrText(address, GetParam());
    ASSERT_TRUE(text);
    const auto rows = modules(*text, GetParam() == QRColours::blackOnWhite);
    QRcode* code = QRcode_encodeString8bit(std::string(address).c_str(), 0, QR_ECLEVEL_M);
    const int width = code->width, quiet = 4;
    ASSERT_EQ(rows.size(), std::size_t(width + 2 * quiet + 1));
    for (int y = -quiet; y < width + quiet; ++y) {
        const auto& row = rows[std::size_t(y + quiet)];
        ASSERT_EQ(row.size(), std::size_t(width + 2 * quiet));
        for (int x = -quiet; x < width + quiet; ++x) {
            const bool inside = x >= 0 && y >= 0 && x < width && y < width;
            EXPECT_EQ(row[std::size_t(x + quiet)], inside && (code->data[y * width + x] & 1) != 0) << x << " " << y;
        }
    }
    QRcode_free(code);
}

INSTANTIATE_TEST_SUITE_P(Both, QRTextColours, testing::Values(QRColours::none, QRColours::blackOnWhite));

TEST(QRText, NamesItsColoursOnEachLineAndPutsThemBack) {
    const auto text = *qrText(address, QRColours::blackOnWhite);
    std::size_t lines = 0;
    for (std::size_t start = 0; start < text.size(); ++lines) {
        const auto end = text.find('\n', start);
        const auto line = text.substr(start, end - start);
        EXPECT_TRUE(line.starts_with("\x1b[38;5;16;48;5;231m"));
        EXPECT_TRUE(line.ends_with("\x1b[0m"));
        start = end + 1;
    }
    EXPECT_GT(lines, 10u);
    EXPECT_EQ(qrText(address, QRColours::none)->find('\x1b'), std::string::npos);
}

TEST(QRText, IsAbsentForWhatFitsIntoNoCode) {
    EXPECT_EQ(qrText("", QRColours::none), std::nullopt);
    EXPECT_EQ(qrText(std::string(3000, 'x'), QRColours::none), std::nullopt);
}

}  // namespace
}  // namespace kestrelyne
