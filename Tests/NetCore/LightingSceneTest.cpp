#include "NetCore/LightingScene.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <set>

#include "NetCore/ArtNet.hpp"
#include "NetCore/SACNData.hpp"

namespace netcore {

namespace {

using namespace std::chrono_literals;
using Datagrams = std::vector<LightingScene::Datagram>;

constexpr LightingPorts ports{.artnet = 16454, .sacn = 15568};

// The packets of a kind among the datagrams of a tick.
template <class Packet>
std::vector<Packet> artNetOf(const Datagrams& datagrams) {
    std::vector<Packet> found;
    for (const auto& datagram : datagrams) {
        if (datagram.port != ports.artnet) continue;
        const auto packet = ArtNet::parse(datagram.bytes);
        if (packet && std::holds_alternative<Packet>(*packet)) found.push_back(std::get<Packet>(*packet));
    }
    return found;
}

std::vector<SACN::DataPacket> sacnOf(const Datagrams& datagrams) {
    std::vector<SACN::DataPacket> found;
    for (const auto& datagram : datagrams) {
        if (datagram.port != ports.sacn) continue;
        EXPECT_EQ(datagram.bytes.size(), 638u);
        if (const auto view = SACN::viewData(datagram.bytes)) found.push_back(view->packet());
    }
    return found;
}

std::vector<std::uint8_t> pictureOf(int universe, double seconds) {
    const auto values = LightingScene::frame(universe, seconds);
    return {values.begin(), values.end()};
}

}  // namespace

TEST(LightingScene, SendsItsUniversesWithMovingValues) {
    LightingScene scene(ports);
    const LightingConfig config{.artnetUniverses = 3, .sacnUniverses = 2};
    scene.step(config, 0s);
    const auto datagrams = scene.step(config, 2500ms);
    const auto dmx = artNetOf<ArtNet::DmxInfo>(datagrams);
    ASSERT_EQ(dmx.size(), 3u);
    for (int i = 0; i < 3; ++i) {
        const auto& packet = dmx[static_cast<std::size_t>(i)];
        EXPECT_EQ(packet.universe, 1792 + i);
        EXPECT_EQ(packet.sequence, 2);
        EXPECT_EQ(packet.data, pictureOf(i, 2.5));
    }
    EXPECT_EQ(ArtNet::label(dmx.front().universe), "7:0:0");
    const auto sacn = sacnOf(datagrams);
    ASSERT_EQ(sacn.size(), 2u);
    for (int i = 0; i < 2; ++i) {
        const auto& packet = sacn[static_cast<std::size_t>(i)];
        EXPECT_EQ(packet.universe, 60001 + i);
        EXPECT_EQ(packet.cid, "464e522d53494d2d5341434e2d413030");
        EXPECT_EQ(packet.sourceName, "SIM Pult sACN");
        EXPECT_EQ(packet.sequence, 2);
        EXPECT_EQ(packet.priority, 100);
        EXPECT_EQ(packet.startCode, 0);
        EXPECT_FALSE(packet.terminated || packet.previewData);
        EXPECT_EQ(packet.values, pictureOf(100 + i, 2.5));
    }
}

TEST(LightingScene, NoUniversesOfOneProtocolLeaveTheRest) {
    LightingScene scene(ports);
    const auto withoutArtNet = scene.step({.artnetUniverses = 0, .sacnUniverses = 2}, 0s);
    EXPECT_TRUE(artNetOf<ArtNet::DmxInfo>(withoutArtNet).empty());
    EXPECT_TRUE(artNetOf<ArtNet::PollReply>(withoutArtNet).empty()) << "a node without outputs does not show";
    EXPECT_EQ(sacnOf(withoutArtNet).size(), 2u);
    EXPECT_EQ(artNetOf<ArtNet::TimeCode>(withoutArtNet).size(), 1u);
    const auto withoutSACN =
        LightingScene(ports).step({.artnetUniverses = 2, .sacnUniverses = 0, .faults = {.sacnConflict = true}}, 0s);
    EXPECT_EQ(artNetOf<ArtNet::DmxInfo>(withoutSACN).size(), 2u);
    EXPECT_TRUE(sacnOf(withoutSACN).empty());
}

TEST(LightingScene, NumbersOfUniversesAreHeldWithinReason) {
    LightingScene scene(ports);
    const auto most = scene.step({.artnetUniverses = 99999, .sacnUniverses = 1 << 30}, 0s);
    EXPECT_EQ(artNetOf<ArtNet::DmxInfo>(most).size(), 1000u);
    const auto sacn = sacnOf(most);
    ASSERT_EQ(sacn.size(), 1000u);
    EXPECT_LE(sacn.back().universe, 63999) << "the highest of the standard";
    EXPECT_EQ(scene.step({.artnetUniverses = -5, .sacnUniverses = -1, .faults = {.artnetDropout = true}}, 0s).size(), 1u);
}

TEST(LightingScene, TheDropoutSilencesTheFirstArtNetUniverseAlone) {
    const auto datagrams =
        LightingScene(ports).step({.artnetUniverses = 3, .sacnUniverses = 3, .faults = {.artnetDropout = true}}, 0s);
    const auto dmx = artNetOf<ArtNet::DmxInfo>(datagrams);
    ASSERT_EQ(dmx.size(), 2u);
    EXPECT_EQ(dmx[0].universe, 1793);
    EXPECT_EQ(dmx[1].universe, 1794);
    EXPECT_EQ(sacnOf(datagrams).size(), 3u);
}

TEST(LightingScene, TheConflictIsASecondSourceOfEqualPriorityOnTheFirstSACNUniverse) {
    const auto sacn = sacnOf(LightingScene(ports).step({.sacnUniverses = 2, .faults = {.sacnConflict = true}}, 3s));
    ASSERT_EQ(sacn.size(), 3u);
    const auto& backup = sacn.back();
    EXPECT_EQ(backup.universe, 60001);
    EXPECT_EQ(backup.sourceName, "SIM Backup-Pult");
    EXPECT_EQ(backup.cid, "464e522d53494d2d5341434e2d423030");
    EXPECT_EQ(backup.priority, sacn.front().priority);
    EXPECT_EQ(backup.values, pictureOf(7, 1.5)) << "at half the speed";
}

TEST(LightingScene, TheNodeRepliesEveryTwoSecondsFromTheFirstTickOn) {
    LightingScene scene(ports);
    std::set<int> ticks;
    for (int tick = 1; tick <= 120; ++tick) {
        const auto replies = artNetOf<ArtNet::PollReply>(scene.step({.artnetUniverses = 2}, (tick - 1) * 40ms));
        if (replies.empty()) continue;
        ticks.insert(tick);
        const auto& node = replies.front();
        EXPECT_EQ(node.ip, "127.0.0.50");
        EXPECT_EQ(node.shortName, "SIM Node");
        EXPECT_EQ(node.longName, "Brantholme Simulator – Art-Net-Node");
        EXPECT_EQ(node.ports, (std::vector<ArtNet::PortInfo>{{1792, true, true}, {1793, true, true}}));
    }
    EXPECT_EQ(ticks, (std::set<int>{1, 51, 101}));
    LightingScene offline(ports);
    EXPECT_TRUE(artNetOf<ArtNet::PollReply>(offline.step({.faults = {.nodeOffline = true}}, 0s)).empty());
}

TEST(LightingScene, TheNodeTellsFourUniversesAtMost) {
    const auto replies = artNetOf<ArtNet::PollReply>(LightingScene(ports).step({.artnetUniverses = 40}, 0s));
    ASSERT_EQ(replies.size(), 1u);
    EXPECT_EQ(replies[0].ports.size(), 4u);
    EXPECT_EQ(replies[0].ports.back().universe, 1795);
}

TEST(LightingScene, TimecodeCountsFramesSinceTheStart) {
    struct Row {
        std::chrono::nanoseconds time;
        const char* text;
    };
    for (const auto& [time, text] : std::initializer_list<Row>{{0s, "00:00:00:00"},
                                                               {39999us, "00:00:00:00"},
                                                               {40ms, "00:00:00:01"},
                                                               {999ms, "00:00:00:24"},
                                                               {1s, "00:00:01:00"},
                                                               {59s + 960ms, "00:00:59:24"},
                                                               {3600s, "01:00:00:00"},
                                                               {24h - 1ns, "23:59:59:24"},
                                                               {24h, "00:00:00:00"}}) {
        const auto codes = artNetOf<ArtNet::TimeCode>(LightingScene(ports).step({}, time));
        ASSERT_EQ(codes.size(), 1u);
        EXPECT_EQ(codes[0].text(), text);
        EXPECT_EQ(codes[0].fpsLabel(), "25 fps (EBU)");
    }
    EXPECT_TRUE(artNetOf<ArtNet::TimeCode>(LightingScene(ports).step({.faults = {.timecodeStopped = true}}, 0s)).empty());
}

TEST(LightingScene, TheSequenceWraps) {
    LightingScene scene(ports);
    int last = 0;
    for (int tick = 1; tick <= 257; ++tick) last = sacnOf(scene.step({.sacnUniverses = 1}, 0s)).front().sequence;
    EXPECT_EQ(last, 1);
}

TEST(LightingScene, EverySlotMovesVisiblyWithoutAJump) {
    constexpr double tick = 0.04;
    for (const int universe : {0, 7, 100, 999}) {
        std::array<int, 512> low, high;
        low.fill(255);
        high.fill(0);
        auto before = LightingScene::frame(universe, 0);
        for (int n = 1; n < 200; ++n) {
            const auto now = LightingScene::frame(universe, n * tick);
            for (std::size_t slot = 0; slot < now.size(); ++slot) {
                EXPECT_LE(std::abs(now[slot] - before[slot]), 8) << "universe " << universe << " slot " << slot;
                low[slot] = std::min<int>(low[slot], now[slot]);
                high[slot] = std::max<int>(high[slot], now[slot]);
            }
            before = now;
        }
        EXPECT_LE(*std::ranges::max_element(low), 2);
        EXPECT_GE(*std::ranges::min_element(high), 253);
    }
}

TEST(LightingScene, UniversesMoveApart) {
    std::set<std::array<std::uint8_t, 512>> pictures;
    for (int universe = 0; universe < 100; ++universe) pictures.insert(LightingScene::frame(universe, 1));
    EXPECT_EQ(pictures.size(), 100u);
}

}  // namespace netcore
