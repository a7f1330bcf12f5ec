#include "Kestrelyne/Network/LightingPicture.hpp"

#include <gtest/gtest.h>

#include "Findings.hpp"

using namespace kestrelyne;
using base::Seconds;
using netcore::ArtNet::PortInfo;

namespace {

using Sources = std::vector<PacketAccumulator::Source>;

constexpr UniverseKey artNet1{NetProtocol::artnet, 1}, sacn1{NetProtocol::sacn, 1};

PacketAccumulator::Source artNetSource(const std::string& ip, base::Moment lastSeen, std::uint64_t count = 44) {
    return {.id = ip, .name = "", .ip = ip, .priority = {}, .count = count, .lastSeen = lastSeen, .interfaceIndex = 3};
}

PacketAccumulator::Source sacnSource(const std::string& name, int priority, base::Moment lastSeen, bool terminated = false) {
    return {.id = "cid of " + name,
            .name = name,
            .ip = "10.0.0.20",
            .priority = priority,
            .lastSeen = lastSeen,
            .terminated = terminated};
}

PacketAccumulator::Node nodeReply(const std::string& ip, const std::string& name, std::vector<PortInfo> ports,
                                  base::Moment lastSeen = at(0)) {
    return {
        .sender = ip, .reply = {.ip = ip, .shortName = name, .ports = std::move(ports)}, .lastSeen = lastSeen, .interfaceIndex = 3};
}

PacketAccumulator::Station station(const std::string& ip, netcore::MANet::Version version) {
    PacketAccumulator::Station made;
    made.ip = ip;
    made.version = version;
    return made;
}

PortInfo output(int universe, bool active = false) { return {.universe = universe, .isOutput = true, .active = active}; }
PortInfo input(int universe) { return {.universe = universe, .isOutput = false, .active = false}; }

// A picture with one adapter (index 3), where the test says who is who.
class LightingPictureTest : public testing::Test {
protected:
    Lines nodes(const std::vector<PacketAccumulator::Node>& replies) { return told(picture.refreshNodes(replies, around)); }
    Lines universes(double now, std::vector<std::pair<UniverseKey, Sources>> sources, Seconds elapsed = Seconds(1)) {
        return told(picture.refreshUniverses({.sources = std::move(sources), .nodes = {}, .discovered = {}}, elapsed,
                                             at(now).steady, around));
    }
    std::vector<std::string> sourceNames(const UniverseState& universe) const {
        std::vector<std::string> all;
        for (const auto& source : universe.sources) all.push_back(source.name);
        return all;
    }
    std::vector<std::string> labels() const {
        std::vector<std::string> all;
        for (const auto& universe : *picture.universes())
            all.push_back(std::string(text(universe.key.proto)) + " " + universe.key.label());
        return all;
    }

    std::map<std::string, std::string> names;
    std::map<std::string, std::vector<std::string>> groups;
    int namesAsked = 0;
    LightingPicture::Surroundings around{
        .ownAddresses = {"10.0.0.2"},
        .interfaceName = [](std::uint32_t index) { return index == 3 ? "LAN (10.0.0.0/24)" : "–"; },
        .members = [this](const std::string& group) { return groups[group]; },
        .displayName =
            [this](const std::string& ip) {
                ++namesAsked;
                const auto found = names.find(ip);
                return found == names.end() ? ip : found->second;
            },
    };
    LightingPicture picture;
};

}  // namespace

// Nodes

TEST_F(LightingPictureTest, ANodeIsToldOnce) {
    EXPECT_EQ(nodes({nodeReply("10.0.0.7", "Dimmer", {})}), Lines{"info: Art-Net-Node gefunden: Dimmer (10.0.0.7)"});
    EXPECT_EQ(nodes({nodeReply("10.0.0.7", "Dimmer", {})}), Lines{});
    EXPECT_EQ(nodes({nodeReply("10.0.0.7", "Dimmer", {}), nodeReply("10.0.0.8", "Splitter", {})}),
              Lines{"info: Art-Net-Node gefunden: Splitter (10.0.0.8)"});
}

TEST_F(LightingPictureTest, TwoBindIndexesAreOneNodeWithThePortsOfBoth) {
    auto first = nodeReply("10.0.0.7", "Dimmer A", {output(1, true), input(9)}, at(5));
    first.reply.longName = "Dimmer im Keller";
    first.reply.nodeReport = "#0001";
    first.reply.mac = "0A:0B:0C:12:34:56";
    first.reply.firmware = 257;
    auto second = nodeReply("10.0.0.7", "Dimmer B", {output(2), output(1)}, at(7));
    second.interfaceIndex = 8;
    EXPECT_EQ(nodes({first, second}), Lines{"info: Art-Net-Node gefunden: Dimmer A (10.0.0.7)"});

    ASSERT_EQ(picture.artNodes()->size(), 1U);
    const auto& node = picture.artNodes()->front();
    EXPECT_EQ(node.shortName, "Dimmer A");
    EXPECT_EQ(node.longName, "Dimmer im Keller");
    EXPECT_EQ(node.report, "#0001");
    EXPECT_EQ(node.mac, "0A:0B:0C:12:34:56");
    EXPECT_EQ(node.firmware, 257);
    EXPECT_EQ(node.outputs, (std::set<int>{1, 2}));
    EXPECT_EQ(node.activeOutputs, std::set<int>{1});
    EXPECT_EQ(node.inputs, std::set<int>{9});
    EXPECT_EQ(node.lastSeen.steady, at(7).steady) << "the latest of both";
    EXPECT_EQ(node.interface, "LAN (10.0.0.0/24)") << "of the first";
}

TEST_F(LightingPictureTest, AReplyFromOneOfOurOwnAddressesIsNoNode) {
    EXPECT_EQ(nodes({nodeReply("10.0.0.2", "Brantholme", {output(1)})}), Lines{});
    EXPECT_TRUE(picture.artNodes()->empty());
    EXPECT_TRUE(picture.nodeOutputs().empty());
}

TEST_F(LightingPictureTest, ANodeThatStopsAnsweringStaysWithItsOldTime) {
    nodes({nodeReply("10.0.0.7", "Dimmer", {}, at(1))});
    EXPECT_EQ(nodes({nodeReply("10.0.0.7", "Dimmer", {}, at(1))}), Lines{});
    ASSERT_NE(picture.node("10.0.0.7"), nullptr);
    EXPECT_EQ(picture.node("10.0.0.7")->lastSeen.steady, at(1).steady);
}

TEST_F(LightingPictureTest, NodesStandInTheOrderOfTheNumbersInTheirAddresses) {
    EXPECT_EQ(nodes({nodeReply("10.0.0.10", "B", {}), nodeReply("10.0.0.9", "A", {}), nodeReply("9.0.0.1", "C", {})}),
              (Lines{"info: Art-Net-Node gefunden: C (9.0.0.1)", "info: Art-Net-Node gefunden: A (10.0.0.9)",
                     "info: Art-Net-Node gefunden: B (10.0.0.10)"}));
    EXPECT_EQ(picture.artNodes()->at(1).ip, "10.0.0.9");
    EXPECT_EQ(picture.node("10.0.0.10")->shortName, "B");
    EXPECT_EQ(picture.node("10.0.0.11"), nullptr);
    EXPECT_EQ(picture.node("10.0.0.1"), nullptr);
}

TEST_F(LightingPictureTest, OutputsOfAllNodesAreKnownAndWhereDataFlows) {
    nodes({nodeReply("10.0.0.7", "A", {output(1), output(2, true)}), nodeReply("10.0.0.8", "B", {output(2), output(5), input(6)})});
    EXPECT_EQ(picture.nodeOutputs(), (std::set<int>{1, 2, 5}));
    EXPECT_TRUE(picture.nodeOutputActive(2));
    EXPECT_FALSE(picture.nodeOutputActive(1));
    EXPECT_FALSE(picture.nodeOutputActive(6));
    nodes({nodeReply("10.0.0.7", "A", {output(2)})});
    EXPECT_FALSE(picture.nodeOutputActive(2));
}

// Console stations and discovered sources

TEST_F(LightingPictureTest, AStationShowsItsTwelveMostFrequentTextsAndTheVersionsInAll) {
    auto console = station("10.0.0.30", netcore::MANet::Version::ma3);
    console.count = 30;
    console.interfaceIndex = 3;
    console.channels = {"236.4.1.10", "236.4.1.2"};
    for (char letter = 'a'; letter <= 'm'; ++letter) console.texts[std::string("text ") + letter] = 2;
    console.texts["text m"] = 9;
    console.texts["Release 3.4.0.1"] = 1;  // too rare to be shown
    console.texts["build 1.10.2"] = 1;
    console.texts["from 1.9.2 to 3.4.0.1"] = 1;
    picture.refreshStations({console}, Seconds(2), around);

    ASSERT_EQ(picture.maStations()->size(), 1U);
    const auto& shown = picture.maStations()->front();
    EXPECT_EQ(shown.texts, (Lines{"text m", "text a", "text b", "text c", "text d", "text e", "text f", "text g", "text h",
                                  "text i", "text j", "text k"}));
    EXPECT_EQ(shown.versions, (Lines{"1.9.2", "1.10.2", "3.4.0.1"}));
    EXPECT_EQ(shown.channels, (Lines{"236.4.1.2", "236.4.1.10"}));
    EXPECT_DOUBLE_EQ(shown.packetsPerSecond, 15);
    EXPECT_EQ(shown.interface, "LAN (10.0.0.0/24)");
}

TEST_F(LightingPictureTest, StationsStandByVersionThenAddress) {
    using enum netcore::MANet::Version;
    picture.refreshStations({station("10.0.0.9", ma3), station("10.0.0.10", ma2), station("10.0.0.9", ma2)}, Seconds(1), around);
    ASSERT_EQ(picture.maStations()->size(), 3U);
    EXPECT_EQ(picture.maStations()->at(0).ip, "10.0.0.9");
    EXPECT_EQ(picture.maStations()->at(0).version, ma2);
    EXPECT_EQ(picture.maStations()->at(1).ip, "10.0.0.10");
    EXPECT_EQ(picture.maStations()->at(2).version, ma3);
}

TEST_F(LightingPictureTest, DiscoveredSourcesStandByNameWithTheirUniversesAscending) {
    picture.refreshSACNSources({{.cid = "1", .name = "Pult B", .ip = "10.0.0.9", .universes = {20, 3}},
                                {.cid = "2", .name = "Pult A", .ip = "10.0.0.10", .universes = {}}});
    EXPECT_EQ(*picture.sacnSources(), (std::vector<SACNSource>{{"Pult A", "10.0.0.10", {}}, {"Pult B", "10.0.0.9", {3, 20}}}));
}

// Universes

TEST_F(LightingPictureTest, ASourceWithoutANameShowsItsAddress) {
    universes(1, {{artNet1, {artNetSource("10.0.0.4", at(1))}}, {sacn1, {sacnSource("Pult", 100, at(1))}}});
    EXPECT_EQ(picture.universes()->at(0).sources[0].name, "10.0.0.4");
    EXPECT_EQ(picture.universes()->at(0).sources[0].priority, std::nullopt);
    EXPECT_EQ(picture.universes()->at(0).sources[0].interface, "LAN (10.0.0.0/24)");
    EXPECT_EQ(picture.universes()->at(1).sources[0].name, "Pult");
    EXPECT_EQ(picture.universes()->at(1).sources[0].interface, "–");
}

TEST_F(LightingPictureTest, RatesCountOverTheTimeThatHasPassed) {
    struct Row {
        double elapsed;
        std::uint64_t count;
        double fps;
    };
    for (const auto& [elapsed, count, fps] : std::initializer_list<Row>{{1, 44, 44}, {4, 176, 44}, {0.2, 2, 10}}) {
        universes(1, {{artNet1, {artNetSource("10.0.0.4", at(1), count)}}}, Seconds(elapsed));
        EXPECT_DOUBLE_EQ(picture.universes()->front().sources[0].fps, fps) << count << " packets in " << elapsed << " s";
    }
}

TEST_F(LightingPictureTest, SourcesStandByPriorityThenNameBothDescending) {
    auto noPriority = sacnSource("Zwerg", 0, at(1));
    noPriority.priority.reset();
    universes(1, {{sacn1,
                   {noPriority, sacnSource("Anton", 100, at(1)), sacnSource("Zora", 0, at(1)), sacnSource("Berta", 100, at(1)),
                    sacnSource("Emil", 120, at(1))}}});
    EXPECT_EQ(sourceNames(picture.universes()->front()), (Lines{"Emil", "Berta", "Anton", "Zwerg", "Zora"}));
}

TEST_F(LightingPictureTest, ArtNetUniversesAreTakenByTheNodesThatPutThemOut) {
    nodes({nodeReply("10.0.0.10", "B", {output(1)}), nodeReply("10.0.0.9", "A", {output(1), input(2)}),
           nodeReply("10.0.0.8", "C", {input(1)})});
    universes(1, {{artNet1, {artNetSource("10.0.0.4", at(1))}}});
    ASSERT_EQ(picture.universes()->size(), 1U) << "an input asks for nothing";
    EXPECT_EQ(picture.universes()->front().receivers, (Lines{"A (10.0.0.9)", "B (10.0.0.10)"}));
}

TEST_F(LightingPictureTest, SACNUniversesAreTakenByTheMembersOfTheirGroup) {
    groups["239.255.0.1"] = {"10.0.0.9", "10.0.0.10"};
    names["10.0.0.10"] = "Dimmer";
    universes(1, {{sacn1, {sacnSource("Pult", 100, at(1))}}, {{NetProtocol::sacn, 2}, {sacnSource("Pult", 100, at(1))}}});
    EXPECT_EQ(picture.universes()->at(0).receivers, (Lines{"10.0.0.9", "Dimmer (10.0.0.10)"}));
    EXPECT_EQ(picture.universes()->at(1).receivers, Lines{});
}

TEST_F(LightingPictureTest, AReceiverOfManyUniversesIsNamedOnce) {
    std::vector<std::pair<UniverseKey, Sources>> sources;
    for (int universe = 1; universe <= 50; ++universe) {
        groups["239.255.0." + std::to_string(universe)] = {"10.0.0.9", "10.0.0.10"};
        sources.push_back({{NetProtocol::sacn, universe}, {sacnSource("Pult", 100, at(1))}});
    }
    universes(1, std::move(sources));
    EXPECT_EQ(namesAsked, 2);
    EXPECT_EQ(picture.universes()->back().receivers, (Lines{"10.0.0.9", "10.0.0.10"}));
}

TEST_F(LightingPictureTest, OutputsThatNobodySendsAreListedToo) {
    nodes({nodeReply("10.0.0.9", "A", {output(1), output(3)}), nodeReply("10.0.0.10", "B", {output(3)})});
    EXPECT_EQ(universes(1, {{artNet1, {artNetSource("10.0.0.4", at(1))}}}),
              Lines{"info: Quelle aktiv: Art-Net 1 · 10.0.0.4 (10.0.0.4)"});
    ASSERT_EQ(picture.universes()->size(), 2U);
    const auto& idle = picture.universes()->at(1);
    EXPECT_EQ(idle.key, (UniverseKey{NetProtocol::artnet, 3}));
    EXPECT_TRUE(idle.sources.empty());
    EXPECT_EQ(idle.receivers, (Lines{"A (10.0.0.9)", "B (10.0.0.10)"}));
}

TEST_F(LightingPictureTest, UniversesStandByProtocolThenNumber) {
    nodes({nodeReply("10.0.0.9", "A", {output(9)})});
    universes(1, {{sacn1, {sacnSource("Pult", 100, at(1))}},
                  {{NetProtocol::artnet, 10}, {artNetSource("10.0.0.4", at(1))}},
                  {{NetProtocol::artnet, 2}, {artNetSource("10.0.0.4", at(1))}}});
    EXPECT_EQ(labels(), (Lines{"Art-Net 2 (0:0:2)", "Art-Net 9 (0:0:9)", "Art-Net 10 (0:0:10)", "sACN 1"}));
}

TEST_F(LightingPictureTest, ASourceLendsItsNameToItsAddress) {
    auto nameless = sacnSource("", 100, at(1));
    nameless.id = "another";
    universes(1, {{{NetProtocol::sacn, 2}, {sacnSource("Zweites Pult", 100, at(1))}},
                  {sacn1, {nameless, sacnSource("Pult", 90, at(1))}},
                  {artNet1, {artNetSource("10.0.0.4", at(1))}}});
    ASSERT_NE(picture.sourceName("10.0.0.20"), nullptr);
    EXPECT_EQ(*picture.sourceName("10.0.0.20"), "Pult") << "the first in the list whose name is not its address";
    EXPECT_EQ(picture.sourceName("10.0.0.4"), nullptr) << "the address is no name";
}

TEST_F(LightingPictureTest, OurTestLightLendsItsNameToNobody) {
    auto own = sacnSource("Brantholme Test", 200, at(1));
    own.own = true;
    universes(1, {{sacn1, {own}}});
    EXPECT_TRUE(picture.universes()->front().sources.front().own);
    EXPECT_EQ(picture.sourceName("10.0.0.20"), nullptr) << "a console on this computer is no part of it";
}

// Loss of a source: it is heard until 0 s and the picture is drawn once a second.

TEST_F(LightingPictureTest, ASourceIsLostAfterThreeSecondsOfSilence) {
    struct Row {
        double now;
        double lastSeen;
        Lines expected;
    };
    const std::string source = "Art-Net 1 · 10.0.0.4 (10.0.0.4)";
    for (const auto& [now, lastSeen, expected] : std::initializer_list<Row>{{0, 0, {"info: Quelle aktiv: " + source}},
                                                                            {1, 0, {}},
                                                                            {2.999, 0, {}},
                                                                            {3, 0, {"warning: Quelle verloren: " + source}},
                                                                            {4, 0, {}},
                                                                            {59, 0, {}},
                                                                            {60, 60, {"info: Quelle aktiv: " + source}}}) {
        EXPECT_EQ(universes(now, {{artNet1, {artNetSource("10.0.0.4", at(lastSeen))}}}), expected) << "at " << now << " s";
        EXPECT_EQ(picture.universes()->front().sources.size(), 1U) << "stays listed";
    }
    EXPECT_EQ(universes(61, {}), Lines{"warning: Quelle verloren: " + source}) << "one that is no longer in the tally";
}

TEST_F(LightingPictureTest, ASourceThatSaysItsEndIsLostAtOnce) {
    universes(1, {{sacn1, {sacnSource("Pult", 100, at(1))}}});
    EXPECT_EQ(universes(2, {{sacn1, {sacnSource("Pult", 100, at(2), true)}}}),
              Lines{"warning: Quelle verloren: sACN 1 · Pult (10.0.0.20)"});
    EXPECT_EQ(picture.universes()->front().sources.size(), 1U) << "stays listed";
    EXPECT_TRUE(picture.universes()->front().activeSources(at(2).steady).empty());
}

TEST_F(LightingPictureTest, AClockThatIsSetLosesNoSource) {
    auto source = artNetSource("10.0.0.4", at(1));
    universes(1, {{artNet1, {source}}});
    source.lastSeen.wall -= std::chrono::hours(5);
    EXPECT_EQ(universes(2, {{artNet1, {source}}}), Lines{});
}

TEST_F(LightingPictureTest, ASourceWithANewNameIsAnotherOne) {
    auto source = sacnSource("Pult", 100, at(1));
    universes(1, {{sacn1, {source}}});
    source.name = "Neues Pult";
    EXPECT_EQ(universes(2, {{sacn1, {source}}}), (Lines{"info: Quelle aktiv: sACN 1 · Neues Pult (10.0.0.20)",
                                                        "warning: Quelle verloren: sACN 1 · Pult (10.0.0.20)"}));
}

TEST_F(LightingPictureTest, SourcesThatReadTheSameAreToldOnce) {
    auto twin = sacnSource("Pult", 90, at(1));
    twin.id = "another cid";
    EXPECT_EQ(universes(1, {{sacn1, {sacnSource("Pult", 100, at(1)), twin}}}),
              Lines{"info: Quelle aktiv: sACN 1 · Pult (10.0.0.20)"});
    EXPECT_EQ(universes(2, {{sacn1, {sacnSource("Pult", 100, at(2))}}}), Lines{}) << "one of them is still there";
    EXPECT_EQ(universes(3, {}), Lines{"warning: Quelle verloren: sACN 1 · Pult (10.0.0.20)"});
}

// Conflicts

TEST_F(LightingPictureTest, TwoArtNetSendersAreAConflictUntilOneHasBeenSilentForThreeSeconds) {
    struct Row {
        double now;
        double second;  // when the second sender was last heard
        Lines expected;
    };
    universes(0, {{artNet1, {artNetSource("10.0.0.4", at(0))}}});
    for (const auto& [now, second, expected] : std::initializer_list<Row>{
             {1,
              1,
              {"alarm: Konflikt auf Art-Net-Universum 1 (0:0:1): mehrere Quellen gleicher Priorität (10.0.0.5, 10.0.0.4)",
               "info: Quelle aktiv: Art-Net 1 · 10.0.0.5 (10.0.0.5)"}},
             {2, 2, {}},
             {3, 2, {}},
             {4, 2, {}},
             {5,
              2,
              {"info: Konflikt auf Art-Net-Universum 1 (0:0:1) behoben",
               "warning: Quelle verloren: Art-Net 1 · 10.0.0.5 (10.0.0.5)"}},
             {6, 2, {}},
             {7,
              7,
              {"alarm: Konflikt auf Art-Net-Universum 1 (0:0:1): mehrere Quellen gleicher Priorität (10.0.0.5, 10.0.0.4)",
               "info: Quelle aktiv: Art-Net 1 · 10.0.0.5 (10.0.0.5)"}}})
        EXPECT_EQ(universes(now, {{artNet1, {artNetSource("10.0.0.4", at(now)), artNetSource("10.0.0.5", at(second))}}}), expected)
            << "at " << now << " s";
}

TEST_F(LightingPictureTest, SACNSourcesConflictWhenTheyShareTheHighestPriority) {
    struct Row {
        std::vector<std::pair<std::string, int>> sources;
        std::string conflict;  // names in the text; empty: none
    };
    const std::initializer_list<Row> rows = {{{{"A", 100}}, ""},
                                             {{{"A", 100}, {"B", 100}}, "B, A"},
                                             {{{"A", 100}, {"B", 120}}, ""},
                                             {{{"A", 100}, {"B", 100}, {"C", 120}}, ""},
                                             {{{"A", 120}, {"B", 120}, {"C", 100}}, "B, A, C"},
                                             {{{"C", 120}, {"A", 100}, {"D", 120}, {"B", 120}}, "D, C, B, A"},
                                             {{{"A", 0}, {"B", 0}}, "B, A"}};
    for (const auto& [given, conflict] : rows) {
        Sources sources;
        std::string title;
        for (const auto& [name, priority] : given) {
            sources.push_back(sacnSource(name, priority, at(1)));
            title += name + " at " + std::to_string(priority) + " ";
        }
        picture.clear();
        const auto lines = universes(1, {{sacn1, sources}});
        if (conflict.empty())
            EXPECT_TRUE(lines.front().starts_with("info: Quelle aktiv: ")) << title << lines.front();
        else
            EXPECT_EQ(lines.front(), "alarm: Konflikt auf sACN-Universum 1: mehrere Quellen gleicher Priorität (" + conflict + ")")
                << title;
        EXPECT_EQ(lines.size(), given.size() + (conflict.empty() ? 0 : 1)) << title;
    }
}

TEST_F(LightingPictureTest, AConflictEndsWhenOneOfItsSourcesYieldsOrEnds) {
    const Sources fight = {sacnSource("A", 100, at(1)), sacnSource("B", 100, at(1))};
    universes(1, {{sacn1, fight}});
    EXPECT_EQ(universes(2, {{sacn1, {fight[0], sacnSource("B", 90, at(2))}}}),
              Lines{"info: Konflikt auf sACN-Universum 1 behoben"});
    universes(2, {{sacn1, fight}});
    EXPECT_EQ(universes(2, {{sacn1, {fight[0], sacnSource("B", 100, at(2), true)}}}).front(),
              "info: Konflikt auf sACN-Universum 1 behoben");
}

// Nothing is known of a universe that has vanished: neither that the conflict goes on nor that it has ended.
TEST_F(LightingPictureTest, AConflictOfAVanishedUniverseStandsUntilItIsSeenAgain) {
    const Sources fight = {sacnSource("A", 100, at(1)), sacnSource("B", 100, at(1))};
    universes(1, {{sacn1, fight}});
    EXPECT_EQ(universes(2, {}),
              (Lines{"warning: Quelle verloren: sACN 1 · B (10.0.0.20)", "warning: Quelle verloren: sACN 1 · A (10.0.0.20)"}));
    EXPECT_EQ(universes(2, {{sacn1, fight}}),
              (Lines{"info: Quelle aktiv: sACN 1 · B (10.0.0.20)", "info: Quelle aktiv: sACN 1 · A (10.0.0.20)"}))
        << "still the same conflict";
    universes(2, {});
    EXPECT_EQ(universes(2, {{sacn1, {fight[0]}}}).front(), "info: Konflikt auf sACN-Universum 1 behoben");
}

TEST_F(LightingPictureTest, ConflictsAreToldBeforeNewSourcesAndThoseBeforeLostOnes) {
    universes(1, {{artNet1, {artNetSource("10.0.0.4", at(1))}}});
    EXPECT_EQ(universes(2, {{{NetProtocol::artnet, 10}, {artNetSource("10.0.0.6", at(2))}},
                            {sacn1, {sacnSource("A", 100, at(2)), sacnSource("B", 100, at(2))}},
                            {{NetProtocol::artnet, 2}, {artNetSource("10.0.0.6", at(2))}}}),
              (Lines{"alarm: Konflikt auf sACN-Universum 1: mehrere Quellen gleicher Priorität (B, A)",
                     "info: Quelle aktiv: Art-Net 2 · 10.0.0.6 (10.0.0.6)", "info: Quelle aktiv: Art-Net 10 · 10.0.0.6 (10.0.0.6)",
                     "info: Quelle aktiv: sACN 1 · B (10.0.0.20)", "info: Quelle aktiv: sACN 1 · A (10.0.0.20)",
                     "warning: Quelle verloren: Art-Net 1 · 10.0.0.4 (10.0.0.4)"}));
}

TEST_F(LightingPictureTest, WhatIsClearedIsForgottenWithoutAWord) {
    const Sources fight = {artNetSource("10.0.0.4", at(1)), artNetSource("10.0.0.5", at(1))};
    nodes({nodeReply("10.0.0.9", "A", {output(3, true)})});
    picture.refreshSACNSources({{.cid = "1", .name = "Pult", .ip = "10.0.0.9", .universes = {}}});
    picture.refreshStations({station("10.0.0.9", netcore::MANet::Version::ma3)}, Seconds(1), around);
    const auto first = universes(1, {{artNet1, fight}});
    picture.clear();
    EXPECT_TRUE(picture.universes()->empty());
    EXPECT_TRUE(picture.artNodes()->empty());
    EXPECT_TRUE(picture.sacnSources()->empty());
    EXPECT_TRUE(picture.maStations()->empty());
    EXPECT_FALSE(picture.nodeOutputActive(3));
    EXPECT_EQ(picture.sourceName("10.0.0.20"), nullptr);
    EXPECT_EQ(universes(1, {}), Lines{}) << "neither lost nor at an end";
    EXPECT_EQ(universes(1, {{artNet1, fight}}), first) << "all is new";
}
