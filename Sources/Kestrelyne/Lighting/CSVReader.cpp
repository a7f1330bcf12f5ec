// Lists as text: which characters they are in, which delimiter they have, and their cells (RFC 4180, read generously).
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Base/File.hpp"
#include "Base/Text.hpp"
#include "Kestrelyne/Lighting/PatchImport.hpp"

namespace kestrelyne {

namespace {

constexpr std::string_view utf8Mark = "\xEF\xBB\xBF", littleMark = "\xFF\xFE", bigMark = "\xFE\xFF";
constexpr std::size_t mostColumns = 16384;  // as spreadsheets have them
constexpr std::string_view white = " \t\r\n\f\v";

void append(std::string& text, std::uint32_t character) {
    const auto byte = [&](std::uint32_t value) { text += static_cast<char>(value); };
    if (character < 0x80) {
        byte(character);
    } else if (character < 0x800) {
        byte(0xC0 | character >> 6);
        byte(0x80 | (character & 0x3F));
    } else if (character < 0x10000) {
        byte(0xE0 | character >> 12);
        byte(0x80 | (character >> 6 & 0x3F));
        byte(0x80 | (character & 0x3F));
    } else {
        byte(0xF0 | character >> 18);
        byte(0x80 | (character >> 12 & 0x3F));
        byte(0x80 | (character >> 6 & 0x3F));
        byte(0x80 | (character & 0x3F));
    }
}

std::string fromUTF16(std::string_view bytes, bool bigEndian) {
    constexpr std::uint32_t replacement = 0xFFFD;
    const auto unit = [&](std::size_t at) {
        const auto first = static_cast<std::uint8_t>(bytes[at]), second = static_cast<std::uint8_t>(bytes[at + 1]);
        return static_cast<std::uint32_t>(bigEndian ? first << 8 | second : second << 8 | first);
    };
    std::string text;
    text.reserve(bytes.size());
    for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
        const auto high = unit(at);
        if (high < 0xD800 || high > 0xDFFF) {
            append(text, high);
            continue;
        }
        const auto low = high < 0xDC00 && at + 3 < bytes.size() ? unit(at + 2) : 0;
        const bool pair = low >= 0xDC00 && low <= 0xDFFF;
        append(text, pair ? 0x10000 + ((high - 0xD800) << 10) + (low - 0xDC00) : replacement);
        if (pair) at += 2;
    }
    return text;
}

// 0x80 to 0x9F hold no text in ISO 8859-1; what programs of Windows put there (typographic signs) is read as they mean it.
std::string fromLatin1(std::string_view bytes) {
    constexpr std::array<std::uint16_t, 32> windows = {0x20AC, 0x81,   0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                                       0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x8D,   0x017D, 0x8F,
                                                       0x90,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                                       0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D,   0x017E, 0x0178};
    std::string text;
    text.reserve(bytes.size() + bytes.size() / 8);
    for (const char each : bytes) {
        const auto value = static_cast<std::uint8_t>(each);
        append(text, value >= 0x80 && value < 0xA0 ? windows[value - 0x80u] : value);
    }
    return text;
}

std::string decoded(std::string_view bytes) {
    if (bytes.starts_with(littleMark)) return fromUTF16(bytes.substr(littleMark.size()), false);
    if (bytes.starts_with(bigMark)) return fromUTF16(bytes.substr(bigMark.size()), true);
    if (bytes.starts_with(utf8Mark)) return base::repairUTF8(bytes.substr(utf8Mark.size()));
    auto text = base::repairUTF8(bytes);
    return text == bytes ? text : fromLatin1(bytes);
}

// A quote opens a quoted cell only at the start of one: "5" Fresnel" is inches.
bool opensQuote(std::string_view cell, bool wasQuoted) { return !wasQuoted && base::trimmedBlanks(cell).empty(); }

// Cells one after the other.
class Cells {
public:
    Cells(std::string_view text, char delimiter) : text_(text), delimiter_(delimiter) {}

    bool atEnd() const { return at_ >= text_.size(); }
    // The next cell; `endsRow` afterwards says whether it is the last of its row.
    std::string next(bool& endsRow) {
        std::string cell;
        bool quoted = false, wasQuoted = false;
        for (; at_ < text_.size(); ++at_) {
            const char each = text_[at_];
            if (quoted) {
                if (each != '"') {
                    cell += each;
                } else if (at_ + 1 < text_.size() && text_[at_ + 1] == '"') {
                    cell += each;
                    ++at_;
                } else {
                    quoted = false;
                }
            } else if (each == '"' && opensQuote(cell, wasQuoted)) {
                cell.clear();
                quoted = wasQuoted = true;
            } else if (each == delimiter_) {
                ++at_;
                endsRow = false;
                return cell;
            } else if (each == '\r' || each == '\n') {
                at_ += each == '\r' && at_ + 1 < text_.size() && text_[at_ + 1] == '\n' ? 2 : 1;
                endsRow = true;
                return cell;
            } else {
                cell += each;
            }
        }
        endsRow = true;
        return cell;
    }

private:
    std::string_view text_;
    char delimiter_;
    std::size_t at_ = 0;
};

// A first line "sep=;" is for spreadsheets.
std::optional<char> announced(std::string_view& text) {
    constexpr std::string_view key = "sep=";
    if (text.size() <= key.size() || base::lowerASCII(text.substr(0, key.size())) != key) return std::nullopt;
    const auto end = text.find_first_of("\r\n");
    if (end != key.size() + 1) return std::nullopt;
    const char delimiter = text[key.size()];
    text.remove_prefix(end);
    return delimiter;
}

// The one that stands most often between the cells of the header; a tie goes to the first of them.
char detected(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(white), text.size()));
    char best = ';';
    std::size_t most = 1;
    for (const char candidate : {';', '\t', ',', '|'}) {
        Cells cells(text, candidate);
        std::size_t count = 0;
        for (bool ends = false; !ends && !cells.atEnd(); ++count) cells.next(ends);
        if (count > most) {
            best = candidate;
            most = count;
        }
    }
    return best;
}

bool isEmpty(const std::string& cell) { return base::trimmed(cell).empty(); }

}  // namespace

CSVTable PatchImport::parseCSVText(std::string_view bytes) {
    constexpr auto nothing = "Die Datei ist leer.";
    const std::string whole = decoded(bytes);
    std::string_view text = whole;
    if (base::trimmed(text).empty()) throw ImportError(nothing);
    const auto named = announced(text);
    const char delimiter = named ? *named : detected(text);

    Cells cells(text, delimiter);
    std::vector<std::vector<std::string>> rows;
    std::size_t count = 0;
    while (!cells.atEnd()) {
        std::vector<std::string> row;
        for (bool ends = false; !ends;) {
            row.push_back(cells.next(ends));
            if (row.size() > mostColumns) throw ImportError(fmt::format("Die Datei hat mehr als {} Spalten.", mostColumns));
        }
        while (!row.empty() && isEmpty(row.back())) row.pop_back();
        if (row.empty()) continue;
        count += row.size();
        if (count > mostCells) throw ImportError(fmt::format("Die Datei hat mehr als {} Zellen.", mostCells));
        if (rows.size() > mostFixtures) throw ImportError(fmt::format("Die Datei hat mehr als {} Zeilen.", mostFixtures));
        row.shrink_to_fit();
        rows.push_back(std::move(row));
    }
    if (rows.empty()) throw ImportError(nothing);
    CSVTable table{.header = std::move(rows.front()), .rows = {}};
    for (auto& heading : table.header) heading = base::trimmed(heading);
    rows.erase(rows.begin());
    table.rows = std::move(rows);
    return table;
}

CSVTable PatchImport::readCSV(const std::filesystem::path& file) {
    const auto name = file.filename().string();
    std::error_code failure;
    if (!std::filesystem::is_regular_file(file, failure)) throw ImportError(name + " kann nicht gelesen werden.");
    if (std::filesystem::file_size(file, failure) > largestList)
        throw ImportError(fmt::format("{} ist größer als {} MB.", name, largestList >> 20));
    const auto bytes = base::readFile(file, largestList);
    if (!bytes) throw ImportError(name + " kann nicht gelesen werden.");
    return parseCSVText(*bytes);
}

}  // namespace kestrelyne
