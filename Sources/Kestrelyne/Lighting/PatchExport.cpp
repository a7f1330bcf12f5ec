#include "Kestrelyne/Lighting/PatchExport.hpp"

#include <array>
#include <charconv>
#include <cmath>
#include <string_view>

#include "Kestrelyne/Lighting/PatchField.hpp"

namespace kestrelyne {

namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF", lineEnd = "\r\n";
constexpr char delimiter = ';';
constexpr int lastChannel = 512;

constexpr PatchField columns[] = {PatchField::fixtureID, PatchField::name,     PatchField::manufacturer, PatchField::model,
                                  PatchField::mode,      PatchField::universe, PatchField::address,      PatchField::footprint,
                                  PatchField::layer,     PatchField::position, PatchField::distributor,  PatchField::plugbox,
                                  PatchField::socket,    PatchField::breaker,  PatchField::phase,        PatchField::power,
                                  PatchField::notes};

// Universe and address stand in columns of their own: a spreadsheet would read "2.041" as a number.
std::string addressOf(const PatchFixture& fixture) {
    if (!fixture.patched()) return "";
    const auto address = std::to_string(fixture.address);
    return fixture.address <= lastChannel ? address : std::to_string(fixture.universe) + "/" + address;
}

// As many digits as bring the number back, with a decimal comma.
std::string powerOf(const PatchFixture& fixture) {
    if (!fixture.powerW || !std::isfinite(*fixture.powerW)) return "";
    std::array<char, 400> digits;  // the longest double without an exponent takes some 330
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), *fixture.powerW, std::chars_format::fixed).ptr;
    std::string text(digits.data(), end);
    const auto point = text.find('.');
    if (point == std::string::npos) return text;
    text[point] = ',';
    // Three digits behind the mark would be taken for thousands.
    constexpr std::size_t groupDigits = 3;
    if (text.size() - point - 1 == groupDigits) text += '0';
    return text;
}

std::string cellOf(const PatchFixture& fixture, PatchField column) {
    switch (column) {
        case PatchField::fixtureID: return fixture.fixtureID;
        case PatchField::name: return fixture.name;
        case PatchField::manufacturer: return fixture.manufacturer;
        case PatchField::model: return fixture.model;
        case PatchField::mode: return fixture.mode;
        case PatchField::universe: return std::to_string(fixture.universe);
        case PatchField::address: return addressOf(fixture);
        case PatchField::footprint: return (fixture.footprintEstimated ? "~" : "") + std::to_string(fixture.footprint);
        case PatchField::layer: return fixture.layer;
        case PatchField::position: return fixture.position;
        case PatchField::distributor: return fixture.distributor;
        case PatchField::plugbox: return fixture.plugbox;
        case PatchField::socket: return fixture.socket;
        case PatchField::breaker: return fixture.breaker;
        case PatchField::phase: return fixture.phase;
        case PatchField::power: return powerOf(fixture);
        case PatchField::notes: return fixture.notes;
        case PatchField::ignore: break;
    }
    return "";
}

void append(std::string& text, std::string_view cell) {
    if (cell.find_first_of(";\"\r\n") == std::string_view::npos) {
        text += cell;
        return;
    }
    text += '"';
    for (const char character : cell) text.append(character == '"' ? 2 : 1, character);
    text += '"';
}

template <class CellOf>
void appendRow(std::string& text, CellOf cellOfColumn) {
    for (const auto column : columns) {
        if (column != columns[0]) text += delimiter;
        append(text, cellOfColumn(column));
    }
    text += lineEnd;
}

}  // namespace

std::string PatchExport::csv(const std::vector<PatchFixture>& fixtures) {
    std::string text(byteOrderMark);
    appendRow(text, [](PatchField column) { return label(column); });
    for (const auto& fixture : fixtures) appendRow(text, [&fixture](PatchField column) { return cellOf(fixture, column); });
    return text;
}

}  // namespace kestrelyne
