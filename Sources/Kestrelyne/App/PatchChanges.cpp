#include "Kestrelyne/App/PatchChanges.hpp"

#include <string>
#include <unordered_map>
#include <unordered_set>

#include "Base/JSONFields.hpp"

namespace kestrelyne {

namespace {

using base::JSON;

JSON changedFields(const PatchFixture& before, const PatchFixture& after) {
    struct TextField {
        const char* label;
        std::string PatchFixture::*text;
    };
    constexpr TextField type[] = {{"Fixture-ID", &PatchFixture::fixtureID},
                                  {"Name", &PatchFixture::name},
                                  {"Hersteller", &PatchFixture::manufacturer},
                                  {"Typ", &PatchFixture::model},
                                  {"Modus", &PatchFixture::mode}};
    constexpr TextField place[] = {
        {"Layer", &PatchFixture::layer},     {"Position", &PatchFixture::position}, {"Verteiler", &PatchFixture::distributor},
        {"Plugbox", &PatchFixture::plugbox}, {"Steckplatz", &PatchFixture::socket}, {"Sicherung", &PatchFixture::breaker},
        {"Phase", &PatchFixture::phase}};
    JSON labels = JSON::array();
    const auto note = [&labels](bool changed, const char* label) {
        if (changed) labels.push_back(label);
    };
    for (const auto& [label, text] : type) note(before.*text != after.*text, label);
    note(before.universe != after.universe || before.address != after.address, "Adresse");
    note(before.footprint != after.footprint || before.footprintEstimated != after.footprintEstimated, "Kanäle");
    for (const auto& [label, text] : place) note(before.*text != after.*text, label);
    note(before.powerW != after.powerW, "Leistung");
    note(before.notes != after.notes, "Notiz");
    note(before.highlight != after.highlight, "Hell-Kanäle");
    note(before.rdmUID != after.rdmUID, "RDM-Gerät");
    return labels;
}

JSON row(const char* what, const PatchFixture* before, const PatchFixture* after) {
    const auto& shown = after != nullptr ? *after : *before;
    const auto address = [](const PatchFixture* fixture) -> JSON {
        return fixture != nullptr ? JSON(fixture->addressText()) : JSON(nullptr);
    };
    return {{"what", what},
            {"id", shown.id.text()},
            {"fixtureID", shown.fixtureID},
            {"name", shown.name.empty() ? shown.typeText() : shown.name},
            {"before", address(before)},
            {"after", address(after)},
            {"changes", before != nullptr && after != nullptr ? changedFields(*before, *after) : JSON::array()}};
}

}  // namespace

JSON patchChanges(const Patch& before, const Patch& after, std::size_t mostRows) {
    std::unordered_map<base::UUID, const PatchFixture*> known;
    for (const auto& fixture : before.fixtures) known.emplace(fixture.id, &fixture);
    std::unordered_set<base::UUID> left;
    std::size_t added = 0, changed = 0, unchanged = 0, removed = 0;
    JSON rows = JSON::array();
    for (const auto& fixture : after.fixtures) {
        left.insert(fixture.id);
        const auto found = known.find(fixture.id);
        const auto* old = found == known.end() ? nullptr : found->second;
        if (old != nullptr && *old == fixture) {
            ++unchanged;
            continue;
        }
        ++(old == nullptr ? added : changed);
        if (rows.size() < mostRows) rows.push_back(row(old == nullptr ? "added" : "changed", old, &fixture));
    }
    for (const auto& fixture : before.fixtures) {
        if (left.contains(fixture.id)) continue;
        ++removed;
        if (rows.size() < mostRows) rows.push_back(row("removed", &fixture, nullptr));
    }
    return {{"added", added}, {"changed", changed}, {"unchanged", unchanged}, {"removed", removed}, {"rows", std::move(rows)}};
}

}  // namespace kestrelyne
