#include "Kestrelyne/Lighting/MVRScene.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <memory>
#include <unordered_map>

#include "Base/Text.hpp"
#include "Kestrelyne/Lighting/ImportError.hpp"
#include "Kestrelyne/Lighting/ImportXML.hpp"
#include "Kestrelyne/Lighting/PatchImport.hpp"

namespace kestrelyne {

namespace {

using ImportXML::attribute, ImportXML::childText;

constexpr auto document = "GeneralSceneDescription.xml";
using Names = std::unordered_map<std::string, std::string>;

// What encloses a node.
struct Around {
    std::shared_ptr<const std::string> layer, position;
};

// Hanging positions by their id; fixtures refer to them.
Names positionsOf(pugi::xml_node scene) {
    Names names;
    for (const auto each : scene.child("AUXData").children("Position"))
        names.try_emplace(base::lowerASCII(attribute(each, "uuid")), attribute(each, "name"));
    return names;
}

// Programs write 0 where the user gave no number.
std::string numberOf(pugi::xml_node fixture) {
    for (const auto* name : {"FixtureID", "FixtureIDNumeric", "UnitNumber"})
        if (auto text = childText(fixture, name); !text.empty() && text != "0") return text;
    return {};
}

std::vector<MVRFixture::Address> addressesOf(pugi::xml_node fixture) {
    std::map<int, MVRFixture::Address> byBreak;
    const auto take = [&](pugi::xml_node parent) {
        for (const auto each : parent.children("Address")) {
            const int dmxBreak = std::clamp(each.attribute("break").as_int(0), 0, 65535);
            byBreak.try_emplace(dmxBreak, dmxBreak, PatchImport::parseAddress(each.child_value(), std::nullopt));
        }
    };
    take(fixture);
    for (const auto list : fixture.children("Addresses")) take(list);
    std::vector<MVRFixture::Address> addresses;
    for (const auto& [number, address] : byBreak) addresses.push_back(address);
    return addresses;
}

MVRFixture fixtureOf(pugi::xml_node node, const Around& around, const Names& positions) {
    MVRFixture fixture{.name = attribute(node, "name"),
                       .fixtureID = numberOf(node),
                       .layer = *around.layer,
                       .position = *around.position,
                       .type = childText(node, "GDTFSpec"),
                       .mode = childText(node, "GDTFMode"),
                       .addresses = addressesOf(node)};
    if (fixture.position.empty())
        if (const auto named = positions.find(base::lowerASCII(childText(node, "Position"))); named != positions.end())
            fixture.position = named->second;
    return fixture;
}

void walk(pugi::xml_node layers, const Names& positions, const std::string& fileName, std::vector<MVRFixture>& fixtures) {
    struct Step {
        pugi::xml_node next;  // and what follows it
        Around around;
    };
    const auto none = std::make_shared<const std::string>();
    std::vector<Step> open{{layers.first_child(), {none, none}}};
    while (!open.empty()) {
        auto& step = open.back();
        const auto node = step.next;
        if (!node) {
            open.pop_back();
            continue;
        }
        auto around = step.around;
        step.next = node.next_sibling();
        const std::string_view kind = node.name();
        const auto named = [&](std::shared_ptr<const std::string>& name) {
            if (auto text = attribute(node, "name"); !text.empty()) name = std::make_shared<const std::string>(std::move(text));
        };
        if (kind == "Layer") named(around.layer);
        if (kind == "Truss" || kind == "Support") named(around.position);
        if (kind == "Fixture") {
            if (fixtures.size() == PatchImport::mostFixtures)
                throw ImportError(fmt::format("{} enthält mehr als {} Fixtures.", fileName, PatchImport::mostFixtures));
            fixtures.push_back(fixtureOf(node, around, positions));
        }
        if (node.first_child()) open.push_back({node.first_child(), std::move(around)});
    }
}

}  // namespace

std::vector<MVRFixture> parseMVRScene(std::string xml, const std::string& fileName) {
    const ImportXML::Document text(std::move(xml), document, fileName);
    const auto description = text.root().child("GeneralSceneDescription");
    if (!description) throw ImportError(std::string(document) + " in " + fileName + " ist beschädigt.");
    std::vector<MVRFixture> fixtures;
    for (const auto scene : description.children("Scene")) {
        const auto positions = positionsOf(scene);
        for (const auto layers : scene.children("Layers")) walk(layers, positions, fileName, fixtures);
    }
    return fixtures;
}

}  // namespace kestrelyne
