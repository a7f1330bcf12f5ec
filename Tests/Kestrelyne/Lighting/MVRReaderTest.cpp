#include "Kestrelyne/Lighting/MVRReader.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Archives.hpp"
#include "Support/TemporaryFolder.hpp"

namespace kestrelyne {
namespace {

using namespace kestrelyne::testing;
using PatchImport::MVR;
using ::testing::ElementsAre, ::testing::IsEmpty;

constexpr auto sceneName = "GeneralSceneDescription.xml";

std::string sceneOf(std::string_view layers, std::string_view aux = "") {
    return fmt::format(
        R"(<?xml version="1.0"?><GeneralSceneDescription verMajor="1" verMinor="5"><Scene><AUXData>{}</AUXData><Layers>{}</Layers></Scene></GeneralSceneDescription>)",
        aux, layers);
}

std::string layer(std::string_view children, std::string_view name = "Layer 1") {
    return fmt::format(R"(<Layer name="{}"><ChildList>{}</ChildList></Layer>)", name, children);
}

std::string fixture(std::string_view content, std::string_view name = "Spot") {
    return fmt::format(R"(<Fixture name="{}" uuid="1">{}</Fixture>)", name, content);
}

std::vector<MVRFixture> parsed(std::string_view xml) { return parseMVRScene(std::string(xml), "a.mvr"); }

MVRFixture single(std::string_view content) { return parsed(sceneOf(layer(fixture(content)))).at(0); }

const std::string beam = R"(<GDTF><FixtureType LongName="Beam" Manufacturer="Maker"><PowerConsumption Value="300"/><DMXModes>
    <DMXMode Name="Basic"><DMXChannels><DMXChannel Offset="1,2"><LogicalChannel Attribute="Dimmer"/></DMXChannel></DMXChannels></DMXMode>
    <DMXMode Name="Large"><DMXChannels><DMXChannel Offset="20"><LogicalChannel Attribute="Dimmer"/></DMXChannel>
        <DMXChannel Offset="7" DMXBreak="2"><LogicalChannel Attribute="ColorAdd_R"/></DMXChannel></DMXChannels></DMXMode></DMXModes></FixtureType></GDTF>)";

std::string gdtf(const std::string& description) { return archiveOf({{"description.xml", description}}); }

// The archive of a scene with such types.
MVR imported(const std::string& layers, std::vector<ArchiveEntry> types = {{"Maker@Beam@r1.gdtf", gdtf(beam)}}) {
    const TemporaryFolder folder;
    types.push_back({sceneName, sceneOf(layers)});
    return PatchImport::readMVR(written(folder / "a.mvr", archiveOf(types)));
}

std::string typed(std::string_view spec, std::string_view mode, std::string_view more = "") {
    return fixture(fmt::format("<GDTFSpec>{}</GDTFSpec><GDTFMode>{}</GDTFMode>{}", spec, mode, more));
}

// The scene

TEST(MVRScene, LayerAndTrussArePassedDown) {
    const auto list = parsed(sceneOf(
        layer(R"(<Truss name="T1"><ChildList><GroupObject name="G"><ChildList>)" + fixture("", "a") + R"(</ChildList></GroupObject>
                 <Truss name=""><ChildList>)" +
                  fixture("", "b") + R"(</ChildList></Truss></ChildList></Truss>)" + fixture("", "c") +
                  R"(<Support name="Hoist"><ChildList>)" + fixture("", "d") + "</ChildList></Support>",
              "Front") +
        layer(R"(<SceneObject name="S"><ChildList>)" + fixture("<ChildList>" + fixture("", "f") + "</ChildList>", "e") +
                  "</ChildList></SceneObject>",
              "Back")));
    std::vector<std::string> lines;
    for (const auto& each : list) lines.push_back(each.name + " " + each.layer + " " + each.position);
    EXPECT_THAT(lines, ElementsAre("a Front T1", "b Front T1", "c Front ", "d Front Hoist", "e Back ", "f Back "));
}

TEST(MVRScene, OnlyWhatStandsInLayersIsThere) {
    EXPECT_THAT(parsed(sceneOf("", R"(<Symdef name="S"><ChildList>)" + fixture("") + "</ChildList></Symdef>")), IsEmpty());
    EXPECT_THAT(parsed("<GeneralSceneDescription/>"), IsEmpty());
}

TEST(MVRScene, AFixtureThatHangsNowhereHasItsNamedPosition) {
    const auto list =
        parsed(sceneOf(layer(fixture("<Position>AB-1</Position>") + R"(<Truss name="T"><ChildList>)" +
                             fixture("<Position>AB-1</Position>") + "</ChildList></Truss>" + fixture("<Position>other</Position>")),
                       R"(<Position uuid="ab-1" name="Zug 4"/>)"));
    EXPECT_EQ(list.at(0).position, "Zug 4");
    EXPECT_EQ(list.at(1).position, "T");
    EXPECT_EQ(list.at(2).position, "");
}

TEST(MVRScene, TheNumberIsTheFirstThatIsGiven) {
    struct Row {
        std::string_view content, number;
    };
    for (const auto& [content, number] : std::initializer_list<Row>{
             {"<FixtureID> 12.3 </FixtureID><FixtureIDNumeric>4</FixtureIDNumeric><UnitNumber>5</UnitNumber>", "12.3"},
             {"<FixtureID/><FixtureIDNumeric>4</FixtureIDNumeric><UnitNumber>5</UnitNumber>", "4"},
             {"<UnitNumber>5</UnitNumber>", "5"},
             {"<FixtureID/><FixtureIDNumeric>0</FixtureIDNumeric><UnitNumber>5</UnitNumber>", "5"},
             {"<FixtureID>0</FixtureID><UnitNumber>0</UnitNumber>", ""},
             {"<FixtureID>A1</FixtureID>", "A1"},
             {"", ""}})
        EXPECT_EQ(single(content).fixtureID, number) << content;
}

TEST(MVRScene, AddressesAreAbsoluteOrApartByAPoint) {
    using Place = std::optional<std::pair<int, int>>;
    struct Row {
        std::string_view text;
        Place place;
    };
    for (const auto& [text, place] : std::initializer_list<Row>{{"512", Place({1, 512})},
                                                                {"513", Place({2, 1})},
                                                                {"1", Place({1, 1})},
                                                                {"3.045", Place({3, 45})},
                                                                {"0", {}},
                                                                {"", {}},
                                                                {"-1", {}},
                                                                {"x", {}}})
        EXPECT_THAT(single(fmt::format(R"(<Addresses><Address break="0">{}</Address></Addresses>)", text)).addresses,
                    ElementsAre(MVRFixture::Address{0, place}))
            << text;
    EXPECT_THAT(single("<Address>5</Address>").addresses, ElementsAre(MVRFixture::Address{0, Place({1, 5})}));
    EXPECT_THAT(
        single(
            R"(<Addresses><Address break="2">7</Address><Address break="1">6</Address><Address break="1">9</Address></Addresses>)")
            .addresses,
        ElementsAre(MVRFixture::Address{1, Place({1, 6})}, MVRFixture::Address{2, Place({1, 7})}));
    EXPECT_THAT(single("<Addresses/>").addresses, IsEmpty());
}

TEST(MVRScene, ADamagedDocumentIsToldByItsName) {
    for (const auto* text :
         {"", "text", "<GeneralSceneDescription>", "<Other/>", "<GeneralSceneDescription><Scene></GeneralSceneDescription>"})
        EXPECT_EQ(failureOf([&] { parsed(text); }), "GeneralSceneDescription.xml in a.mvr ist beschädigt.") << text;
}

TEST(MVRScene, DeepNestingIsWalked) {
    std::string begin, end;
    for (int level = 0; level < 200000; ++level) begin += "<ChildList>", end += "</ChildList>";
    EXPECT_EQ(parsed(sceneOf(layer(begin + fixture("", "deep") + end))).at(0).name, "deep");
}

TEST(MVRScene, ADocumentOfTooManyPartsIsRefused) {
    std::string many;
    for (int each = 0; each < 4'000'000; ++each) many += "<a/>";
    EXPECT_EQ(failureOf([&] { parsed(sceneOf(many)); }), "GeneralSceneDescription.xml in a.mvr ist zu umfangreich.");
}

TEST(MVRScene, TheNumberOfFixturesHasALimit) {
    std::string many;
    for (std::size_t each = 0; each < PatchImport::mostFixtures; ++each) many += "<Fixture/>";
    EXPECT_EQ(parsed(sceneOf(many)).size(), PatchImport::mostFixtures);
    EXPECT_EQ(failureOf([&] { parsed(sceneOf(many + "<Fixture/>")); }), "a.mvr enthält mehr als 100000 Fixtures.");
}

TEST(MVRScene, AttributesWithoutEndAreRead) {
    std::string many;
    for (int each = 0; each < 200000; ++each) many += fmt::format(" a{}=\"1\"", each);
    EXPECT_EQ(parsed(sceneOf(layer("<Fixture" + many + " name=\"x\"/>"))).at(0).name, "x");
}

// Types

TEST(MVRReader, AFixtureHasWhatItsGDTFSays) {
    const auto result =
        imported(layer(typed("Maker@Beam@r1.gdtf", "Basic",
                             "<FixtureID>101</FixtureID><Addresses><Address break=\"0\">1025</Address></Addresses>"),
                       "Front"));
    EXPECT_THAT(result.warnings, IsEmpty());
    ASSERT_EQ(result.fixtures.size(), 1u);
    PatchFixture expected;
    expected.id = result.fixtures[0].id;
    expected.fixtureID = "101";
    expected.name = "Spot";
    expected.manufacturer = "Maker";
    expected.model = "Beam";
    expected.mode = "Basic";
    expected.universe = 3;
    expected.address = 1;
    expected.footprint = 2;
    expected.layer = "Front";
    expected.powerW = 300;
    expected.highlight = {{0, 255}, {1, 255}};
    EXPECT_EQ(result.fixtures[0], expected);
}

TEST(MVRReader, TheSpecFindsItsFileInSeveralForms) {
    for (const auto* spec : {"Maker@Beam@r1.gdtf", "Maker@Beam@r1", "maker@beam@R1.GDTF", " Maker@Beam@r1 "}) {
        const auto result = imported(layer(typed(spec, "Basic")));
        EXPECT_EQ(result.fixtures.at(0).model, "Beam") << spec;
        EXPECT_FALSE(result.fixtures.at(0).footprintEstimated) << spec;
    }
    EXPECT_EQ(imported(layer(typed("Beam", "Basic")), {{"types/Beam.gdtf", gdtf(beam)}}).fixtures.at(0).model, "Beam");
}

TEST(MVRReader, AMissingGDTFLeavesAnEstimate) {
    const auto result = imported(layer(typed("Maker@Beam@r2.gdtf", "Large", "<Addresses><Address>5</Address></Addresses>") +
                                       typed("Maker@Beam@r2", "Basic") + fixture("")));
    ASSERT_EQ(result.fixtures.size(), 3u);
    EXPECT_EQ(result.fixtures[0].manufacturer, "Maker");
    EXPECT_EQ(result.fixtures[0].model, "Beam");
    EXPECT_EQ(result.fixtures[0].mode, "Large");
    EXPECT_EQ(result.fixtures[0].address, 5);
    EXPECT_EQ(result.fixtures[2].model, "");
    for (const auto& each : result.fixtures) {
        EXPECT_EQ(each.footprint, 1);
        EXPECT_TRUE(each.footprintEstimated);
        EXPECT_THAT(each.highlight, IsEmpty());
    }
    EXPECT_THAT(result.warnings, ElementsAre("Maker@Beam@r2.gdtf fehlt in der MVR-Datei (2 Fixtures, Kanalzahl geschätzt).",
                                             "Ohne GDTF (1 Fixture, Kanalzahl geschätzt)."));
}

TEST(MVRReader, ADamagedGDTFIsToldByItsNameAndTheRestImported) {
    const auto result = imported(layer(typed("a.gdtf", "") + typed("b.gdtf", "") + typed("c.gdtf", "") + typed("d.gdtf", "") +
                                       typed("Maker@Beam@r1", "Basic")),
                                 {{"a.gdtf", "text"},
                                  {"b.gdtf", gdtf("<GDTF")},
                                  {"c.gdtf", archiveOf({{"x", "y"}})},
                                  {"d.gdtf", gdtf("<GDTF/>")},
                                  {"Maker@Beam@r1.gdtf", gdtf(beam)}});
    EXPECT_EQ(result.fixtures.size(), 5u);
    EXPECT_TRUE(result.fixtures[0].footprintEstimated);
    EXPECT_EQ(result.fixtures[4].footprint, 2);
    EXPECT_THAT(result.warnings,
                ElementsAre("a.gdtf ist kein gültiges ZIP-Archiv (1 Fixture, Kanalzahl geschätzt).",
                            "description.xml in b.gdtf ist beschädigt (1 Fixture, Kanalzahl geschätzt).",
                            "c.gdtf: Keine description.xml in der GDTF-Datei gefunden (1 Fixture, Kanalzahl geschätzt).",
                            "d.gdtf: GDTF ohne FixtureType (1 Fixture, Kanalzahl geschätzt)."));
}

TEST(MVRReader, AnUnknownModeLeavesAnEstimate) {
    const auto result = imported(layer(typed("Maker@Beam@r1", "Medium") + typed("Maker@Beam@r1", "BASIC")));
    EXPECT_EQ(result.fixtures.at(0).model, "Beam");
    EXPECT_EQ(result.fixtures.at(0).powerW, 300);
    EXPECT_EQ(result.fixtures.at(0).mode, "Medium");
    EXPECT_TRUE(result.fixtures.at(0).footprintEstimated);
    EXPECT_EQ(result.fixtures.at(1).footprint, 2) << "other letters";
    EXPECT_THAT(result.warnings, ElementsAre("Maker@Beam@r1.gdtf hat keinen Modus „Medium“ (1 Fixture, Kanalzahl geschätzt)."));
}

TEST(MVRReader, ASingleModeIsMeantWhateverItIsCalled) {
    const auto one = gdtf(
        R"(<FixtureType><DMXModes><DMXMode Name="Only"><DMXChannels><DMXChannel Offset="4"/></DMXChannels></DMXMode></DMXModes></FixtureType>)");
    const auto result = imported(layer(typed("a", "") + typed("a", "Other")), {{"a.gdtf", one}});
    EXPECT_EQ(result.fixtures.at(0).footprint, 4);
    EXPECT_EQ(result.fixtures.at(0).mode, "Only");
    EXPECT_EQ(result.fixtures.at(1).footprint, 4);
    EXPECT_EQ(result.fixtures.at(1).mode, "Other");
    EXPECT_THAT(result.warnings, IsEmpty());
}

TEST(MVRReader, AnAddressOfItsOwnTakesTheChannelsOfItsBreak) {
    struct Row {
        std::string_view addresses;
        int universe, address, footprint, warnings;
    };
    for (const auto& [addresses, universe, address, footprint, warnings] :
         std::initializer_list<Row>{{R"(<Address break="0">5</Address><Address break="1">600</Address>)", 1, 5, 20, 1},
                                    {R"(<Address break="1">600</Address><Address break="0">5</Address>)", 1, 5, 20, 1},
                                    {R"(<Address break="0">0</Address><Address break="1">600</Address>)", 2, 88, 7, 0},
                                    {R"(<Address break="1">5</Address><Address break="2">600</Address>)", 1, 5, 20, 1},
                                    {R"(<Address break="1">0</Address><Address break="2">600</Address>)", 2, 88, 7, 0},
                                    {R"(<Address break="0">5</Address>)", 1, 5, 20, 0},
                                    {R"(<Address break="9">5</Address>)", 1, 5, 20, 0},
                                    {R"(<Address break="0">0</Address><Address break="1">0</Address>)", 0, 0, 20, 0},
                                    {"", 0, 0, 20, 0}}) {
        const auto result = imported(layer(typed("Maker@Beam@r1", "Large", fmt::format("<Addresses>{}</Addresses>", addresses))));
        const auto& fixture = result.fixtures.at(0);
        EXPECT_EQ(std::tuple(fixture.universe, fixture.address, fixture.footprint), std::tuple(universe, address, footprint))
            << addresses;
        for (const auto& value : fixture.highlight) EXPECT_LT(value.offset, fixture.footprint) << addresses;
        EXPECT_EQ(fixture.highlight.size(), 1u);
        EXPECT_EQ(result.warnings.size(), static_cast<std::size_t>(warnings)) << addresses;
    }
}

TEST(MVRReader, EachGDTFIsReadOnce) {
    std::string layers;
    for (int each = 0; each < 20; ++each) layers += typed(each % 2 == 0 ? "big" : "BIG.gdtf", "");
    // Twenty readings together would be more than may be read.
    const auto big = archiveOf({{"description.xml", "<FixtureType Name=\"Big\"/>" + std::string(60u << 20, ' '), ZIP_CM_STORE}});
    const auto result = imported(layer(layers), {{"big.gdtf", big, ZIP_CM_STORE}});
    for (const auto& each : result.fixtures) EXPECT_EQ(each.model, "Big");
}

TEST(MVRReader, TellsWhyAFileIsNone) {
    const TemporaryFolder folder;
    const auto failure = [&](std::string_view bytes) {
        return failureOf([&] { PatchImport::readMVR(written(folder / "Show.mvr", bytes)); });
    };
    EXPECT_EQ(failure("Fixture-ID;Name\n1;Spot\n"), "Show.mvr ist kein gültiges ZIP-Archiv.");
    EXPECT_EQ(failure(archiveOf({{"a.gdtf", "x"}})), "Keine GeneralSceneDescription.xml in der MVR-Datei gefunden.");
    EXPECT_EQ(failure(archiveOf({{sceneName, "<GeneralScene"}})), "GeneralSceneDescription.xml in Show.mvr ist beschädigt.");
    EXPECT_EQ(failure(archiveOf({{sceneName, std::string(PatchImport::largestDocument + 1, ' ')}})),
              "GeneralSceneDescription.xml in Show.mvr ist größer als 128 MB.");
    EXPECT_EQ(failureOf([&] { PatchImport::readMVR(folder / "none.mvr"); }), "none.mvr kann nicht gelesen werden.");
}

TEST(MVRReader, ASceneWithoutFixturesSaysSo) {
    EXPECT_THAT(imported(layer("")).warnings, ElementsAre("Keine Fixtures in der MVR-Datei gefunden."));
}

TEST(MVRReader, TheNumberOfTypesHasALimit) {
    std::vector<ArchiveEntry> types;
    std::string fixtures;
    const auto bytes = gdtf("<FixtureType Name=\"T\"/>");
    for (int each = 0; each <= 1000; ++each) {
        types.push_back({fmt::format("{}.gdtf", each), bytes, ZIP_CM_STORE});
        fixtures += typed(std::to_string(each), "M");
    }
    const auto result = imported(layer(fixtures), types);
    EXPECT_EQ(result.fixtures.at(999).model, "T");
    EXPECT_EQ(result.warnings.back(), "Mehr als 1000 Gerätetypen (1 Fixture, Kanalzahl geschätzt).");
}

}  // namespace
}  // namespace kestrelyne
