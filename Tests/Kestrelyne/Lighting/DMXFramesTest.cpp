#include "Kestrelyne/Lighting/DMXFrames.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>

namespace kestrelyne {

namespace {

using Value = PatchFixture::DMXValue;

PatchFixture lamp(int universe, int address, std::vector<Value> highlight = {}) {
    PatchFixture fixture;
    fixture.universe = universe;
    fixture.address = address;
    fixture.highlight = std::move(highlight);
    return fixture;
}

std::map<int, int> channelsOf(const PatchFixture& fixture, double level) {
    DMXSender::Frame frame{};
    DMXFrames::light(frame, fixture, level);
    std::map<int, int> lit;
    for (std::size_t i = 0; i < frame.size(); ++i)
        if (frame[i] != 0) lit[static_cast<int>(i) + 1] = frame[i];
    return lit;
}

TEST(DMXFrames, UniversesOnTheWire) {
    struct Row {
        int console, offset;
        NetProtocol protocol;
        std::optional<int> expected;
    };
    for (const auto& [console, offset, protocol, expected] : std::initializer_list<Row>{
             {1, 0, NetProtocol::artnet, 0},
             {2, 5, NetProtocol::artnet, 6},
             {1, -3, NetProtocol::artnet, 0},
             {0, 0, NetProtocol::artnet, std::nullopt},
             {0, 7, NetProtocol::artnet, std::nullopt},
             {-4, 0, NetProtocol::artnet, std::nullopt},
             {32768, 0, NetProtocol::artnet, 32767},
             {32769, 0, NetProtocol::artnet, std::nullopt},
             {1, 9, NetProtocol::sacn, 1},
             {63999, 0, NetProtocol::sacn, 63999},
             {64000, 0, NetProtocol::sacn, std::nullopt},
             {0, 0, NetProtocol::sacn, std::nullopt},
         })
        EXPECT_EQ(DMXFrames::wireUniverse(console, {.artNetOffset = offset}, protocol), expected) << console << " + " << offset;
}

TEST(DMXFrames, WhatIsNotPatchedIsNotReached) {
    for (const auto& [universe, address, expected] : std::initializer_list<std::tuple<int, int, bool>>{
             {1, 1, true}, {1, 512, true}, {1, 513, false}, {1, 0, false}, {1, -1, false}, {0, 1, false}})
        for (const auto protocol : {NetProtocol::artnet, NetProtocol::sacn})
            EXPECT_EQ(DMXFrames::reachable(lamp(universe, address), {}, protocol), expected) << universe << "." << address;
}

TEST(DMXFrames, TheLevelIsRounded) {
    for (const auto& [level, expected] : std::initializer_list<std::pair<double, int>>{
             {0, 0}, {0.001, 0}, {0.002, 1}, {0.5, 128}, {0.999, 255}, {1, 255}, {1.5, 255}, {-1, 0}})
        EXPECT_EQ(DMXFrames::slotValue(level), expected) << level;
    EXPECT_EQ(DMXFrames::slotValue(std::numeric_limits<double>::quiet_NaN()), 0);
}

// Dimmers follow the level; a shutter that stands open at 255, a colour wheel and the lamp's mode stay where they must be.
TEST(DMXFrames, TheLevelScalesIntensitiesAlone) {
    const auto moving = lamp(1, 101, {{0, 255}, {1, 255}, {3, 255, true}, {4, 40}});
    EXPECT_EQ(channelsOf(moving, 0.5), (std::map<int, int>{{101, 128}, {102, 128}, {104, 255}, {105, 40}}));
    EXPECT_EQ(channelsOf(moving, 0), (std::map<int, int>{{104, 255}, {105, 40}}));
    EXPECT_EQ(channelsOf(moving, 1), (std::map<int, int>{{101, 255}, {102, 255}, {104, 255}, {105, 40}}));
}

TEST(DMXFrames, ALampWithoutAHighlightGetsItsFirstChannelAlone) {
    auto dimmer = lamp(1, 7);
    dimmer.footprint = 6;
    EXPECT_EQ(channelsOf(dimmer, 1), (std::map<int, int>{{7, 255}}));
    EXPECT_EQ(channelsOf(dimmer, 0.5), (std::map<int, int>{{7, 128}}));
}

TEST(DMXFrames, ChannelsBeyondTheUniverseAreLeftOut) {
    constexpr int far = std::numeric_limits<int>::max();
    EXPECT_EQ(channelsOf(lamp(1, 510, {{0, 255}, {2, 9}, {3, 255}, {-1, 255}, {far, 255}}), 1),
              (std::map<int, int>{{510, 255}, {512, 9}}));
}

TEST(DMXFrames, ValuesOutsideASlotAreCut) {
    EXPECT_EQ(channelsOf(lamp(1, 1, {{0, 300}, {1, -5}}), 1), (std::map<int, int>{{1, 255}}));
}

TEST(DMXFrames, ArtNetCountsFromOneAndSACNFromZero) {
    for (const auto& [sequence, artnet, sacn] :
         std::initializer_list<std::tuple<int, int, int>>{{0, 1, 1}, {1, 2, 2}, {254, 255, 255}, {255, 1, 0}}) {
        const auto number = static_cast<std::uint8_t>(sequence);
        EXPECT_EQ(DMXFrames::nextSequence(number, NetProtocol::artnet), artnet) << sequence;
        EXPECT_EQ(DMXFrames::nextSequence(number, NetProtocol::sacn), sacn) << sequence;
    }
}

TEST(DMXFrames, ArtNetGoesToTheNodesOfTheUniverse) {
    EXPECT_EQ(DMXFrames::targets(4, {.protocol = NetProtocol::artnet, .nodes = {"10.0.0.2", "10.0.0.3"}, .adapters = {7}}),
              (std::vector<DMXSender::Target>{{.universe = 4, .destinations = {"10.0.0.2", "10.0.0.3"}}}));
    EXPECT_TRUE(DMXFrames::targets(4, {.protocol = NetProtocol::artnet}).empty());
}

TEST(DMXFrames, SACNGoesToTheGroupThroughEachAdapter) {
    using Targets = std::vector<DMXSender::Target>;
    EXPECT_EQ(DMXFrames::targets(257, {.protocol = NetProtocol::sacn, .adapters = {3, 5}}),
              (Targets{{.universe = 257, .destinations = {"239.255.1.1"}, .interfaceIndex = 3},
                       {.universe = 257, .destinations = {"239.255.1.1"}, .interfaceIndex = 5}}));
    EXPECT_EQ(DMXFrames::targets(1, {.protocol = NetProtocol::sacn}), (Targets{{.universe = 1, .destinations = {"239.255.0.1"}}}));
    EXPECT_EQ(DMXFrames::targets(1, {.protocol = NetProtocol::sacn, .adapters = {3}, .loopbackOnly = true}),
              (Targets{{.universe = 1, .destinations = {"127.0.0.1"}}}));
}

// Foreign sources

constexpr base::SteadyTime now{std::chrono::seconds(1000)};

DMXSourceView source(std::string name, std::chrono::milliseconds age = {}) {
    return {.id = name, .name = std::move(name), .ip = "10.0.0.9", .lastSeen = {.wall = {}, .steady = now - age}, .data = {}};
}

using Wire = std::map<UniverseKey, std::vector<DMXSourceView>>;

DMXFrames::Foreign foreign(const Wire& wire, const std::set<int>& universes, const PatchSettings& settings = {}) {
    const auto sources = [&](const UniverseKey& key) {
        const auto found = wire.find(key);
        return found == wire.end() ? std::vector<DMXSourceView>() : found->second;
    };
    return DMXFrames::foreignSources(universes, settings, sources, now);
}

UniverseKey sacn(int universe) { return {.proto = NetProtocol::sacn, .number = universe}; }
UniverseKey artnet(int universe) { return {.proto = NetProtocol::artnet, .number = universe}; }

TEST(ForeignSources, BothProtocolsAreLookedAtBySeparateNumbers) {
    const Wire wire = {{sacn(1), {source("Pult")}}, {artnet(0), {source("Medienserver")}}, {artnet(1), {source("Nachbar")}}};
    EXPECT_EQ(foreign(wire, {1}), (DMXFrames::Foreign{.names = {"Medienserver (Art-Net)", "Pult (sACN)"}, .universes = {1}}));
    EXPECT_EQ(foreign(wire, {2}), (DMXFrames::Foreign{.names = {"Nachbar (Art-Net)"}, .universes = {2}}));
    EXPECT_EQ(foreign(wire, {3}), DMXFrames::Foreign{});
    // The mapping moves Art-Net and leaves sACN.
    EXPECT_EQ(foreign(wire, {1}, {.artNetOffset = 1}),
              (DMXFrames::Foreign{.names = {"Nachbar (Art-Net)", "Pult (sACN)"}, .universes = {1}}));
}

TEST(ForeignSources, OursIsNone) {
    auto ours = source("Brantholme Test");
    ours.own = true;
    EXPECT_EQ(foreign({{sacn(1), {ours}}, {artnet(0), {ours}}}, {1}), DMXFrames::Foreign{});
}

TEST(ForeignSources, WhoIsSilentForThreeSecondsOrHasEndedIsNone) {
    using namespace std::chrono_literals;
    EXPECT_EQ(foreign({{sacn(1), {source("Pult", 3000ms)}}}, {1}), DMXFrames::Foreign{});
    EXPECT_EQ(foreign({{sacn(1), {source("Pult", 2999ms)}}}, {1}).names.size(), 1u);
    auto ended = source("Pult");
    ended.terminated = true;
    EXPECT_EQ(foreign({{sacn(1), {ended}}}, {1}), DMXFrames::Foreign{});
}

TEST(ForeignSources, EachNameIsToldOnceAndAnAddressStandsForNone) {
    EXPECT_EQ(foreign({{sacn(1), {source("Pult"), source("")}}, {sacn(2), {source("Pult")}}}, {1, 2, 3}),
              (DMXFrames::Foreign{.names = {"Pult (sACN)", "10.0.0.9 (sACN)"}, .universes = {1, 2}}));
}

TEST(DMXTexts, UniversesAsTheConsoleCounts) {
    for (const auto& [universes, expected] :
         std::initializer_list<std::pair<std::set<int>, const char*>>{{{}, ""},
                                                                      {{4}, "Universum 4"},
                                                                      {{1, 2}, "Universum 1, 2"},
                                                                      {{1, 2, 3, 4, 7}, "Universum 1–4, 7"},
                                                                      {{1, 3, 4, 6, 7, 8}, "Universum 1, 3, 4, 6–8"}})
        EXPECT_EQ(DMXFrames::universeText(universes), expected);
    EXPECT_EQ(DMXFrames::artNetUniverseText({3, 18}, {}), "Universum 3 (0:0:2), 18 (0:1:1)");
}

}  // namespace

}  // namespace kestrelyne
