// A flood of invented senders does not fill the memory, and those that are known go on.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Kestrelyne/Network/Datagrams.hpp"

using namespace kestrelyne;
using namespace kestrelyne::datagrams;
using testing::ElementsAre;
using testing::SizeIs;

namespace {

constexpr std::uint32_t floodSize = 100'000;

std::size_t sourceCount(const PacketAccumulator::Drained& drained) {
    std::size_t count = 0;
    for (const auto& [key, sources] : drained.sources) count += sources.size();
    return count;
}

std::uint64_t countOf(const PacketAccumulator::Drained& drained, const UniverseKey& key, const std::string& ip) {
    for (const auto& [universe, sources] : drained.sources)
        for (const auto& source : sources)
            if (universe == key && source.ip == ip) return source.count;
    return 0;
}

std::string invented(std::uint32_t number) { return netcore::uint32ToIP(0x0B000000 + number); }

}  // namespace

TEST(PacketLimits, AFloodOfSourcesStopsAtTheLimitAndLeavesTheKnownOneAlone) {
    Intake intake;
    const auto genuine = sacn({.universe = 1, .cid = 0});
    intake.sACN(genuine);
    auto packet = sacn({.universe = 1});
    for (std::uint32_t n = 1; n <= floodSize; ++n) {
        const auto cid = cidOf(n);
        std::copy(cid.begin(), cid.end(), packet.begin() + 22);
        packet[113] = static_cast<std::uint8_t>(n >> 8);
        packet[114] = static_cast<std::uint8_t>(n);
        intake.sACN(packet, {.from = invented(n)});
    }
    intake.sACN(genuine);
    const PacketAccumulator::Limits limits;
    EXPECT_EQ(intake.packets.refused(), floodSize + 1 - limits.sources);
    const auto drained = intake.drain(0);
    EXPECT_EQ(sourceCount(drained), limits.sources);
    EXPECT_EQ(countOf(drained, {NetProtocol::sacn, 1}, "10.0.0.5"), 2u);
    // Once the invented ones have been silent for a minute there is room again.
    intake.drain(60);
    intake.artNet(artDmx(9, {1}), {.from = "10.0.0.9", .time = 61});
    EXPECT_EQ(countOf(intake.drain(61), {NetProtocol::artnet, 9}, "10.0.0.9"), 1u);
}

TEST(PacketLimits, OneUniverseCannotUseUpAllTheRoom) {
    Intake intake;
    const auto packet = artDmx(1, {1});
    for (std::uint32_t n = 0; n < floodSize; ++n) intake.artNet(packet, {.from = invented(n)});
    intake.artNet(artDmx(2, {1}));
    const PacketAccumulator::Limits limits;
    const auto drained = intake.drain(0);
    EXPECT_EQ(sourceCount(drained), limits.sourcesOfUniverse + 1);
    EXPECT_EQ(countOf(drained, {NetProtocol::artnet, 1}, invented(0)), 1u);
    EXPECT_EQ(countOf(drained, {NetProtocol::artnet, 2}, "10.0.0.5"), 1u);
    EXPECT_EQ(intake.packets.refused(), floodSize - limits.sourcesOfUniverse);
}

TEST(PacketLimits, ARefusedSourceLeavesNoEmptyUniverse) {
    Intake intake({.sources = 1});
    intake.artNet(artDmx(1, {1}));
    intake.artNet(artDmx(2, {1}));
    EXPECT_THAT(intake.drain(0).sources, SizeIs(1));
    EXPECT_EQ(intake.packets.refused(), 1u);
}

TEST(PacketLimits, NodesControllersAndDiscoveredSourcesAreCapped) {
    Intake intake({.nodes = 2, .discovered = 2, .controllers = 2});
    for (std::uint32_t n = 1; n <= 4; ++n) {
        intake.artNet(pollReply("alt", 1), {.from = invented(n), .time = 1});
        intake.artNet(netcore::vectors::poll, {.from = invented(n), .time = 1});
        intake.sACN(discovery(n, "Pult", 0, {1}), {.from = invented(n)});
    }
    EXPECT_EQ(intake.packets.refused(), 6u);
    // Those that are known go on being updated.
    intake.artNet(pollReply("neu", 1), {.from = invented(2), .time = 2});
    intake.artNet(netcore::vectors::poll, {.from = invented(2), .time = 2});
    intake.sACN(discovery(2, "Pult", 0, {5}));
    EXPECT_EQ(intake.packets.refused(), 6u);
    const auto drained = intake.drain(2);
    ASSERT_THAT(drained.nodes, SizeIs(2));
    EXPECT_EQ(drained.nodes[1].reply.shortName, "neu");
    ASSERT_THAT(drained.discovered, SizeIs(2));
    EXPECT_THAT(drained.discovered[1].universes, ElementsAre(5));
    const auto controllers = intake.packets.currentControllers(at(2).steady);
    ASSERT_THAT(controllers, SizeIs(2));
    EXPECT_EQ(controllers[1].count, 2u);
}

TEST(PacketLimits, DiscoveredUniversesAreCappedForEachSourceAndForAll) {
    Intake intake({.universesOfDiscovered = 3, .discoveredUniverses = 5});
    const auto universes = [&](std::size_t source) { return intake.drain(0).discovered.at(source).universes; };
    intake.sACN(discovery(1, "Pult", 0, {1, 2, 3, 4}));
    EXPECT_THAT(universes(0), ElementsAre(1, 2, 3));
    intake.sACN(discovery(2, "Pult", 0, {1, 2, 3}));
    EXPECT_THAT(universes(1), ElementsAre(1, 2));
    EXPECT_EQ(intake.packets.refused(), 2u);
    intake.sACN(discovery(1, "Pult", 0, {9}));
    intake.sACN(discovery(2, "Pult", 1, {3}));
    EXPECT_THAT(universes(0), ElementsAre(9));
    EXPECT_THAT(universes(1), ElementsAre(1, 2, 3)) << "what a new list gave up is free";
    EXPECT_EQ(intake.packets.refused(), 2u);
    intake.packets.reset();
    intake.sACN(discovery(3, "Pult", 0, {1, 2, 3}));
    intake.sACN(discovery(4, "Pult", 0, {1, 2}));
    EXPECT_EQ(intake.packets.refused(), 2u);
}

TEST(PacketLimits, StationsTheirChannelsAndTheirTextsAreCapped) {
    Intake intake({.stations = 2, .channelsOfStation = 2});
    for (std::uint32_t n = 1; n <= 4; ++n) intake.maNet(words({"Session"}), {.from = invented(n)});
    EXPECT_EQ(intake.packets.refused(), 2u);
    for (std::uint32_t n = 1; n <= 4; ++n) intake.maNet(words({"Session"}), {.from = invented(1), .to = invented(n)});
    EXPECT_EQ(intake.packets.refused(), 5u) << "an unknown destination was its first channel";
    const auto stations = intake.packets.drainMA(at(0).steady);
    ASSERT_THAT(stations, SizeIs(2));
    EXPECT_EQ(stations[0].count, 5u);
    EXPECT_THAT(stations[0].channels, SizeIs(2));
    EXPECT_EQ(stations[0].texts.at("Session"), 5u);
}

TEST(PacketLimits, LongTextsOfAllStationsTogetherAreBounded) {
    Intake intake({.textBytes = 10'000});
    const auto text = [](std::uint32_t n) { return std::to_string(1000 + n) + std::string(1900, 'x'); };
    for (std::uint32_t n = 0; n < 100; ++n) intake.maNet(words({text(n)}), {.from = invented(n), .time = n < 2 ? 0.0 : 100.0});
    std::size_t bytes = 0;
    for (const auto& station : intake.packets.drainMA(at(100).steady))
        for (const auto& [kept, count] : station.texts) bytes += kept.size();
    EXPECT_LE(bytes, 10'000u);
    EXPECT_GE(bytes, 4 * 1904u);
    const auto refused = intake.packets.refused();
    EXPECT_GE(refused, 90u);
    intake.packets.drainMA(at(120).steady);
    intake.maNet(words({text(500)}), {.from = invented(500), .time = 120});
    EXPECT_EQ(intake.packets.refused(), refused) << "what a station that has gone held is free";
}
