#include "Kestrelyne/App/PatchText.hpp"

#include <fmt/format.h>

#include <cmath>
#include <vector>

#include "Base/JSONFields.hpp"
#include "Base/NumberText.hpp"
#include "Kestrelyne/App/AnswerText.hpp"
#include "Kestrelyne/Lighting/PatchFixture.hpp"

namespace kestrelyne {

namespace {

using base::JSON;
using namespace answer;
using Rows = std::vector<std::vector<std::string>>;

std::string orDash(std::string text) { return text.empty() ? "–" : text; }

// Without decimals where there are none.
std::string numberText(double value) { return base::formatDecimal(value, value == std::floor(value) ? 0 : 1); }

std::string channelsText(const PatchFixture& fixture) {
    return (fixture.footprintEstimated ? "~" : "") + std::to_string(fixture.footprint);
}

const JSON& listOf(const JSON& answer, const char* key) {
    static const JSON none = JSON::array();
    const auto& list = part(answer, key);
    return list.is_array() ? list : none;
}

std::string counted(double count, std::string_view one, std::string_view many) {
    return fmt::format("{:.0f} {}", count, count == 1 ? one : many);
}

std::vector<std::string> changeRow(const JSON& row) {
    const auto what = textOr(row, "what", "");
    const auto before = textOr(row, "before", ""), after = textOr(row, "after", "");
    const bool added = what == "added", removed = what == "removed";
    const auto addresses = added ? after : removed || before == after ? before : before + " → " + after;
    const auto difference = added ? "neu" : removed ? "entfällt" : fmt::format("{}", fmt::join(texts(part(row, "changes")), ", "));
    return {added     ? "+"
            : removed ? "-"
                      : "~",
            orDash(textOr(row, "fixtureID", "")), orDash(textOr(row, "name", "")), orDash(addresses), difference};
}

}  // namespace

std::string patchTable(const JSON& answer) {
    Rows rows = {{"Nr.", "Name", "Typ", "Modus", "Adresse", "Kanäle", "Position", "Verteiler", "Sicherung", "Phase", "Watt"}};
    for (const auto& entry : listOf(answer, "fixtures")) {
        if (!entry.is_object()) continue;
        const auto fixture = entry.get<PatchFixture>();
        rows.push_back({orDash(fixture.fixtureID), orDash(fixture.name), orDash(fixture.typeText()), orDash(fixture.mode),
                        fixture.addressText(), channelsText(fixture), orDash(fixture.position), orDash(fixture.distributor),
                        orDash(fixture.breaker), orDash(fixture.phase), fixture.powerW ? numberText(*fixture.powerW) : "–"});
    }
    const auto shown = static_cast<double>(rows.size() - 1), all = numberOr(answer, "count", 0);
    if (all == 0) return "Keine Lampen.\n";
    auto text = shown == 0 ? "" : alignedTable(rows, "");
    text += shown == all ? counted(all, "Lampe", "Lampen") : fmt::format("{:.0f} von {}", shown, counted(all, "Lampe", "Lampen"));
    if (const auto source = textOr(answer, "sourceName", ""); !source.empty()) text += ", zuletzt aus „" + source + "“";
    text += "\n";
    if (const auto overlaps = numberOr(answer, "overlaps", 0); overlaps > 0)
        text += fmt::format("Adressüberschneidung: {:.0f}\n", overlaps);
    return text;
}

std::string patchSettingsTable(const JSON& settings) {
    Rows rows = {
        {"Art-Net-Universum", fmt::format("Pult-Universum − 1 {} {:.0f}", numberOr(settings, "artNetOffset", 0) < 0 ? "−" : "+",
                                          std::abs(numberOr(settings, "artNetOffset", 0)))},
        {"Sicherungen", numberText(numberOr(settings, "breakerAmps", 0)) + " A"},
        {"Spannung", numberText(numberOr(settings, "voltage", 0)) + " V"}};
    const auto& devices = part(settings, "distributorDevices");
    if (devices.is_object())
        for (const auto& [distributor, id] : devices.items())
            rows.push_back({"Messgerät von „" + distributor + "“", textOr(devices, distributor.c_str(), "–")});
    return alignedTable(rows, "");
}

std::string patchChangeTable(const JSON& changes) {
    Rows rows;
    for (const auto& row : listOf(changes, "rows")) rows.push_back(changeRow(row));
    auto text = alignedTable(rows, "");
    const auto added = numberOr(changes, "added", 0), changed = numberOr(changes, "changed", 0),
               removed = numberOr(changes, "removed", 0);
    if (const auto more = added + changed + removed - static_cast<double>(rows.size()); more > 0)
        text += fmt::format("… und {:.0f} weitere\n", more);
    return text + fmt::format("neu: {:.0f}, geändert: {:.0f}, unverändert: {:.0f}, entfallen: {:.0f}\n", added, changed,
                              numberOr(changes, "unchanged", 0), removed);
}

}  // namespace kestrelyne
