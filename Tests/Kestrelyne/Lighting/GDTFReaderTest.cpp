#include "Kestrelyne/Lighting/GDTFReader.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "Archives.hpp"
#include "Support/TemporaryFolder.hpp"

namespace kestrelyne {
namespace {

using namespace kestrelyne::testing;
using DMXValue = PatchFixture::DMXValue;
using Info = PatchImport::GDTFInfo;
using ::testing::ElementsAre, ::testing::IsEmpty, ::testing::Pair;

constexpr std::string_view oneGeometry = R"(<Geometry Name="Body"/>)";

std::string documentOf(std::string_view modes, std::string_view geometries = oneGeometry, std::string_view more = "") {
    return fmt::format(R"(<?xml version="1.0" encoding="UTF-8"?>
<GDTF DataVersion="1.2"><FixtureType Name="Short" LongName="Beam 1" Manufacturer="Maker">{}
<Geometries>{}</Geometries><DMXModes>{}</DMXModes></FixtureType></GDTF>)",
                       more, geometries, modes);
}

std::string modeOf(std::string_view channels, std::string_view geometry = "Body") {
    return fmt::format(R"(<DMXMode Name="Mode 1" Geometry="{}"><DMXChannels>{}</DMXChannels></DMXMode>)", geometry, channels);
}

std::string channel(std::string_view offset, std::string_view attribute, std::string_view more = R"(Geometry="Body")",
                    std::string_view functions = "") {
    return fmt::format(R"(<DMXChannel Offset="{}" {}><LogicalChannel Attribute="{}">{}</LogicalChannel></DMXChannel>)", offset,
                       more, attribute, functions);
}

Info parsed(std::string_view xml) { return PatchImport::parseGDTF(std::string(xml), "a.gdtf"); }

Info::Mode single(const std::string& channels, std::string_view geometries = oneGeometry, std::string_view geometry = "Body") {
    return parsed(documentOf(modeOf(channels, geometry), geometries)).modes.at(0);
}

std::vector<DMXValue> highlightOf(const std::string& channels) { return single(channels).breaks.at(1).highlight; }

std::map<int, int> channelsOf(const Info::Mode& mode) {
    std::map<int, int> counts;
    for (const auto& [number, range] : mode.breaks) counts[number] = range.channels;
    return counts;
}

TEST(GDTFReader, GivesMakerTypeAndModes) {
    const auto info =
        parsed(documentOf(modeOf(channel("1", "Dimmer")) + R"(<DMXMode Name="Mode &quot;2&quot;" Geometry="Body"/>)"));
    EXPECT_EQ(info.manufacturer, "Maker");
    EXPECT_EQ(info.model, "Beam 1");
    ASSERT_EQ(info.modes.size(), 2u);
    EXPECT_EQ(info.modes[0].name, "Mode 1");
    EXPECT_EQ(info.modes[0].footprint, 1);
    EXPECT_EQ(info.modes[1].name, "Mode \"2\"");
    EXPECT_EQ(info.modes[1].footprint, 0);
    EXPECT_THAT(info.modes[1].breaks, IsEmpty());
}

TEST(GDTFReader, TheNameStandsInForAnEmptyLongName) {
    EXPECT_EQ(parsed(R"(<GDTF><FixtureType Name="N" LongName=" "/></GDTF>)").model, "N");
    EXPECT_EQ(parsed(R"(<FixtureType Name="N"/>)").model, "N") << "wherever the type stands";
}

TEST(GDTFReader, PowerIsTheSumOfAllConsumers) {
    const auto power = [](std::string_view properties) { return parsed(documentOf("", "", properties)).powerW; };
    EXPECT_EQ(power(R"(<P><PowerConsumption Value="350.5"/><Q><PowerConsumption Value="100"/></Q></P>)"), 450.5);
    EXPECT_EQ(power(R"(<PowerConsumption Value="x"/><PowerConsumption/><PowerConsumption Value="-5"/>)"), std::nullopt);
    EXPECT_EQ(power(R"(<PowerConsumption Value="0.000000"/>)"), std::nullopt) << "not entered";
    EXPECT_EQ(power(""), std::nullopt);
}

// Channels

TEST(GDTFReader, TheHighestOffsetIsTheFootprint) {
    EXPECT_EQ(single(channel("1", "Pan") + channel("4,5", "Tilt")).footprint, 5);
    EXPECT_EQ(single(channel("7,3", "Pan")).footprint, 7) << "bytes in any order";
    EXPECT_EQ(single(channel(" 2 , 3 ", "Pan")).footprint, 3);
}

TEST(GDTFReader, VirtualChannelsTakeNone) {
    EXPECT_EQ(single(channel("1", "Pan") + channel("None", "Dimmer") + channel("", "Dimmer") + channel("0", "Zoom")).footprint, 1);
    EXPECT_EQ(single(R"(<DMXChannel Geometry="Body"><LogicalChannel Attribute="Dimmer"/></DMXChannel>)").footprint, 0);
}

TEST(GDTFReader, EachBreakHasChannelsOfItsOwn) {
    const auto mode = single(channel("1", "Dimmer") + channel("2", "Pan", R"(Geometry="Body" DMXBreak="1")") +
                             channel("1,2,3", "ColorAdd_R", R"(Geometry="Body" DMXBreak="2")"));
    EXPECT_EQ(mode.footprint, 5);
    EXPECT_THAT(channelsOf(mode), ElementsAre(Pair(1, 2), Pair(2, 3)));
    EXPECT_THAT(mode.breaks.at(1).highlight, ElementsAre(DMXValue{0, 255}));
    EXPECT_THAT(mode.breaks.at(2).highlight, ElementsAre(DMXValue{0, 255, true}, DMXValue{1, 255, true}, DMXValue{2, 255, true}));
}

TEST(GDTFReader, AReferredGeometryStandsThereOnceAReference) {
    const auto mode = single(channel("1", "Dimmer") + channel("1", "ColorAdd_R", R"(Geometry="Pixel")") +
                                 channel("2,3", "ColorAdd_G", R"(Geometry="Glow")"),
                             R"(<Geometry Name="Body"><Axis Name="Yoke">
        <GeometryReference Name="A" Geometry="Pixel"><Break DMXBreak="1" DMXOffset="2"/></GeometryReference>
        <GeometryReference Name="B" Geometry="Pixel"><Break DMXOffset="5"/></GeometryReference>
        <GeometryReference Name="C" Geometry="Nowhere"/>
    </Axis></Geometry><Geometry Name="Pixel"><Beam Name="Glow"/></Geometry>)");
    EXPECT_THAT(channelsOf(mode), ElementsAre(Pair(1, 7)));
    std::vector<int> lit;
    for (const auto& value : mode.breaks.at(1).highlight) lit.push_back(value.offset);
    EXPECT_THAT(lit, ElementsAre(0, 1, 2, 3, 4, 5, 6));
}

TEST(GDTFReader, TheLastBreakOfAReferenceIsForChannelsThatLeaveTheirsOpen) {
    const auto mode = single(channel("1", "Pan") + channel("3", "Tilt", R"(Geometry="Cell" DMXBreak="1")") +
                                 channel("7", "Zoom", R"(Geometry="Cell" DMXBreak="Overwrite")") +
                                 channel("6,7", "XYZ_Z", R"(Geometry="Cell" DMXBreak="2")"),
                             R"(<Geometry Name="Cell"/><Geometry Name="Body">
        <GeometryReference Geometry="Cell"><Break DMXBreak="1" DMXOffset="1"/><Break DMXBreak="2" DMXOffset="1"/><Break DMXBreak="3" DMXOffset="1"/></GeometryReference>
        <GeometryReference Geometry="Cell"><Break DMXBreak="1" DMXOffset="3"/><Break DMXBreak="2" DMXOffset="3"/><Break DMXBreak="3" DMXOffset="2"/></GeometryReference>
    </Geometry>)");
    EXPECT_THAT(channelsOf(mode), ElementsAre(Pair(1, 5), Pair(2, 9), Pair(3, 8)));
}

TEST(GDTFReader, AReferenceWithoutABreakMovesNothing) {
    const auto mode =
        single(channel("3", "Tilt", R"(Geometry="Cell")") + channel("4", "Zoom", R"(Geometry="Cell" DMXBreak="Overwrite")"),
               R"(<Geometry Name="Cell"/><Geometry Name="Body"><GeometryReference Geometry="Cell"/></Geometry>)");
    EXPECT_THAT(channelsOf(mode), ElementsAre(Pair(1, 4)));
}

TEST(GDTFReader, ReferencesInsideReferencesAddUp) {
    const auto mode = single(channel("1", "Dimmer", R"(Geometry="Pixel")"), R"(<Geometry Name="Body">
        <GeometryReference Geometry="Row"><Break DMXOffset="1"/></GeometryReference><GeometryReference Geometry="Row"><Break DMXOffset="11"/></GeometryReference></Geometry>
        <Geometry Name="Row"><GeometryReference Geometry="Pixel"><Break DMXOffset="1"/></GeometryReference><GeometryReference Geometry="Pixel"><Break DMXOffset="2"/></GeometryReference></Geometry>
        <Geometry Name="Pixel"/>)");
    std::vector<int> lit;
    for (const auto& value : mode.breaks.at(1).highlight) lit.push_back(value.offset);
    EXPECT_THAT(lit, ElementsAre(0, 1, 10, 11));
    EXPECT_EQ(mode.footprint, 12);
}

TEST(GDTFReader, OnlyTheGeometryOfTheModeCounts) {
    const std::string geometries = R"(<Geometry Name="Small"><GeometryReference Geometry="Pixel"/></Geometry>
        <Geometry Name="Large"><GeometryReference Geometry="Pixel"/><GeometryReference Geometry="Pixel"><Break DMXOffset="9"/></GeometryReference></Geometry>
        <Geometry Name="Pixel"/>)";
    const auto channels = channel("1", "Dimmer", R"(Geometry="Pixel")");
    EXPECT_EQ(single(channels, geometries, "Small").footprint, 1);
    EXPECT_EQ(single(channels, geometries, "Large").footprint, 9);
    EXPECT_EQ(single(channels, geometries, "Pixel").footprint, 1);
    EXPECT_EQ(single(channels, geometries, "Missing").footprint, 9) << "all that nobody refers to";
}

TEST(GDTFReader, AChannelOfAnUnknownGeometryStandsThereOnce) {
    EXPECT_EQ(single(channel("3", "Pan", R"(Geometry="Other")")).footprint, 3);
    EXPECT_EQ(single(channel("3", "Pan", "")).footprint, 3);
    EXPECT_EQ(single(channel("3", "Pan"), "").footprint, 3);
}

// Highlight

TEST(GDTFReader, ADimmerIsFullInAllItsBytes) {
    EXPECT_THAT(highlightOf(channel("1", "Dimmer")), ElementsAre(DMXValue{0, 255}));
    EXPECT_THAT(highlightOf(channel("3,4", "dimmer")), ElementsAre(DMXValue{2, 255}, DMXValue{3, 255}));
    EXPECT_THAT(highlightOf(channel("1", "Dimmer7")), IsEmpty()) << "what some programs call any channel";
    EXPECT_THAT(highlightOf(channel("1", "DimmerCurve")), IsEmpty());
}

TEST(GDTFReader, AdditiveColoursAreFullAndFollowTheLevelWithoutADimmer) {
    const auto colors = channel("1", "ColorAdd_R") + channel("2", "ColorAdd_UV") + channel("3", "ColorRGB_Red") +
                        channel("4", "ColorSub_C") + channel("5", "ColorRGB_Cyan") + channel("6", "Color1");
    EXPECT_THAT(highlightOf(colors), ElementsAre(DMXValue{0, 255}, DMXValue{1, 255}, DMXValue{2, 255}));
    EXPECT_THAT(highlightOf(colors + channel("", "Dimmer")), ElementsAre(DMXValue{0, 255}, DMXValue{1, 255}, DMXValue{2, 255}))
        << "a virtual dimmer dims nothing";
    EXPECT_THAT(highlightOf(colors + channel("9", "Dimmer")),
                ElementsAre(DMXValue{0, 255, true}, DMXValue{1, 255, true}, DMXValue{2, 255, true}, DMXValue{8, 255}));
}

std::vector<DMXValue> shutterOf(std::string_view functions, std::string_view more = "", std::string_view offset = "1") {
    return highlightOf(channel(offset, "Shutter1", fmt::format(R"(Geometry="Body" {})", more), functions));
}

TEST(GDTFReader, AShutterStandsWhereItsNamesSayOpen) {
    EXPECT_THAT(
        shutterOf(
            R"(<ChannelFunction Name="Shutter" DMXFrom="0/1"><ChannelSet Name="Closed" DMXFrom="0/1"/><ChannelSet Name="Open" DMXFrom="25/1"/></ChannelFunction>)"),
        ElementsAre(DMXValue{0, 25}));
    EXPECT_THAT(shutterOf(R"(<ChannelFunction Name="zu" DMXFrom="0/1"/><ChannelFunction Name="Blende OFFEN" DMXFrom="255/1"/>)"),
                ElementsAre(DMXValue{0, 255, true}));
    EXPECT_THAT(
        shutterOf(R"(<ChannelFunction Name="Closed/Open" DMXFrom="0/1"><ChannelSet Name="Open" DMXFrom="32/1"/></ChannelFunction>
                             <ChannelFunction Name="Open" DMXFrom="201/1"/>)"),
        ElementsAre(DMXValue{0, 32}))
        << "the name that says it alone, the first of two";
    EXPECT_THAT(
        shutterOf(
            R"(<ChannelFunction Name="Opening pulse" DMXFrom="64/1"/><ChannelFunction Name="Shutter open" DMXFrom="240/1"/>)"),
        ElementsAre(DMXValue{0, 240}));
    EXPECT_THAT(shutterOf(R"(<ChannelFunction Name="Open"/>)"), ElementsAre(DMXValue{0, 0}))
        << "a range begins at 0 where it does not say";
    EXPECT_THAT(
        highlightOf(channel("2", "StrobeModeShutter", R"(Geometry="Body")", R"(<ChannelFunction Name="open" DMXFrom="9"/>)")),
        ElementsAre(DMXValue{1, 9}));
}

TEST(GDTFReader, AShutterWithoutSuchANameStandsWhereTheTypeSays) {
    EXPECT_THAT(shutterOf(R"(<ChannelFunction Name="A" Default="7/1"/>)", R"(Highlight="200/1")"), ElementsAre(DMXValue{0, 200}));
    EXPECT_THAT(shutterOf(R"(<ChannelFunction Name="A" Default="7/1"/><ChannelFunction Name="B" Default="8/1"/>)",
                          R"(Highlight="None" InitialFunction="Body_Shutter1.Shutter1.B")"),
                ElementsAre(DMXValue{0, 8}));
    EXPECT_THAT(shutterOf(R"(<ChannelFunction Name="A" Default="7/1"/>)"), ElementsAre(DMXValue{0, 7}));
    EXPECT_THAT(shutterOf(""), IsEmpty());
    EXPECT_THAT(shutterOf(R"(<ChannelFunction Name="Open" DMXFrom="x"/>)"), IsEmpty());
}

TEST(GDTFReader, AWideShutterHasAllBytesOfItsValue) {
    const auto open = [](std::string_view value) {
        return shutterOf(fmt::format(R"(<ChannelFunction Name="Open" DMXFrom="{}"/>)", value), "", "1,2");
    };
    EXPECT_THAT(open("13107/2"), ElementsAre(DMXValue{0, 0x33}, DMXValue{1, 0x33}));
    EXPECT_THAT(open("32768/2"), ElementsAre(DMXValue{0, 128}, DMXValue{1, 0}));
    EXPECT_THAT(open("255/1"), ElementsAre(DMXValue{0, 255, true}, DMXValue{1, 255, true}));
}

TEST(GDTFReader, ADimmerThatSharesItsChannelWithAShutterIsADimmer) {
    EXPECT_THAT(
        highlightOf(
            R"(<DMXChannel Offset="1"><LogicalChannel Attribute="Shutter1"/><LogicalChannel Attribute="Dimmer"/></DMXChannel>)"),
        ElementsAre(DMXValue{0, 255}));
}

TEST(GDTFReader, LevelsBeyondAUniverseAreLeftOut) {
    const auto mode = single(channel("512", "Dimmer") + channel("513", "Dimmer"));
    EXPECT_EQ(mode.footprint, 513);
    EXPECT_THAT(mode.breaks.at(1).highlight, ElementsAre(DMXValue{511, 255}));
}

TEST(GDTFReader, OfTwoChannelsOnOneOffsetTheFirstIsMeant) {
    EXPECT_THAT(highlightOf(channel("1", "Dimmer") + channel("1", "ColorAdd_R")), ElementsAre(DMXValue{0, 255}));
}

TEST(DMXByte, ReadsTheNotationOfGDTF) {
    struct Row {
        std::string_view text;
        std::optional<int> byte;
    };
    for (const auto& [text, byte] : std::initializer_list<Row>{{"0/1", 0},
                                                               {"255/1", 255},
                                                               {"128", 128},
                                                               {"32768/2", 128},
                                                               {"65535/2", 255},
                                                               {"256/2", 1},
                                                               {"255/2", 0},
                                                               {"8388608/3", 128},
                                                               {" 5 / 1 ", 5},
                                                               {"255/1s", 255},
                                                               {"4294967295/4", 255},
                                                               {"256/1", {}},
                                                               {"256", {}},
                                                               {"-1/1", {}},
                                                               {"1/0", {}},
                                                               {"1/8", {}},
                                                               {"None", {}},
                                                               {"", {}},
                                                               {"/1", {}},
                                                               {"1/", {}},
                                                               {"1.5", {}},
                                                               {"99999999999999999999/7", {}},
                                                               {"1/1/1", {}}})
        EXPECT_EQ(PatchImport::dmxByte(text), byte) << text;
}

TEST(DMXBytes, MissingBytesRepeatTheValueOrAreNothing) {
    EXPECT_EQ(PatchImport::dmxBytes("18/1", 3), (std::vector{18, 18, 18}));
    EXPECT_EQ(PatchImport::dmxBytes("258/2", 3), (std::vector{1, 2, 1}));
    EXPECT_EQ(PatchImport::dmxBytes("18/1s", 2), (std::vector{18, 0}));
    EXPECT_EQ(PatchImport::dmxBytes("66051/3", 2), (std::vector{1, 2}));
    EXPECT_EQ(PatchImport::dmxBytes("1/1", 0), std::vector<int>{});
}

// Bad files

TEST(GDTFReader, WhatIsNoDescriptionIsToldWithTheFileInside) {
    for (const auto* text : {"", "hello", "<GDTF>", "<GDTF><FixtureType></GDTF>", "<a><b></a></b>", "<GDTF", "\xFF\xFE<"})
        EXPECT_EQ(failureOf([&] { parsed(text); }), "description.xml in a.gdtf ist beschädigt.") << text;
    EXPECT_EQ(failureOf([] { parsed("<GDTF/>"); }), "GDTF ohne FixtureType");
}

TEST(GDTFReader, ReadsAFileAndTellsWhyNot) {
    const TemporaryFolder folder;
    const auto file = [&](std::string_view bytes) { return PatchImport::readGDTF(written(folder / "x.gdtf", bytes)); };
    EXPECT_EQ(file(archiveOf({{"thumbnail.png", "x"}, {"description.xml", documentOf("")}})).model, "Beam 1");
    EXPECT_EQ(failureOf([&] { file(archiveOf({{"thumbnail.png", "x"}})); }), "Keine description.xml in der GDTF-Datei gefunden.");
    EXPECT_EQ(failureOf([&] { file("text"); }), "x.gdtf ist kein gültiges ZIP-Archiv.");
    EXPECT_EQ(failureOf([&] { file(archiveOf({{"description.xml", "<GDTF"}})); }), "description.xml in x.gdtf ist beschädigt.");
}

TEST(GDTFReader, EntitiesOfADocumentAreNotExpanded) {
    std::string bomb = R"(<!DOCTYPE GDTF [<!ENTITY a "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa">)";
    for (char each = 'b'; each <= 'z'; ++each)
        bomb += fmt::format(R"(<!ENTITY {} "&{};&{};&{};&{};&{};&{};&{};&{};">)", each, each - 1, each - 1, each - 1, each - 1,
                            each - 1, each - 1, each - 1, each - 1);
    bomb += R"(<!ENTITY file SYSTEM "file:///etc/passwd">]><GDTF><FixtureType LongName="&z;" Manufacturer="&file;"/></GDTF>)";
    const auto info = parsed(bomb);
    EXPECT_EQ(info.model, "&z;");
    EXPECT_EQ(info.manufacturer, "&file;");
}

TEST(GDTFReader, DeepNestingIsRead) {
    std::string geometries, end;
    for (int level = 0; level < 100000; ++level) geometries += R"(<Geometry Name="G">)", end += "</Geometry>";
    EXPECT_EQ(single(channel("2", "Dimmer", R"(Geometry="G")"), geometries + end, "G").footprint, 2);
}

constexpr auto tooMany = "description.xml in a.gdtf hat zu viele Verweise auf Geometrien.";

TEST(GDTFReader, CirclesOfReferencesEnd) {
    const auto failure = [](std::string_view geometries) {
        return failureOf([&] { single(channel("1", "Dimmer", R"(Geometry="A")"), geometries, "A"); });
    };
    EXPECT_EQ(failure(R"(<Geometry Name="A"><GeometryReference Geometry="A"/></Geometry>)"), tooMany);
    EXPECT_EQ(
        failure(
            R"(<Geometry Name="A"><GeometryReference Geometry="B"/></Geometry><Geometry Name="B"><GeometryReference Geometry="A"/></Geometry>)"),
        tooMany);
}

TEST(GDTFReader, ReferencesThatMultiplyEnd) {
    std::string geometries;
    for (int level = 0; level < 12; ++level) {
        geometries += fmt::format(R"(<Geometry Name="G{}">)", level);
        for (int each = 0; each < 10; ++each)
            geometries += fmt::format(R"(<GeometryReference Geometry="G{}"><Break DMXOffset="2"/></GeometryReference>)", level + 1);
        geometries += "</Geometry>";
    }
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_EQ(
        failureOf([&] { single(channel("1", "Dimmer", R"(Geometry="G12")"), geometries + R"(<Geometry Name="G12"/>)", "G0"); }),
        tooMany);
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(20));
}

TEST(GDTFReader, ManyChannelsOfManyInstancesEnd) {
    std::string references, channels;
    for (int each = 0; each < 2000; ++each) {
        references += R"(<GeometryReference Geometry="P"/>)";
        channels += channel("1", "Pan", R"(Geometry="P")");
    }
    EXPECT_EQ(
        failureOf([&] { single(channels, fmt::format(R"(<Geometry Name="Body">{}</Geometry><Geometry Name="P"/>)", references)); }),
        tooMany);
}

TEST(GDTFReader, OffsetsBeyondReasonAreLeftOut) {
    EXPECT_EQ(
        single(channel("1", "Dimmer") + channel("99999999999", "Pan") + channel("70000", "Pan") + channel("-3", "Tilt")).footprint,
        1);
    EXPECT_EQ(
        single(
            channel("60000", "Dimmer", R"(Geometry="P")"),
            R"(<Geometry Name="Body"><GeometryReference Geometry="P"><Break DMXOffset="60000"/></GeometryReference></Geometry><Geometry Name="P"/>)")
            .footprint,
        0);
}

TEST(GDTFReader, BrokenTextIsRepaired) {
    EXPECT_EQ(parsed("<FixtureType Name=\"S\xFC"
                     "d\"/>")
                  .model,
              "S\uFFFDd");
}

}  // namespace
}  // namespace kestrelyne
