#include "Kestrelyne/Network/PacketAccumulator.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <thread>

#include "Kestrelyne/Network/Datagrams.hpp"

using namespace kestrelyne;
using namespace kestrelyne::datagrams;
using netcore::vectors::cut;
using netcore::vectors::packetOf;
using netcore::vectors::with;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;
using testing::UnorderedElementsAre;

namespace {

using Source = PacketAccumulator::Source;

const UniverseKey artNet1{NetProtocol::artnet, 1}, sacn1{NetProtocol::sacn, 1};

std::vector<Source> sourcesOf(const PacketAccumulator::Drained& drained, const UniverseKey& key) {
    for (const auto& [universe, sources] : drained.sources)
        if (universe == key) return sources;
    return {};
}

std::vector<std::string> idsOf(const std::vector<Source>& sources) {
    std::vector<std::string> ids;
    for (const auto& source : sources) ids.push_back(source.id);
    return ids;
}

std::vector<std::string> idsOf(const std::vector<DMXSourceView>& sources) {
    std::vector<std::string> ids;
    for (const auto& source : sources) ids.push_back(source.id);
    return ids;
}

std::string cidText(std::uint32_t number) { return netcore::SACN::text(netcore::SACN::cidOf(sacn({.cid = number}))); }

}  // namespace

// Slot values

TEST(PacketAccumulator, AnArtNetSenderIsKnownByItsAddressAlone) {
    Intake intake;
    intake.artNet(artDmx(0x1234, {1, 2, 3}), {.from = "10.0.0.5", .time = 1, .adapter = 2, .sourcePort = 6454});
    intake.artNet(artDmx(0x1234, {4, 5, 6}), {.from = "10.0.0.5", .time = 2, .adapter = 3, .sourcePort = 50000});
    const auto drained = intake.drain(2);
    ASSERT_THAT(drained.sources, SizeIs(1));
    EXPECT_EQ(drained.sources[0].first, (UniverseKey{NetProtocol::artnet, 0x1234}));
    ASSERT_THAT(drained.sources[0].second, SizeIs(1));
    const auto& source = drained.sources[0].second[0];
    EXPECT_EQ(source.id, "10.0.0.5");
    EXPECT_EQ(source.ip, "10.0.0.5");
    EXPECT_EQ(source.name, "");
    EXPECT_EQ(source.priority, std::nullopt);
    EXPECT_EQ(source.count, 2u);
    EXPECT_EQ(source.lastSeen.steady, at(2).steady);
    EXPECT_EQ(source.lastSeen.wall, at(2).wall);
    EXPECT_EQ(source.interfaceIndex, 2u) << "as first seen";
    EXPECT_FALSE(source.terminated);
}

TEST(PacketAccumulator, ASACNSourceIsKnownByItsCIDWhereverItSendsFrom) {
    Intake intake;
    intake.sACN(sacn({.cid = 1, .name = "Pult", .priority = 100}), {.from = "10.0.0.5", .time = 1, .adapter = 2});
    intake.sACN(sacn({.cid = 1, .name = "Pult Süd", .priority = 120}), {.from = "10.0.0.6", .time = 2, .adapter = 3});
    intake.sACN(sacn({.cid = 2, .name = "Backup", .priority = 90}), {.from = "10.0.0.6", .time = 2, .adapter = 3});
    const auto sources = sourcesOf(intake.drain(2), sacn1);
    ASSERT_THAT(idsOf(sources), ElementsAre(cidText(1), cidText(2))) << "two senders of one machine are two sources";
    EXPECT_EQ(sources[0].id, "00000000000000000000000000000001");
    EXPECT_EQ(sources[0].ip, "10.0.0.5") << "its first address";
    EXPECT_EQ(sources[0].interfaceIndex, 2u);
    EXPECT_EQ(sources[0].name, "Pult Süd");
    EXPECT_EQ(sources[0].priority, 120);
    EXPECT_EQ(sources[0].count, 2u);
    EXPECT_EQ(sources[0].lastSeen.steady, at(2).steady);
}

TEST(PacketAccumulator, NamesAreRepairedOnceAndFollowTheirBytes) {
    Intake intake;
    const auto nameOf = [&] { return sourcesOf(intake.drain(1), sacn1).at(0).name; };
    intake.sACN(sacn({.name = ""}));
    EXPECT_EQ(nameOf(), "");
    intake.sACN(with(sacn({.name = ""}), {{44, "Pult \xFF"}}));
    EXPECT_EQ(nameOf(), "Pult \uFFFD");
    intake.sACN(sacn({.name = "Pult"}));
    EXPECT_EQ(nameOf(), "Pult");
    intake.sACN(sacn({.name = ""}));
    EXPECT_EQ(nameOf(), "");
}

TEST(PacketAccumulator, TheSameNumberIsAnotherUniverseInTheOtherProtocol) {
    Intake intake;
    intake.artNet(artDmx(1, {1}));
    intake.sACN(sacn({.universe = 1}));
    EXPECT_THAT(sourcesOf(intake.drain(0), artNet1), SizeIs(1));
    EXPECT_THAT(sourcesOf(intake.drain(0), sacn1), SizeIs(1));
}

TEST(PacketAccumulator, AnotherStartCodeChangesNothing) {
    Intake intake;
    const auto packet = sacn({.priority = 100, .slots = Bytes(512, 9)});
    const auto other = with(sacn({.name = "Anders", .priority = 150, .terminated = true, .slots = Bytes(512, 1)}), {{125, {0xCC}}});
    intake.sACN(other, {.time = 0});
    EXPECT_THAT(intake.drain(0).sources, IsEmpty()) << "nor does it make a source";
    intake.sACN(packet, {.time = 1});
    intake.sACN(other, {.time = 2});
    const auto source = sourcesOf(intake.drain(2), sacn1).at(0);
    EXPECT_EQ(source.count, 1u);
    EXPECT_EQ(source.lastSeen.steady, at(1).steady);
    EXPECT_EQ(source.name, "Pult");
    EXPECT_EQ(source.priority, 100);
    EXPECT_FALSE(source.terminated);
    EXPECT_THAT(intake.packets.dmxSnapshot(sacn1).at(0).data, Each(9));
}

TEST(PacketAccumulator, PreviewCountsLikeAnyOther) {
    Intake intake;
    intake.sACN(with(sacn({}), {{112, {0x80}}}));
    EXPECT_EQ(sourcesOf(intake.drain(0), sacn1).at(0).count, 1u);
}

TEST(PacketAccumulator, TheEndOfASourceIsKeptUntilItSendsAgain) {
    Intake intake;
    intake.sACN(sacn({}));
    intake.sACN(sacn({.terminated = true}));
    EXPECT_TRUE(sourcesOf(intake.drain(0), sacn1).at(0).terminated);
    EXPECT_TRUE(intake.packets.dmxSnapshot(sacn1).at(0).terminated);
    intake.sACN(sacn({}));
    EXPECT_FALSE(sourcesOf(intake.drain(0), sacn1).at(0).terminated);
}

TEST(PacketAccumulator, ADrainBeginsTheCountAnew) {
    Intake intake;
    for (int i = 0; i < 3; ++i) intake.artNet(artDmx(1, {1}), {.time = 0.1});
    EXPECT_EQ(sourcesOf(intake.drain(1), artNet1).at(0).count, 3u);
    intake.artNet(artDmx(1, {1}), {.time = 1.1});
    EXPECT_EQ(sourcesOf(intake.drain(2), artNet1).at(0).count, 1u);
    EXPECT_EQ(sourcesOf(intake.drain(3), artNet1).at(0).count, 0u) << "still listed";
}

TEST(PacketAccumulator, ASilentSourceGoesAfterAMinuteAndAnEmptyUniverseWithIt) {
    Intake intake;
    intake.artNet(artDmx(1, {1}), {.from = "10.0.0.5", .time = 0});
    intake.artNet(artDmx(1, {1}), {.from = "10.0.0.6", .time = 1});
    EXPECT_THAT(idsOf(sourcesOf(intake.drain(59.9), artNet1)), UnorderedElementsAre("10.0.0.5", "10.0.0.6"));
    EXPECT_THAT(intake.packets.dmxSnapshot(artNet1), SizeIs(2));
    // The drain that removes a source is the last to tell of it.
    EXPECT_THAT(idsOf(sourcesOf(intake.drain(60), artNet1)), UnorderedElementsAre("10.0.0.5", "10.0.0.6"));
    EXPECT_THAT(idsOf(sourcesOf(intake.drain(60.9), artNet1)), ElementsAre("10.0.0.6"));
    EXPECT_THAT(idsOf(sourcesOf(intake.drain(61), artNet1)), ElementsAre("10.0.0.6"));
    EXPECT_THAT(intake.drain(62).sources, IsEmpty());
    EXPECT_THAT(intake.packets.dmxSnapshot(artNet1), IsEmpty());
}

TEST(PacketAccumulator, ASnapshotHasTheLatestValuesTheHighestPriorityFirstThenTheLatest) {
    Intake intake;
    intake.sACN(sacn({.cid = 1, .priority = 100, .slots = Bytes(512, 1)}), {.time = 1});
    intake.sACN(sacn({.cid = 2, .priority = 100, .slots = Bytes(512, 2)}), {.time = 3});
    intake.sACN(sacn({.cid = 3, .priority = 200, .slots = Bytes(512, 3)}), {.time = 2});
    intake.sACN(sacn({.cid = 4, .priority = 0, .slots = Bytes(512, 4)}), {.time = 9});
    const auto views = intake.packets.dmxSnapshot(sacn1);
    ASSERT_THAT(idsOf(views), ElementsAre(cidText(3), cidText(2), cidText(1), cidText(4)));
    EXPECT_EQ(views[0].name, "Pult");
    EXPECT_EQ(views[0].ip, "10.0.0.5");
    EXPECT_EQ(views[0].priority, 200);
    EXPECT_EQ(views[0].lastSeen.steady, at(2).steady);
    EXPECT_THAT(views[0].data, SizeIs(512));
    EXPECT_THAT(views[0].data, Each(3));
    EXPECT_THAT(intake.packets.dmxSnapshot({NetProtocol::sacn, 2}), IsEmpty());
}

TEST(PacketAccumulator, ArtNetSendersWithoutPriorityAreInTheOrderOfTheirLatestPackets) {
    Intake intake;
    for (const auto* from : {"10.0.0.7", "10.0.0.5", "10.0.0.6"}) intake.artNet(artDmx(1, {1}), {.from = from, .time = 1});
    intake.artNet(artDmx(1, {2}), {.from = "10.0.0.6", .time = 2});
    EXPECT_THAT(idsOf(intake.packets.dmxSnapshot(artNet1)), ElementsAre("10.0.0.6", "10.0.0.7", "10.0.0.5"));
}

TEST(PacketAccumulator, KeepsExactlyTheSlotsOfTheLatestPacket) {
    Intake intake;
    intake.artNet(artDmx(1, Bytes(512, 5)));
    EXPECT_THAT(intake.packets.dmxSnapshot(artNet1).at(0).data, SizeIs(512));
    intake.artNet(with(cut(artDmx(1, {7, 8, 9}), 21), {{16, {0, 3}}}));
    EXPECT_THAT(intake.packets.dmxSnapshot(artNet1).at(0).data, ElementsAre(7, 8, 9));
    intake.artNet(cut(artDmx(1, {}), 18));
    EXPECT_THAT(intake.packets.dmxSnapshot(artNet1).at(0).data, IsEmpty());
}

TEST(PacketAccumulator, WhatIsNoPacketLeavesNoTrace) {
    Intake intake;
    const auto dmx = artDmx(1, {1});
    const auto data = sacn({});
    for (std::size_t size = 0; size < 18; ++size) intake.artNet(cut(dmx, size));
    for (std::size_t size = 0; size < 126; ++size) intake.sACN(cut(data, size));
    intake.sACN(dmx);
    intake.artNet(data);
    intake.sACN(netcore::vectors::syncBytes);
    intake.artNet(packetOf(14, {netcore::vectors::artNet(0x6000)}));
    const auto drained = intake.drain(0);
    EXPECT_THAT(drained.sources, IsEmpty());
    EXPECT_THAT(drained.nodes, IsEmpty());
    EXPECT_THAT(drained.discovered, IsEmpty());
    EXPECT_EQ(intake.packets.refused(), 0u);
}

// Nodes and discovery

TEST(PacketAccumulator, NodesAreKeptBySenderAndBindIndexForEver) {
    Intake intake;
    intake.artNet(pollReply("Dimmer B", 2), {.from = "10.0.0.5", .time = 1, .adapter = 2});
    intake.artNet(pollReply("Dimmer A", 1), {.from = "10.0.0.5", .time = 1, .adapter = 2});
    intake.artNet(pollReply("Splitter", 1), {.from = "10.0.0.4", .time = 1, .adapter = 2});
    intake.artNet(pollReply("Dimmer neu", 1), {.from = "10.0.0.5", .time = 2, .adapter = 3});
    const auto nodes = intake.drain(3600).nodes;
    ASSERT_THAT(nodes, SizeIs(3));
    EXPECT_EQ(nodes[0].sender, "10.0.0.4");
    EXPECT_EQ(nodes[1].sender, "10.0.0.5");
    EXPECT_EQ(nodes[1].reply.bindIndex, 1);
    EXPECT_EQ(nodes[1].reply.shortName, "Dimmer neu");
    EXPECT_EQ(nodes[1].lastSeen.steady, at(2).steady);
    EXPECT_EQ(nodes[1].interfaceIndex, 3u);
    EXPECT_EQ(nodes[2].reply.shortName, "Dimmer B");
}

TEST(PacketAccumulator, TheFirstPageOfADiscoveryEmptiesTheListAndTheOthersAdd) {
    Intake intake;
    const auto universes = [&] { return intake.drain(0).discovered.at(0).universes; };
    intake.sACN(discovery(1, "Pult", 0, {3, 1, 2, 2}), {.from = "10.0.0.5", .adapter = 2});
    EXPECT_THAT(universes(), ElementsAre(1, 2, 3));
    intake.sACN(discovery(1, "Pult", 1, {63999, 2}));
    EXPECT_THAT(universes(), ElementsAre(1, 2, 3, 63999));
    intake.sACN(discovery(1, "Anderer Name", 0, {7}), {.from = "10.0.0.6", .adapter = 3});
    EXPECT_THAT(universes(), ElementsAre(7));
    const auto known = intake.drain(3600).discovered;
    ASSERT_THAT(known, SizeIs(1));
    EXPECT_EQ(known[0].name, "Pult") << "name and address of a known source stay";
    EXPECT_EQ(known[0].ip, "10.0.0.5");
    EXPECT_EQ(known[0].interfaceIndex, 2u);
    EXPECT_EQ(known[0].cid, cidText(1));
    intake.sACN(discovery(1, "Pult", 0, {}));
    EXPECT_THAT(universes(), IsEmpty());
}

// Polls

TEST(PacketAccumulator, APollMakesAControllerAndIsHandedToTheResponder) {
    Intake intake;
    std::vector<std::string> answered;
    intake.responder.configure(true, {1}, {{.name = "eth0", .address = "10.0.0.2", .mask = 0, .network = 0}}, {"10.0.0.2"});
    intake.responder.setSend([&](base::Bytes, const std::string& to) { answered.push_back(to); });
    intake.artNet(netcore::vectors::poll, {.from = "10.0.0.9", .time = 1, .adapter = 2});
    intake.artNet(netcore::vectors::poll, {.from = "10.0.0.9", .time = 3, .adapter = 3});
    intake.artNet(netcore::vectors::poll, {.from = "10.0.0.8", .time = 3, .adapter = 3});
    const auto controllers = intake.packets.currentControllers(at(4).steady);
    ASSERT_THAT(controllers, SizeIs(2));
    EXPECT_EQ(controllers[0].ip, "10.0.0.8");
    EXPECT_EQ(controllers[1].ip, "10.0.0.9");
    EXPECT_EQ(controllers[1].count, 2u);
    EXPECT_EQ(controllers[1].firstSeen, at(1).steady);
    EXPECT_EQ(controllers[1].lastSeen.steady, at(3).steady);
    EXPECT_EQ(controllers[1].interfaceIndex, 3u) << "of the latest poll";
    EXPECT_THAT(answered, ElementsAre("10.0.0.9", "10.0.0.9", "10.0.0.8"));
    EXPECT_EQ(intake.packets.currentControllers(at(5).steady)[1].count, 2u) << "the count goes on";
}

TEST(PacketAccumulator, AControllerGoesAfterTwoMinutes) {
    Intake intake;
    intake.artNet(netcore::vectors::poll, {.time = 0});
    EXPECT_THAT(intake.packets.currentControllers(at(119.9).steady), SizeIs(1));
    EXPECT_THAT(intake.packets.currentControllers(at(120).steady), IsEmpty());
}

TEST(PacketAccumulator, OurOwnPollsMakeNoControllerButAConsoleOnThisComputerDoes) {
    Intake intake;
    int answers = 0;
    intake.responder.configure(true, {1}, {{.name = "eth0", .address = "10.0.0.2", .mask = 0, .network = 0}}, {"10.0.0.2"});
    intake.responder.setSend([&](base::Bytes, const std::string&) { ++answers; });
    intake.packets.setOwnSender({.addresses = {netcore::ipToUInt32("10.0.0.2").value()}, .port = 40000});
    intake.artNet(netcore::vectors::poll, {.from = "10.0.0.2", .sourcePort = 40000});
    EXPECT_THAT(intake.packets.currentControllers(at(0).steady), IsEmpty());
    intake.artNet(netcore::vectors::poll, {.from = "10.0.0.3", .sourcePort = 40000});
    EXPECT_THAT(intake.packets.currentControllers(at(0).steady), SizeIs(1)) << "another computer with the same source port";
    EXPECT_EQ(answers, 1);
    intake.artNet(netcore::vectors::poll, {.from = "10.0.0.2", .sourcePort = 6454});
    EXPECT_THAT(intake.packets.currentControllers(at(0).steady), SizeIs(2)) << "another program on this computer";
    EXPECT_EQ(answers, 1) << "which is not answered";
}

// What is handed on

TEST(PacketAccumulator, TimecodeGoesToTheExtras) {
    Intake intake;
    intake.artNet(packetOf(19, {netcore::vectors::artNet(0x9700), {14, {24, 59, 58, 23, 1}}}), {.from = "10.0.0.7", .time = 4});
    const auto codes = intake.extras.currentTimecodes(at(4).steady);
    ASSERT_THAT(codes, SizeIs(1));
    EXPECT_EQ(codes[0].ip, "10.0.0.7");
    EXPECT_EQ(codes[0].code.text(), "23:58:59:24");
    EXPECT_EQ(codes[0].time.steady, at(4).steady);
}

TEST(PacketAccumulator, DeviceManagementGoesToItsReceiverWithoutTheLock) {
    struct Receiver final : RDMReceiver {
        void handleTod(const netcore::ArtNet::TodData& tod, const std::string& sender) override {
            tods.emplace_back(tod, sender);
            accumulator->refused();  // would not come back if the lock were held
        }
        void handleRdm(const netcore::ArtNet::RdmData& rdm) override { rdms.push_back(rdm); }
        void clear() override {}
        PacketAccumulator* accumulator = nullptr;
        std::vector<std::pair<netcore::ArtNet::TodData, std::string>> tods;
        std::vector<netcore::ArtNet::RdmData> rdms;
    } receiver;
    ExtrasAccumulator extras;
    ArtNetResponder responder;
    PacketAccumulator packets(extras, responder, &receiver);
    receiver.accumulator = &packets;
    packets.handleArtNet(view(netcore::vectors::todBytes, {.from = "10.0.0.7"}));
    packets.handleArtNet(view(netcore::vectors::rdmBytes, {}));
    EXPECT_THAT(receiver.tods, ElementsAre(Pair(netcore::vectors::tod, "10.0.0.7")));
    EXPECT_THAT(receiver.rdms, ElementsAre(netcore::vectors::rdm));
}

TEST(PacketAccumulator, DeviceManagementWithoutAReceiverIsIgnored) {
    Intake intake;
    intake.artNet(netcore::vectors::todBytes);
    intake.artNet(netcore::vectors::rdmBytes);
    EXPECT_THAT(intake.drain(0).sources, IsEmpty());
}

// Consoles' own traffic

TEST(PacketAccumulator, AStationIsAVersionAndAnAddress) {
    using netcore::MANet::Version;
    Intake intake;
    intake.maNet(words({"grandMA3 2.1.1"}), {.from = "10.0.0.10", .time = 1, .adapter = 2, .to = "236.4.1.1"});
    intake.maNet(words({"grandMA3 2.1.1", "Session"}), {.from = "10.0.0.10", .time = 2, .adapter = 3, .to = "236.4.1.0"});
    intake.maNet(words({"onPC"}), {.from = "10.0.0.10", .time = 2}, Version::ma2);
    intake.maNet(words({"light"}), {.from = "10.0.0.9", .time = 2});
    const auto stations = intake.packets.drainMA(at(3).steady);
    ASSERT_THAT(stations, SizeIs(3));
    EXPECT_EQ(stations[0].version, Version::ma2);
    EXPECT_THAT(stations[0].channels, ElementsAre("")) << "a destination that is not known";
    EXPECT_EQ(stations[1].ip, "10.0.0.9");
    const auto& station = stations[2];
    EXPECT_EQ(station.ip, "10.0.0.10");
    EXPECT_EQ(station.version, Version::ma3);
    EXPECT_EQ(station.count, 2u);
    EXPECT_EQ(station.interfaceIndex, 2u) << "as first seen";
    EXPECT_EQ(station.lastSeen.steady, at(2).steady);
    EXPECT_THAT(station.channels, ElementsAre("236.4.1.0", "236.4.1.1"));
    EXPECT_THAT(station.texts, ElementsAre(Pair("Session", 1), Pair("grandMA3 2.1.1", 2)));
}

TEST(PacketAccumulator, AStationsCountBeginsAnewAndItGoesAfterTwoMinutes) {
    Intake intake;
    intake.maNet(words({"Session"}), {.time = 0});
    EXPECT_EQ(intake.packets.drainMA(at(1).steady).at(0).count, 1u);
    const auto later = intake.packets.drainMA(at(119.9).steady);
    ASSERT_THAT(later, SizeIs(1));
    EXPECT_EQ(later[0].count, 0u);
    EXPECT_THAT(later[0].texts, ElementsAre(Pair("Session", 1))) << "texts stay";
    EXPECT_THAT(intake.packets.drainMA(at(120).steady), SizeIs(1)) << "the drain that removes it is the last to tell of it";
    EXPECT_THAT(intake.packets.drainMA(at(121).steady), IsEmpty());
}

TEST(PacketAccumulator, NewTextsOfAStationStopAt300ButKnownOnesGoOnCounting) {
    Intake intake;
    for (int n = 0; n < 400; ++n) intake.maNet(words({"Text " + std::to_string(1000 + n)}));
    intake.maNet(words({"Text 1000", "Text 1299", "Text 1300"}));
    const auto texts = intake.packets.drainMA(at(0).steady).at(0).texts;
    EXPECT_THAT(texts, SizeIs(300));
    EXPECT_EQ(texts.at("Text 1000"), 2u);
    EXPECT_EQ(texts.at("Text 1299"), 2u);
    EXPECT_FALSE(texts.contains("Text 1300"));
    EXPECT_EQ(intake.packets.refused(), 0u) << "that is usual, no flood";
}

// The rest

TEST(PacketAccumulator, GroupsToBeJoinedAreTakenOnce) {
    Intake intake;
    intake.packets.noteSACNGroup(7);
    intake.packets.noteSACNGroup(3);
    intake.packets.noteSACNGroup(7);
    EXPECT_THAT(intake.packets.takeSeenSACNGroups(), ElementsAre(3, 7));
    EXPECT_THAT(intake.packets.takeSeenSACNGroups(), IsEmpty());
}

TEST(PacketAccumulator, AResetForgetsAllButWhoWeAre) {
    Intake intake;
    intake.packets.setOwnSender({.addresses = {netcore::ipToUInt32("10.0.0.2").value()}, .port = 40000});
    intake.artNet(artDmx(1, {1}));
    intake.sACN(sacn({}));
    intake.sACN(discovery(1, "Pult", 0, {1}));
    intake.artNet(pollReply("Node", 1));
    intake.artNet(netcore::vectors::poll);
    intake.maNet(words({"Session"}));
    intake.packets.noteSACNGroup(7);
    intake.packets.reset();
    const auto drained = intake.drain(0);
    EXPECT_THAT(drained.sources, IsEmpty());
    EXPECT_THAT(drained.nodes, IsEmpty());
    EXPECT_THAT(drained.discovered, IsEmpty());
    EXPECT_THAT(intake.packets.currentControllers(at(0).steady), IsEmpty());
    EXPECT_THAT(intake.packets.drainMA(at(0).steady), IsEmpty());
    EXPECT_THAT(intake.packets.takeSeenSACNGroups(), IsEmpty());
    EXPECT_THAT(intake.packets.dmxSnapshot(artNet1), IsEmpty());
    intake.artNet(netcore::vectors::poll, {.from = "10.0.0.2", .sourcePort = 40000});
    EXPECT_THAT(intake.packets.currentControllers(at(0).steady), IsEmpty());
    intake.artNet(artDmx(1, {1}));
    EXPECT_EQ(sourcesOf(intake.drain(0), artNet1).at(0).count, 1u);
}

TEST(PacketAccumulator, LosesNoPacketWhileItIsDrained) {
    constexpr int feeders = 3, packetsEach = 20'000;
    Intake intake;
    std::atomic<int> feeding = feeders;
    std::vector<std::jthread> threads;
    for (int feeder = 0; feeder < feeders; ++feeder)
        threads.emplace_back([&intake, &feeding, feeder] {
            const auto cid = static_cast<std::uint32_t>(feeder);
            const std::array packets = {sacn({.cid = cid, .name = "Pult"}), sacn({.cid = cid, .name = "Pult, anders genannt"})};
            const auto dmx = artDmx(1, {1});
            const auto texts = words({"Session"});
            const Way way{.from = "10.0.0." + std::to_string(feeder)};
            for (std::size_t n = 0; n < packetsEach; ++n) {
                intake.sACN(packets[n / 64 % packets.size()], way);
                intake.artNet(dmx, way);
                if (n % 256 == 0) {
                    intake.maNet(texts, way);
                    intake.artNet(netcore::vectors::poll, way);
                    intake.artNet(pollReply("Node", feeder), way);
                    intake.sACN(discovery(cid, "Pult", 0, {1, 2, 3}), way);
                }
            }
            --feeding;
        });
    std::uint64_t counted = 0;
    const auto take = [&] {
        for (const auto& [key, sources] : intake.drain(1).sources)
            for (const auto& source : sources) counted += source.count;
    };
    while (feeding > 0) {
        take();
        intake.packets.drainMA(at(1).steady);
        intake.packets.currentControllers(at(1).steady);
        intake.packets.dmxSnapshot(sacn1);
    }
    threads.clear();
    take();
    EXPECT_EQ(counted, 2u * feeders * packetsEach);
}

// Our own test light

TEST(PacketAccumulator, FramesOfOurTestLightAreASourceOfTheirOwn) {
    Intake intake;
    intake.packets.setOwnSender({.addresses = {netcore::ipToUInt32("10.0.0.2").value()}, .port = 40000, .testPort = 41000});
    const auto ownIds = [&intake] {
        std::set<std::string> ids;
        for (const auto& source : intake.packets.dmxSnapshot(artNet1))
            if (source.own) ids.insert(source.id + " " + source.name);
        return ids;
    };
    intake.artNet(artDmx(1, {1}), {.from = "10.0.0.2", .sourcePort = 40000});
    intake.artNet(artDmx(1, {1}), {.from = "10.0.0.3", .sourcePort = 41000});
    EXPECT_EQ(ownIds(), std::set<std::string>{}) << "another program of this computer, and another computer with the same port";
    intake.artNet(artDmx(1, {1}), {.from = "10.0.0.2", .sourcePort = 41000});
    intake.artNet(artDmx(1, {1}), {.from = "127.0.0.9", .sourcePort = 41000});
    EXPECT_EQ(ownIds(), (std::set<std::string>{"10.0.0.2#test Brantholme Test", "127.0.0.9#test Brantholme Test"}));
    EXPECT_THAT(intake.packets.dmxSnapshot(artNet1), SizeIs(4)) << "a console on this computer stays beside it";
    const auto drained = intake.drain(0);
    int own = 0;
    for (const auto& source : sourcesOf(drained, artNet1)) own += source.own ? 1 : 0;
    EXPECT_EQ(own, 2);
}

TEST(PacketAccumulator, WithoutATestLightNoPortIsItsOwn) {
    Intake intake;
    intake.packets.setOwnSender({.addresses = {netcore::ipToUInt32("10.0.0.2").value()}, .port = 40000});
    intake.artNet(artDmx(1, {1}), {.from = "10.0.0.2", .sourcePort = 0});
    ASSERT_THAT(intake.packets.dmxSnapshot(artNet1), SizeIs(1));
    EXPECT_FALSE(intake.packets.dmxSnapshot(artNet1)[0].own);
}

TEST(PacketAccumulator, OnSACNOurTestLightIsKnownByItsName) {
    Intake intake;
    intake.sACN(sacn({.cid = 1, .name = "Brantholme Test"}));
    intake.sACN(sacn({.cid = 2, .name = "Brantholme Test 2"}));
    std::map<std::string, bool> own;
    for (const auto& source : intake.packets.dmxSnapshot(sacn1)) own[source.name] = source.own;
    EXPECT_EQ(own, (std::map<std::string, bool>{{"Brantholme Test", true}, {"Brantholme Test 2", false}}));
    intake.sACN(sacn({.cid = 1, .name = "Pult"}));
    for (const auto& source : intake.packets.dmxSnapshot(sacn1)) EXPECT_FALSE(source.own) << source.name;
}
