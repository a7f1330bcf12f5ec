#include "Kestrelyne/Lighting/DMXOutput.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Kestrelyne/Lighting/DMXOutputRig.hpp"

namespace kestrelyne {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DMXOutputTest : public DMXOutputRig {};

// Refusals

TEST_F(DMXOutputTest, WithoutTheMonitorNothingIsSent) {
    add("1", 1, 1);
    running_ = false;
    EXPECT_FALSE(output_->start(DMXOutput::All{}));
    EXPECT_FALSE(output_->sending());
    EXPECT_EQ(blocked(), monitorNeeded);
    EXPECT_FALSE(catcher_.next(std::chrono::milliseconds(100)));
    EXPECT_THAT(lines_, IsEmpty());
}

TEST_F(DMXOutputTest, AConsoleOnSACNBlocksArtNet) {
    add("1", 1, 1);
    send(sacn(1), "Pult");
    EXPECT_FALSE(output_->start(DMXOutput::All{}));
    EXPECT_EQ(blocked(), "Pult (sACN) sendet bereits ein Pult/eine andere Quelle – Testausgabe nicht gestartet.");
    EXPECT_FALSE(output_->sending());
    EXPECT_FALSE(catcher_.next(std::chrono::milliseconds(100)));
}

TEST_F(DMXOutputTest, ASenderOfArtNetBlocksSACNByTheMappedUniverse) {
    add("1", 2, 1);
    send(artnet(1), "Server");
    send(sacn(2), "Pult");
    EXPECT_FALSE(output_->start(DMXOutput::All{}, {.proto = Proto::sacn}));
    EXPECT_EQ(blocked(), "Server (Art-Net), Pult (sACN) sendet bereits ein Pult/eine andere Quelle – Testausgabe nicht gestartet.");
    sources_.clear();
    send(artnet(2), "Nachbar");
    EXPECT_TRUE(output_->start(DMXOutput::All{}, {.proto = Proto::sacn}));
    EXPECT_EQ(blocked(), "");
}

TEST_F(DMXOutputTest, TheUniversesAreHeardBeforeTheyAreJudged) {
    ASSERT_TRUE(output_->start(DMXOutput::Raw{.universe = 5, .channel = 1, .value = 1}));
    EXPECT_EQ(heard_, std::set<int>{5});
}

// What was being sent goes on as it was.
TEST_F(DMXOutputTest, ARefusedChangeLeavesEverythingAsItWas) {
    const auto first = add("1", 1, 1), second = add("2", 2, 1);
    ASSERT_TRUE(output_->start(DMXOutput::Fixtures{{first}}));
    send(sacn(2), "Pult");
    EXPECT_FALSE(output_->start(DMXOutput::Fixtures{{second}}, {.level = 0.5, .proto = Proto::sacn}));
    EXPECT_EQ(*output_->mode(), DMXOutput::Mode(DMXOutput::Fixtures{{first}}));
    EXPECT_EQ(*output_->options(), Options{});
    EXPECT_TRUE(output_->lit(fixture(first)));
    EXPECT_EQ(seen({{0, {{1, 255}}}}), (Picture{{0, {{1, 255}}}}));
    pass(Seconds(10));
    EXPECT_TRUE(output_->sending()) << "its own universe is free";
    EXPECT_TRUE(output_->start(DMXOutput::Fixtures{{first}}));
    EXPECT_EQ(blocked(), "");
}

TEST_F(DMXOutputTest, AUniverseThatNoNodePutsOutHasNoDestination) {
    add("1", 3, 1);
    add("2", 18, 1);
    nodes_.clear();
    EXPECT_FALSE(output_->start(DMXOutput::Raw{.universe = 3, .channel = 1, .value = 255}));
    EXPECT_EQ(blocked(), "Kein Art-Net-Node gibt Universum 3 (0:0:2) aus – Testausgabe nicht gestartet.");
    EXPECT_FALSE(output_->start(DMXOutput::All{}));
    EXPECT_EQ(blocked(), "Kein Art-Net-Node gibt Universum 3 (0:0:2), 18 (0:1:1) aus – Testausgabe nicht gestartet.");
    EXPECT_TRUE(output_->start(DMXOutput::All{}, {.proto = Proto::sacn})) << "sACN needs no node";
}

TEST_F(DMXOutputTest, UniversesWithoutANodeAreLeftOut) {
    const auto first = add("1", 1, 1), second = add("2", 9, 1);
    ASSERT_TRUE(output_->start(DMXOutput::All{}));
    EXPECT_EQ(texts(), std::vector<std::string>{"DMX-Testausgabe gestartet (Art-Net, Universum 1; ohne Node: Universum 9)"});
    EXPECT_TRUE(output_->lit(fixture(first)));
    EXPECT_FALSE(output_->lit(fixture(second)));
    EXPECT_EQ(output_->universes(), std::set<int>{1});
    EXPECT_EQ(output_->universesWithoutNode(), std::set<int>{9});
    EXPECT_EQ(seen({{0, {{1, 255}}}}), (Picture{{0, {{1, 255}}}}));
}

TEST_F(DMXOutputTest, WithoutAPatchedLampThereIsNothingToSend) {
    add("1", 1, 0);
    add("2", 0, 1);
    for (const auto& mode : {DMXOutput::Mode(DMXOutput::All{}), DMXOutput::Mode(DMXOutput::Chase{}),
                             DMXOutput::Mode(DMXOutput::Fixtures{{base::UUID::random()}})}) {
        EXPECT_FALSE(output_->start(mode));
        EXPECT_EQ(blocked(), "Keine gepatchte Lampe gewählt – Testausgabe nicht gestartet.");
    }
}

TEST_F(DMXOutputTest, ARawChannelThatDoesNotExistIsRefused) {
    for (const int channel : {0, 513, -1}) {
        EXPECT_FALSE(output_->start(DMXOutput::Raw{.universe = 1, .channel = channel, .value = 255}));
        EXPECT_EQ(blocked(), "Kanal " + std::to_string(channel) + " gibt es nicht (1 bis 512) – Testausgabe nicht gestartet.");
    }
    EXPECT_FALSE(output_->start(DMXOutput::Raw{.universe = 0, .channel = 1, .value = 255}));
    EXPECT_EQ(blocked(), "Universum 0 gibt es auf Art-Net nicht – Testausgabe nicht gestartet.");
    EXPECT_FALSE(output_->start(DMXOutput::Raw{.universe = 64000, .channel = 1, .value = 255}, {.proto = Proto::sacn}));
    EXPECT_EQ(blocked(), "Universum 64000 gibt es auf sACN nicht – Testausgabe nicht gestartet.");
}

// The guard

TEST_F(DMXOutputTest, ASenderThatBeginsEndsItWithinTwoSeconds) {
    add("1", 1, 1);
    add("2", 2, 1);
    add("3", 3, 1);
    ASSERT_TRUE(output_->start(DMXOutput::All{}));
    pass(Seconds(3));
    send(sacn(2), "Pult");
    send(artnet(0), "Pult");
    pass(Seconds(0.9));
    EXPECT_TRUE(output_->sending());
    pass(Seconds(0.1));
    EXPECT_FALSE(output_->sending());
    EXPECT_EQ(blocked(), "Testausgabe gestoppt: auf Universum 1, 2 sendet jetzt eine andere Quelle.");
    EXPECT_EQ(lines_, (std::vector<Line>{{NetEvent::Level::info, "DMX-Testausgabe gestartet (Art-Net, Universum 1–3)"},
                                         {NetEvent::Level::info, "DMX-Testausgabe beendet"},
                                         {NetEvent::Level::warning,
                                          "Testausgabe gestoppt: auf Universum 1, 2 sendet jetzt eine andere Quelle."}}));
    const auto all = catcher_.untilQuiet();
    ASSERT_GE(all.size(), 9u);
    for (std::size_t i = all.size() - 9; i < all.size(); ++i) EXPECT_TRUE(all[i].dark());
    pass(Seconds(10));
    EXPECT_EQ(lines_.size(), 3u) << "it looks no more";
}

TEST_F(DMXOutputTest, OurOwnFramesEndNothing) {
    add("1", 1, 1);
    ASSERT_TRUE(output_->start(DMXOutput::All{}, {.proto = Proto::sacn}));
    send(sacn(1), "Brantholme Test");
    sources_[sacn(1)].back().own = true;
    send(artnet(0), "Brantholme Test");
    sources_[artnet(0)].back().own = true;
    pass(Seconds(20));
    EXPECT_TRUE(output_->sending());
    EXPECT_TRUE(output_->start(DMXOutput::All{}));
}

TEST_F(DMXOutputTest, TheGuardOutlivesAChangeBetweenModes) {
    const auto id = add("1", 1, 1);
    ASSERT_TRUE(output_->start(DMXOutput::All{}));
    pass(Seconds(1.5));
    ASSERT_TRUE(output_->start(DMXOutput::Fixtures{{id}}));
    send(sacn(1), "Pult");
    pass(Seconds(0.5));
    EXPECT_FALSE(output_->sending());
    EXPECT_EQ(texts().front(), "DMX-Testausgabe gestartet (Art-Net, Universum 1)");
    EXPECT_EQ(texts().size(), 3u) << "a change is no start";
}

TEST_F(DMXOutputTest, AMonitorThatEndsEndsIt) {
    add("1", 1, 1);
    ASSERT_TRUE(output_->start(DMXOutput::All{}));
    running_ = false;
    pass(Seconds(2));
    EXPECT_FALSE(output_->sending());
    EXPECT_EQ(blocked(), monitorNeeded);
    EXPECT_EQ(lines_.back(), (Line{NetEvent::Level::warning, monitorNeeded}));
}

TEST_F(DMXOutputTest, NodesThatComeAndGoAreFollowed) {
    add("1", 1, 1);
    add("2", 2, 2);
    nodes_.erase(1);
    ASSERT_TRUE(output_->start(DMXOutput::All{}));
    EXPECT_EQ(output_->universes(), std::set<int>{1});
    nodes_[1] = {here};
    pass(Seconds(2));
    const Picture both = {{0, {{1, 255}}}, {1, {{2, 255}}}};
    EXPECT_EQ(seen(both), both);
    nodes_.erase(0);
    pass(Seconds(2));
    EXPECT_EQ(output_->universes(), std::set<int>{2});
    EXPECT_TRUE(catcher_.until([](const CaughtFrame& frame) { return frame.universe == 0 && frame.dark(); }));
    nodes_.clear();
    pass(Seconds(2));
    EXPECT_FALSE(output_->sending());
    EXPECT_EQ(blocked(), "Testausgabe gestoppt: kein Art-Net-Node gibt Universum 1 (0:0:0), 2 (0:0:1) mehr aus.");
}

// The end

TEST_F(DMXOutputTest, StopsOnceAndIsDarkThen) {
    add("1", 1, 1);
    output_->stop();
    EXPECT_THAT(lines_, IsEmpty());
    ASSERT_TRUE(output_->start(DMXOutput::All{}, {.proto = Proto::sacn}));
    ASSERT_TRUE(catcher_.next());
    output_->stop();
    output_->stop();
    EXPECT_THAT(texts(), ElementsAre("DMX-Testausgabe gestartet (sACN, Universum 1)", "DMX-Testausgabe beendet"));
    bool over = false;
    const auto wait = [](DMXOutput& output, bool& done) -> base::Co<> {
        co_await output.finished();
        done = true;
    };
    const base::Task task("waits for the dark", wait(*output_, over));
    EXPECT_TRUE(loop_.runUntil([&] { return over; }));
    const auto all = catcher_.untilQuiet();
    ASSERT_GE(all.size(), 4u);
    EXPECT_TRUE(all.back().terminated);
}

TEST_F(DMXOutputTest, StartingOffIsStopping) {
    add("1", 1, 1);
    ASSERT_TRUE(output_->start(DMXOutput::All{}));
    running_ = false;
    EXPECT_TRUE(output_->start(DMXOutput::Off{}));
    EXPECT_FALSE(output_->sending());
    EXPECT_EQ(blocked(), "");
}

TEST_F(DMXOutputTest, AnObserverMayStopItAtOnce) {
    add("1", 1, 1);
    const auto watch = output_->mode().observe([this] {
        if (output_->sending()) output_->stop();
    });
    output_->start(DMXOutput::Chase{});
    EXPECT_FALSE(output_->sending());
    pass(Seconds(5));
    EXPECT_EQ(currentNumber(), "");
    for (const auto& frame : catcher_.untilQuiet()) EXPECT_TRUE(frame.dark());
}

TEST_F(DMXOutputTest, ItsOwnEndBlacksOut) {
    add("1", 1, 1);
    ASSERT_TRUE(output_->start(DMXOutput::Chase{}));
    ASSERT_TRUE(catcher_.until([](const CaughtFrame& frame) { return !frame.dark(); }));
    output_ = nullptr;
    const auto all = catcher_.untilQuiet();
    ASSERT_GE(all.size(), 3u);
    for (std::size_t i = all.size() - 3; i < all.size(); ++i) EXPECT_TRUE(all[i].dark());
}

}  // namespace

}  // namespace kestrelyne
