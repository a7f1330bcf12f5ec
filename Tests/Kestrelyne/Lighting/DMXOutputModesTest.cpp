#include <gtest/gtest.h>

#include <limits>

#include "Kestrelyne/Lighting/DMXOutputRig.hpp"

namespace kestrelyne {

namespace {

class DMXOutputModes : public DMXOutputRig {};

// What is sent

TEST_F(DMXOutputModes, LightsTheChosenLampsOverArtNet) {
    const auto first = add("1", 1, 10, {{0, 255}, {2, 255, true}, {3, 40}}), second = add("2", 2, 20);
    const auto third = add("3", 2, 30);
    ASSERT_TRUE(output_->start(DMXOutput::Fixtures{{first, second}}, {.level = 0.5}));
    const Picture expected = {{0, {{10, 128}, {12, 255}, {13, 40}}}, {1, {{20, 128}}}};
    EXPECT_EQ(seen(expected), expected);
    EXPECT_TRUE(output_->lit(fixture(first)));
    EXPECT_TRUE(output_->lit(fixture(second)));
    EXPECT_FALSE(output_->lit(fixture(third)));
    EXPECT_EQ(lines_, (std::vector<Line>{{NetEvent::Level::info, "DMX-Testausgabe gestartet (Art-Net, Universum 1, 2)"}}));
}

TEST_F(DMXOutputModes, SACNHasTheUniverseOfTheConsoleAndThePriority) {
    add("1", 3, 1);
    patch_.setSettings({.artNetOffset = 7});
    ASSERT_TRUE(output_->start(DMXOutput::All{}, {.proto = Proto::sacn, .sacnPriority = 150.4}));
    const auto frame = catcher_.next();
    ASSERT_TRUE(frame);
    EXPECT_TRUE(frame->sacn);
    EXPECT_EQ(frame->universe, 3);
    EXPECT_EQ(frame->priority, 150);
    EXPECT_EQ(texts(), std::vector<std::string>{"DMX-Testausgabe gestartet (sACN, Universum 3)"});
}

TEST_F(DMXOutputModes, AllMeansThoseOfTheFilter) {
    const auto first = add("1", 1, 1), second = add("2", 2, 2), unpatched = add("3", 2, 0);
    ASSERT_TRUE(output_->start(DMXOutput::All{}, {.universeFilter = {2}}));
    EXPECT_EQ(seen({{1, {{2, 255}}}}), (Picture{{1, {{2, 255}}}}));
    EXPECT_FALSE(output_->lit(fixture(first)));
    EXPECT_TRUE(output_->lit(fixture(second)));
    EXPECT_FALSE(output_->lit(fixture(unpatched)));
}

TEST_F(DMXOutputModes, ARawChannelIsNotScaled) {
    const auto on = add("1", 4, 512);
    ASSERT_TRUE(output_->start(DMXOutput::Raw{.universe = 4, .channel = 512, .value = 300}, {.level = 0.1}));
    EXPECT_EQ(seen({{3, {{512, 255}}}}), (Picture{{3, {{512, 255}}}}));
    EXPECT_FALSE(output_->lit(fixture(on)));
}

// A negative offset puts several universes of the console on one.
TEST_F(DMXOutputModes, UniversesThatMeetOnTheWireShareTheirFrame) {
    add("1", 1, 1);
    add("2", 2, 2);
    patch_.setSettings({.artNetOffset = -1});
    ASSERT_TRUE(output_->start(DMXOutput::All{}));
    const Picture both = {{0, {{1, 255}, {2, 255}}}};
    EXPECT_EQ(seen(both), both);
}

TEST_F(DMXOutputModes, OptionsCountAtOnce) {
    add("1", 1, 1);
    ASSERT_TRUE(output_->start(DMXOutput::All{}));
    output_->setOptions({.level = 0.25});
    EXPECT_EQ(seen({{0, {{1, 64}}}}), (Picture{{0, {{1, 64}}}}));
    output_->setOptions({.level = 0.25, .proto = Proto::sacn, .sacnPriority = 90});
    const auto frame = catcher_.until([](const CaughtFrame& caught) { return caught.sacn && !caught.dark(); });
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->priority, 90);
}

TEST_F(DMXOutputModes, OptionsAreClamped) {
    constexpr double infinite = std::numeric_limits<double>::infinity(), none = std::numeric_limits<double>::quiet_NaN();
    output_->setOptions({.level = 7, .sacnPriority = 255, .chaseStep = 0});
    EXPECT_EQ(*output_->options(), (Options{.level = 1, .sacnPriority = 200, .chaseStep = 0.05}));
    output_->setOptions({.level = -1, .sacnPriority = -3, .chaseStep = infinite});
    EXPECT_EQ(*output_->options(), (Options{.level = 0, .sacnPriority = 0, .chaseStep = 3600}));
    output_->setOptions({.level = none, .sacnPriority = none, .chaseStep = none});
    EXPECT_EQ(*output_->options(), (Options{.level = 0, .sacnPriority = 100, .chaseStep = 1}));
}

TEST_F(DMXOutputModes, APatchThatChangesIsFollowed) {
    const auto id = add("1", 1, 1);
    ASSERT_TRUE(output_->start(DMXOutput::All{}));
    EXPECT_EQ(seen({{0, {{1, 255}}}}), (Picture{{0, {{1, 255}}}}));
    auto moved = fixture(id);
    moved.address = 100;
    patch_.update(moved);
    EXPECT_EQ(seen({{0, {{100, 255}}}}), (Picture{{0, {{100, 255}}}}));
    patch_.remove({id});
    EXPECT_FALSE(output_->sending());
    EXPECT_EQ(blocked(), "Testausgabe gestoppt: es ist keine gepatchte Lampe mehr gewählt.");
}

// Not for two seconds, not for one frame.
TEST_F(DMXOutputModes, ALampThatIsMovedToAForeignUniverseEndsIt) {
    const auto id = add("1", 1, 1);
    ASSERT_TRUE(output_->start(DMXOutput::All{}));
    send(sacn(2), "Pult");
    auto moved = fixture(id);
    moved.universe = 2;
    patch_.update(moved);
    EXPECT_FALSE(output_->sending());
    EXPECT_EQ(blocked(), "Testausgabe gestoppt: auf Universum 2 sendet jetzt eine andere Quelle.");
    for (const auto& frame : catcher_.untilQuiet()) EXPECT_EQ(frame.universe, 0);
}

TEST_F(DMXOutputModes, AFilterThatReachesAForeignUniverseEndsIt) {
    add("1", 1, 1);
    add("2", 2, 1);
    send(artnet(1), "Pult");
    ASSERT_TRUE(output_->start(DMXOutput::All{}, {.universeFilter = {1}}));
    output_->setOptions({});
    EXPECT_FALSE(output_->sending());
    EXPECT_EQ(blocked(), "Testausgabe gestoppt: auf Universum 2 sendet jetzt eine andere Quelle.");
}

// The chase

TEST_F(DMXOutputModes, AChaseLightsOneLampAfterTheOther) {
    const auto third = add("10", 1, 3), first = add("1", 1, 1), second = add("2", 2, 2);
    add("3", 1, 0);
    ASSERT_TRUE(output_->start(DMXOutput::Chase{}, {.chaseStep = 0.5}));
    const std::vector<std::pair<std::string, Picture>> steps = {{"1", {{0, {{1, 255}}}, {1, {}}}},
                                                                {"2", {{0, {}}, {1, {{2, 255}}}}},
                                                                {"10", {{0, {{3, 255}}}, {1, {}}}},
                                                                {"1", {{0, {{1, 255}}}, {1, {}}}}};
    for (std::size_t i = 0; i < steps.size(); ++i) {
        EXPECT_EQ(currentNumber(), steps[i].first);
        EXPECT_EQ(*output_->chaseIndex(), static_cast<int>(i % 3));
        EXPECT_EQ(seen(steps[i].second), steps[i].second);
        EXPECT_EQ(output_->lit(fixture(first)), steps[i].first == "1");
        EXPECT_EQ(output_->lit(fixture(second)), steps[i].first == "2");
        EXPECT_EQ(output_->lit(fixture(third)), steps[i].first == "10");
        pass(Seconds(0.5));
    }
    output_->stop();
    EXPECT_FALSE(*output_->currentFixture());
    const auto index = *output_->chaseIndex();
    pass(Seconds(5));
    EXPECT_EQ(*output_->chaseIndex(), index);
    EXPECT_FALSE(output_->sending());
}

TEST_F(DMXOutputModes, AChaseKeepsToTheFilterAndFollowsItsStep) {
    add("1", 1, 1);
    add("2", 2, 2);
    add("3", 2, 3);
    ASSERT_TRUE(output_->start(DMXOutput::Chase{}, {.universeFilter = {2}}));
    EXPECT_EQ(currentNumber(), "2");
    pass(Seconds(1));
    EXPECT_EQ(currentNumber(), "3");
    auto options = *output_->options();
    options.chaseStep = 0.05;
    output_->setOptions(options);
    pass(Seconds(1));
    const auto before = currentNumber();
    pass(Seconds(0.05));
    EXPECT_NE(currentNumber(), before);
}

TEST_F(DMXOutputModes, AChaseBeginsAnewAndLetsGoOfItsLamp) {
    add("1", 1, 1);
    add("2", 1, 2);
    ASSERT_TRUE(output_->start(DMXOutput::Chase{}));
    pass(Seconds(1));
    EXPECT_EQ(*output_->chaseIndex(), 1);
    ASSERT_TRUE(output_->start(DMXOutput::Chase{}));
    EXPECT_EQ(*output_->chaseIndex(), 0);
    EXPECT_EQ(currentNumber(), "1");
    ASSERT_TRUE(output_->start(DMXOutput::All{}));
    EXPECT_EQ(currentNumber(), "");
    pass(Seconds(3));
    EXPECT_EQ(*output_->chaseIndex(), 0) << "the chase is over";
    EXPECT_EQ(seen({{0, {{1, 255}, {2, 255}}}}), (Picture{{0, {{1, 255}, {2, 255}}}}));
}

TEST_F(DMXOutputModes, AChaseFollowsThePatch) {
    const auto first = add("1", 1, 1);
    add("2", 1, 2);
    ASSERT_TRUE(output_->start(DMXOutput::Chase{}));
    pass(Seconds(1));
    EXPECT_EQ(currentNumber(), "2");
    add("3", 1, 3);
    patch_.remove({first});
    pass(Seconds(1));
    EXPECT_EQ(currentNumber(), "2") << "the list is over and begins again";
    pass(Seconds(1));
    EXPECT_EQ(currentNumber(), "3");
}

TEST_F(DMXOutputModes, AChaseLeavesLampsWithoutANodeOut) {
    add("1", 1, 1);
    add("2", 9, 2);
    add("3", 1, 3);
    ASSERT_TRUE(output_->start(DMXOutput::Chase{}));
    pass(Seconds(1));
    EXPECT_EQ(currentNumber(), "3");
}

TEST_F(DMXOutputModes, AChaseEndsForASenderOnAnyOfItsUniverses) {
    add("1", 1, 1);
    add("2", 2, 2);
    ASSERT_TRUE(output_->start(DMXOutput::Chase{}, {.chaseStep = 100}));
    send(sacn(2), "Pult");
    pass(Seconds(2));
    EXPECT_FALSE(output_->sending());
    EXPECT_EQ(currentNumber(), "");
}

}  // namespace

}  // namespace kestrelyne
