#include "Kestrelyne/Lighting/PatchImport.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "Base/Require.hpp"
#include "Base/Text.hpp"

namespace kestrelyne {

namespace {

using base::trimmed;

constexpr int slots = 512;             // channels of a universe
constexpr int lastUniverse = 63999;    // ANSI E1.31-2018, 6.2.7
constexpr int largestAddress = 65535;  // an address beyond 512 is kept as written, within reason

bool isDigits(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, [](char each) { return each >= '0' && each <= '9'; });
}

// A number of digits alone; absent when it is too large for any use.
std::optional<int> number(std::string_view text) {
    if (!isDigits(text)) return std::nullopt;
    const auto value = base::parseInteger(text);
    if (!value || *value > std::numeric_limits<int>::max()) return std::nullopt;
    return static_cast<int>(*value);
}

// "3", "Universe 3", "U3": the digits at the end of a text that has no others.
std::optional<int> universeNumber(std::string_view text) {
    text = trimmed(text);
    const auto begin = text.find_first_of("0123456789");
    if (begin == std::string_view::npos) return std::nullopt;
    const auto value = number(text.substr(begin));
    return value && *value >= 1 && *value <= lastUniverse ? value : std::nullopt;
}

struct Footprint {
    int channels = 0;
    bool estimated = false;
};

// "16", "16 ch", "~16" for an estimate.
std::optional<Footprint> footprintOf(std::string_view text) {
    text = trimmed(text);
    Footprint footprint;
    footprint.estimated = text.starts_with('~');
    if (footprint.estimated) text = trimmed(text.substr(1));
    const auto channels = number(text.substr(0, std::min(text.find_first_not_of("0123456789"), text.size())));
    if (!channels || *channels > largestAddress) return std::nullopt;
    footprint.channels = *channels;
    return footprint;
}

// Some programs put the number of a channel in parentheses when nothing is patched to it.
std::string_view withoutParentheses(std::string_view text) {
    return text.size() > 2 && text.front() == '(' && text.back() == ')' ? trimmed(text.substr(1, text.size() - 2)) : text;
}

// The digits of groups of three behind a first of at most three; absent when they are no such groups.
std::optional<std::string> withoutGroups(std::string_view text, char mark) {
    constexpr std::size_t groupSize = 3;
    std::string digits;
    for (const auto group : base::split(text, mark, true)) {
        const bool first = group.data() == text.data();
        if (first ? group.empty() || group.size() > groupSize : group.size() != groupSize) return std::nullopt;
        digits += group;
    }
    return digits;
}

// With a point and without groups: of two kinds of marks the last is the decimal one; a single mark before exactly three digits
// groups thousands ("1.200"), unless a 0 stands before it or `decimal` says that it does not.
std::optional<std::string> withPoint(std::string_view text, bool decimal) {
    const auto last = text.find_last_of(".,");
    if (last == std::string_view::npos) return std::string(text);
    const char mark = text[last], other = mark == '.' ? ',' : '.';
    const auto whole = text.substr(0, last), rest = text.substr(last + 1);
    const bool both = whole.find(other) != std::string_view::npos;
    const bool single = !both && whole.find(mark) == std::string_view::npos;
    if (!both && (!single || (!decimal && whole != "0")))
        if (auto digits = withoutGroups(text, mark)) return digits;
    if (!both && !single) return std::nullopt;
    const auto digits = both ? withoutGroups(whole, other) : std::string(whole);
    return digits ? std::optional(*digits + "." + std::string(rest)) : std::nullopt;
}

class Row {
public:
    Row(const std::vector<std::string>& cells, const std::array<std::optional<std::size_t>, patchFields>& columns)
        : cells_(cells), columns_(columns) {}

    std::string_view operator[](PatchField field) const {
        const auto column = columns_[static_cast<std::size_t>(field)];
        return column && *column < cells_.size() ? trimmed(cells_[*column]) : std::string_view{};
    }
    std::string text(PatchField field) const { return std::string((*this)[field]); }
    bool empty() const {
        return std::ranges::all_of(allPatchFields(), [&](PatchField field) { return (*this)[field].empty(); });
    }

private:
    const std::vector<std::string>& cells_;
    const std::array<std::optional<std::size_t>, patchFields>& columns_;
};

PatchFixture fixtureOf(const Row& row) {
    PatchFixture fixture;
    fixture.fixtureID = withoutParentheses(row[PatchField::fixtureID]);
    fixture.name = row.text(PatchField::name);
    fixture.manufacturer = row.text(PatchField::manufacturer);
    fixture.model = row.text(PatchField::model);
    fixture.mode = row.text(PatchField::mode);
    const auto universe = universeNumber(row[PatchField::universe]);
    fixture.universe = universe.value_or(0);
    if (const auto place = PatchImport::parseAddress(row[PatchField::address], universe))
        std::tie(fixture.universe, fixture.address) = *place;
    const auto footprint = footprintOf(row[PatchField::footprint]);
    fixture.footprint = footprint ? footprint->channels : 1;
    fixture.footprintEstimated = !footprint || footprint->estimated;
    fixture.position = row.text(PatchField::position);
    fixture.layer = row.text(PatchField::layer);
    fixture.distributor = row.text(PatchField::distributor);
    fixture.plugbox = row.text(PatchField::plugbox);
    fixture.socket = row.text(PatchField::socket);
    fixture.breaker = row.text(PatchField::breaker);
    fixture.phase = row.text(PatchField::phase);
    fixture.powerW = PatchImport::parsePower(row[PatchField::power]);
    fixture.notes = row.text(PatchField::notes);
    return fixture;
}

}  // namespace

std::optional<std::pair<int, int>> PatchImport::parseAddress(std::string_view text, std::optional<int> universe) {
    text = trimmed(text);
    if (const auto mark = text.find_first_of("./"); mark != std::string_view::npos) {
        const auto line = number(trimmed(text.substr(0, mark))), address = number(trimmed(text.substr(mark + 1)));
        if (!line || !address || *line < 1 || *line > lastUniverse || *address < 1 || *address > largestAddress)
            return std::nullopt;
        return std::pair(*line, *address);
    }
    const auto absolute = number(text);
    if (!absolute || *absolute < 1) return std::nullopt;
    if (*absolute <= slots) return std::pair(universe.value_or(0) >= 1 ? *universe : 1, *absolute);
    if ((*absolute - 1) / slots >= lastUniverse) return std::nullopt;
    return std::pair((*absolute - 1) / slots + 1, (*absolute - 1) % slots + 1);
}

std::optional<double> PatchImport::parsePower(std::string_view text) {
    text = trimmed(text);
    const auto end = std::min(text.find_first_not_of("0123456789.,"), text.size());
    const auto unit = base::lowerASCII(trimmed(text.substr(end)));
    const bool kilo = unit == "kw" || unit == "kva";
    if (!kilo && !unit.empty() && unit != "w" && unit != "watt" && unit != "watts" && unit != "va") return std::nullopt;
    const auto plain = withPoint(text.substr(0, end), kilo);
    const auto value = plain ? base::parseDouble(*plain) : std::nullopt;
    const double watts = kilo ? value.value_or(0) * 1000 : value.value_or(0);
    return value && std::isfinite(watts) ? std::optional(watts) : std::nullopt;
}

std::vector<PatchFixture> PatchImport::fixtures(const CSVTable& table, const std::vector<PatchField>& mapping) {
    KESTRELYNE_REQUIRE(mapping.size() == table.header.size(), "a field for each column");
    std::array<std::optional<std::size_t>, patchFields> columns{};
    for (std::size_t column = 0; column < mapping.size(); ++column) {
        auto& first = columns[static_cast<std::size_t>(mapping[column])];
        if (mapping[column] != PatchField::ignore && !first) first = column;
    }
    std::vector<PatchFixture> list;
    list.reserve(table.rows.size());
    for (const auto& cells : table.rows)
        if (const Row row(cells, columns); !row.empty()) list.push_back(fixtureOf(row));
    return list;
}

}  // namespace kestrelyne
