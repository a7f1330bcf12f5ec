#include "Kestrelyne/Lighting/GDTFGeometry.hpp"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "Kestrelyne/Lighting/ImportError.hpp"
#include "Kestrelyne/Lighting/ImportXML.hpp"

namespace kestrelyne {

namespace {

// The geometries of all modes together, with the breaks they are moved by; large pixel fixtures have some thousand.
constexpr std::size_t mostVisited = 200'000, deepest = 16, mostBreaks = 64;
constexpr int largestOffset = 65536;

std::string_view nameOf(pugi::xml_node node) { return node.attribute("Name").value(); }

std::string_view referredBy(pugi::xml_node reference) { return reference.attribute("Geometry").value(); }

bool isReference(pugi::xml_node node) { return std::string_view(node.name()) == "GeometryReference"; }

// The place of what a reference at `outer` refers to. The last of its breaks is for channels that leave theirs open; among the
// others the first of a number counts.
GDTFPlace inner(const GDTFPlace& outer, pugi::xml_node reference) {
    GDTFPlace place{.shifts = outer.shifts, .overwrite = outer.overwrite, .inside = outer.inside};
    place.inside.push_back(referredBy(reference));
    std::unordered_set<int> seen;
    std::size_t count = 0;
    for (const auto each : reference.children("Break")) {
        if (++count > mostBreaks) break;
        const int dmxBreak = std::clamp(each.attribute("DMXBreak").as_int(1), 1, largestOffset);
        const int shift = outer.shift(dmxBreak) + std::clamp(each.attribute("DMXOffset").as_int(1), 1, largestOffset) - 1;
        if (seen.insert(dmxBreak).second) place.shifts[dmxBreak] = shift;
        place.overwrite = {.dmxBreak = dmxBreak, .shift = shift};
    }
    return place;
}

}  // namespace

int GDTFPlace::shift(int dmxBreak) const {
    const auto found = shifts.find(dmxBreak);
    return found == shifts.end() ? 0 : found->second;
}

GDTFGeometry::GDTFGeometry(pugi::xml_node fixtureType, std::string errorText) : errorText_(std::move(errorText)) {
    std::unordered_set<std::string_view> referred;
    const auto collection = fixtureType.child("Geometries");
    ImportXML::forEachBelow(collection, [&](pugi::xml_node node) {
        if (isReference(node)) referred.insert(referredBy(node));
    });
    for (const auto top : collection.children()) {
        if (top.type() != pugi::node_element) continue;
        tops_.try_emplace(nameOf(top), top);
        if (!referred.contains(nameOf(top))) unreferenced_.push_back(top);
    }
}

const GDTFGeometry::Places& GDTFGeometry::places(std::string_view topGeometry) {
    const auto top = tops_.find(topGeometry);
    const std::string key(top == tops_.end() ? std::string_view{} : topGeometry);
    if (const auto found = known_.find(key); found != known_.end()) return found->second;
    return known_.emplace(key, walked(top == tops_.end() ? unreferenced_ : std::vector{top->second})).first->second;
}

GDTFGeometry::Places GDTFGeometry::walked(const std::vector<pugi::xml_node>& tops) {
    struct Step {
        pugi::xml_node node;
        std::shared_ptr<const GDTFPlace> place;
    };
    Places places;
    std::vector<Step> open;
    const auto start = std::make_shared<const GDTFPlace>();
    for (const auto top : tops) open.push_back({top, start});
    while (!open.empty()) {
        const auto [node, place] = std::move(open.back());
        open.pop_back();
        if (++visited_ > mostVisited) throw ImportError(errorText_);
        places[nameOf(node)].push_back(place);
        for (const auto child : node.children()) {
            if (child.type() != pugi::node_element) continue;
            if (!isReference(child)) {
                open.push_back({child, place});
                continue;
            }
            const auto top = tops_.find(referredBy(child));
            if (top == tops_.end()) continue;
            const bool circle = std::ranges::find(place->inside, top->first) != place->inside.end();
            if (circle || place->inside.size() >= deepest) throw ImportError(errorText_);
            auto within = std::make_shared<const GDTFPlace>(inner(*place, child));
            visited_ += within->shifts.size();
            open.push_back({top->second, std::move(within)});
        }
    }
    return places;
}

}  // namespace kestrelyne
