#include "Kestrelyne/Lighting/DMXSender.hpp"

#include <gtest/gtest.h>

#include <set>

#include "Kestrelyne/Lighting/DMXCatcher.hpp"
#include "Support/TestLoop.hpp"

namespace kestrelyne {

namespace {

using std::chrono::milliseconds;
constexpr const char* here = "127.0.0.1";
constexpr std::uint8_t priority = 120;

DMXSender::Target target(int universe) { return {.universe = universe, .destinations = {here}}; }

DMXSender::Frame filled(std::uint8_t value) {
    DMXSender::Frame frame;
    frame.fill(value);
    return frame;
}

DMXSender::Frames frames(std::initializer_list<std::pair<int, std::uint8_t>> universes) {
    DMXSender::Frames all;
    for (const auto& [universe, value] : universes) all.emplace(target(universe), filled(value));
    return all;
}

bool lit(const CaughtFrame& frame) { return !frame.dark(); }

class DMXSenderTest : public testing::Test {
protected:
    /// False when it does not come.
    bool finished() {
        bool done = false;
        const auto wait = [](DMXSender& sender, bool& over) -> base::Co<> {
            co_await sender.finished();
            over = true;
        };
        const base::Task task("waits for the dark", wait(*sender_, done));
        return loop_.runUntil([&] { return done; });
    }
    /// What comes behind the frames that are lit: the end.
    std::vector<CaughtFrame> ending() {
        auto all = catcher_.untilQuiet();
        std::erase_if(all, lit);
        return all;
    }

    TestLoop loop_{base::SystemClock::shared()};
    DMXCatcher catcher_;
    std::unique_ptr<DMXSender> sender_ =
        std::make_unique<DMXSender>(DMXSender::Ports{.artnet = catcher_.port(), .sacn = catcher_.port()});
};

TEST_F(DMXSenderTest, SendsThirtyArtNetFramesASecondFromItsPort) {
    ASSERT_NE(sender_->port(), 0);
    sender_->update(frames({{3, 77}}), false, priority);
    const auto caught = catcher_.take(31);
    ASSERT_EQ(caught.size(), 31u);
    const auto took = caught.back().at - caught.front().at;
    // A busy machine may be late with the first one, and leave some out.
    EXPECT_GE(took, milliseconds(30 * 33 - 300));
    EXPECT_LT(took, milliseconds(30 * 33 + 2000));
    for (const auto& frame : caught) {
        EXPECT_FALSE(frame.sacn);
        EXPECT_EQ(frame.universe, 3);
        EXPECT_EQ(frame.data, std::vector<std::uint8_t>(512, 77));
        EXPECT_EQ(frame.sourcePort, sender_->port());
    }
}

TEST_F(DMXSenderTest, SendsSACNWithNamePriorityAndOneIdentityForTheProcess) {
    sender_->update(frames({{63999, 1}}), true, priority);
    const auto first = catcher_.next();
    ASSERT_TRUE(first);
    EXPECT_TRUE(first->sacn);
    EXPECT_EQ(first->universe, 63999);
    EXPECT_EQ(first->name, "Brantholme Test");
    EXPECT_EQ(first->priority, priority);
    EXPECT_FALSE(first->terminated);
    // RFC 4122: a random identity says so.
    EXPECT_EQ(first->cid[12], '4');
    EXPECT_NE(std::string("89ab").find(first->cid[16]), std::string::npos);

    DMXSender other({.artnet = catcher_.port(), .sacn = catcher_.port()});
    other.update(frames({{1, 1}}), true, priority);
    const auto second = catcher_.until([](const CaughtFrame& frame) { return frame.universe == 1; });
    ASSERT_TRUE(second);
    EXPECT_EQ(second->cid, first->cid);
}

TEST_F(DMXSenderTest, CountsEveryFrameOfAUniverse) {
    for (const bool sacn : {false, true}) {
        sender_->update(frames({{1, 1}, {2, 1}}), sacn, priority);
        ASSERT_TRUE(catcher_.until([&](const CaughtFrame& frame) { return frame.sacn == sacn && lit(frame); }));
        std::map<int, int> last;
        for (const auto& frame : catcher_.take(24)) {
            if (frame.sacn != sacn) continue;
            const auto before = last.find(frame.universe);
            if (before != last.end()) EXPECT_EQ(frame.sequence, before->second + 1);
            last[frame.universe] = frame.sequence;
        }
        EXPECT_EQ(last.size(), 2u);
    }
}

TEST_F(DMXSenderTest, ThreeBlackFramesThenTheEndOfTheStream) {
    sender_->update(frames({{5, 200}}), true, priority);
    ASSERT_TRUE(catcher_.until(lit));
    sender_->stop();
    const auto end = ending();
    ASSERT_EQ(end.size(), 4u);
    for (std::size_t i = 0; i < end.size(); ++i) {
        EXPECT_TRUE(end[i].dark());
        EXPECT_EQ(end[i].universe, 5);
        EXPECT_EQ(end[i].terminated, i == 3);
        if (i == 0) continue;
        EXPECT_EQ(end[i].sequence, (end[i - 1].sequence + 1) % 256);
        EXPECT_GE(end[i].at - end[i - 1].at, milliseconds(29)) << i;
        EXPECT_LT(end[i].at - end[i - 1].at, milliseconds(1000)) << i;
    }
    EXPECT_TRUE(finished());
}

// It has no way to say the end.
TEST_F(DMXSenderTest, ArtNetEndsWithThreeBlackFrames) {
    sender_->update(frames({{0, 200}, {1, 200}}), false, priority);
    ASSERT_TRUE(catcher_.until(lit));
    sender_->stop();
    std::map<int, int> black;
    for (const auto& frame : ending()) ++black[frame.universe];
    EXPECT_EQ(black, (std::map<int, int>{{0, 3}, {1, 3}}));
}

TEST_F(DMXSenderTest, StopsOnce) {
    sender_->stop();
    EXPECT_TRUE(finished());
    sender_->update(frames({{5, 200}}), true, priority);
    ASSERT_TRUE(catcher_.until(lit));
    sender_->stop();
    sender_->stop();
    EXPECT_EQ(ending().size(), 4u);
    sender_->stop();
    EXPECT_FALSE(catcher_.next(milliseconds(150)));
}

TEST_F(DMXSenderTest, FinishedWaitsForTheLastFrame) {
    sender_->update(frames({{5, 200}}), true, priority);
    ASSERT_TRUE(catcher_.until(lit));
    const auto stopped = base::SystemClock::shared().steadyNow();
    sender_->stop();
    ASSERT_TRUE(finished());
    const auto took = base::SystemClock::shared().steadyNow() - stopped;
    EXPECT_GE(took, milliseconds(90));
    const auto all = catcher_.untilQuiet();
    ASSERT_FALSE(all.empty());
    EXPECT_TRUE(all.back().terminated);
}

TEST_F(DMXSenderTest, AUniverseThatIsNoLongerSentGoesDarkWhileOthersGoOn) {
    sender_->update(frames({{1, 10}, {2, 20}}), true, priority);
    ASSERT_TRUE(catcher_.until([](const CaughtFrame& frame) { return frame.universe == 2; }));
    sender_->update(frames({{1, 11}}), true, priority);
    std::vector<CaughtFrame> end;
    int others = 0;
    ASSERT_TRUE(catcher_.until([&](const CaughtFrame& frame) {
        if (frame.universe == 2 && frame.dark()) end.push_back(frame);
        if (frame.universe == 1 && !end.empty()) ++others;
        return !end.empty() && end.back().terminated;
    }));
    EXPECT_EQ(end.size(), 4u);
    EXPECT_GE(others, 1);
    const auto after = catcher_.take(5);
    ASSERT_EQ(after.size(), 5u);
    for (const auto& frame : after) EXPECT_EQ(frame.data[0], 11);
}

TEST_F(DMXSenderTest, AChangeOfProtocolReleasesTheOldOne) {
    sender_->update(frames({{1, 10}}), true, priority);
    ASSERT_TRUE(catcher_.until(lit));
    sender_->update(frames({{0, 20}}), false, priority);
    int artnet = 0, black = 0;
    ASSERT_TRUE(catcher_.until([&](const CaughtFrame& frame) {
        artnet += frame.sacn ? 0 : 1;
        black += frame.sacn && frame.dark() ? 1 : 0;
        return frame.terminated;
    }));
    EXPECT_EQ(black, 4);
    EXPECT_GE(artnet, 1);
    sender_->stop();
    const auto end = ending();
    EXPECT_EQ(end.size(), 3u);
    for (const auto& frame : end) EXPECT_FALSE(frame.sacn);
}

// What only changes its level or its priority is the same stream.
TEST_F(DMXSenderTest, AnotherPriorityIsNoEnd) {
    sender_->update(frames({{1, 10}}), true, 100);
    ASSERT_TRUE(catcher_.until(lit));
    sender_->update(frames({{1, 20}}), true, 130);
    const auto caught = catcher_.take(8);
    ASSERT_EQ(caught.size(), 8u);
    for (std::size_t i = 0; i < caught.size(); ++i) {
        EXPECT_TRUE(lit(caught[i]));
        if (i > 0) EXPECT_EQ(caught[i].sequence, (caught[i - 1].sequence + 1) % 256);
    }
    EXPECT_EQ(caught.back().priority, 130);
    EXPECT_EQ(caught.back().data[0], 20);
}

// A second receiver of a universe does not disturb the first.
TEST_F(DMXSenderTest, AFurtherDestinationDarkensNobody) {
    DMXSender::Frames one, two;
    one.emplace(DMXSender::Target{.universe = 1, .destinations = {here}}, filled(9));
    two.emplace(DMXSender::Target{.universe = 1, .destinations = {here, "127.0.0.2"}}, filled(9));
    sender_->update(one, true, priority);
    ASSERT_TRUE(catcher_.until(lit));
    sender_->update(two, true, priority);
    for (const auto& frame : catcher_.take(8)) EXPECT_TRUE(lit(frame));
}

TEST_F(DMXSenderTest, EveryDestinationGetsTheFrameAndWhatIsNoneDisturbsNobody) {
    DMXCatcher second(INADDR_LOOPBACK + 1, catcher_.port());
    DMXSender::Frames all;
    all.emplace(DMXSender::Target{.universe = 1, .destinations = {"kein Ziel", here, "127.0.0.2"}}, filled(9));
    sender_->update(all, false, priority);
    for (auto* catcher : {&catcher_, &second}) {
        const auto frame = catcher->next();
        ASSERT_TRUE(frame);
        EXPECT_EQ(frame->universe, 1);
        EXPECT_EQ(frame->data[511], 9);
    }
}

TEST_F(DMXSenderTest, AStartDuringTheBlackoutGoesOn) {
    sender_->update(frames({{1, 10}}), true, priority);
    ASSERT_TRUE(catcher_.until(lit));
    sender_->stop();
    ASSERT_TRUE(catcher_.until([](const CaughtFrame& frame) { return frame.dark(); }));
    sender_->update(frames({{1, 30}}), true, priority);
    ASSERT_TRUE(catcher_.until([](const CaughtFrame& frame) { return frame.data[0] == 30; }));
    const auto caught = catcher_.take(10);
    ASSERT_EQ(caught.size(), 10u);
    for (const auto& frame : caught) {
        EXPECT_EQ(frame.data[0], 30);
        EXPECT_FALSE(frame.terminated);
    }
    sender_->stop();
    EXPECT_EQ(ending().size(), 4u);
}

TEST_F(DMXSenderTest, AnotherStartDuringTheBlackoutLetsItFinish) {
    sender_->update(frames({{1, 10}}), true, priority);
    ASSERT_TRUE(catcher_.until(lit));
    sender_->stop();
    sender_->update(frames({{2, 30}}), true, priority);
    int black = 0;
    ASSERT_TRUE(catcher_.until([&](const CaughtFrame& frame) {
        black += frame.universe == 1 && frame.dark() ? 1 : 0;
        return frame.terminated;
    }));
    EXPECT_EQ(black, 4);
    const auto caught = catcher_.take(5);
    ASSERT_EQ(caught.size(), 5u);
    for (const auto& frame : caught) EXPECT_EQ(frame.universe, 2);
}

TEST_F(DMXSenderTest, ItsOwnEndBlacksOutToo) {
    sender_->update(frames({{1, 10}}), true, priority);
    ASSERT_TRUE(catcher_.until(lit));
    sender_ = nullptr;
    const auto end = ending();
    ASSERT_EQ(end.size(), 4u);
    EXPECT_TRUE(end.back().terminated);
}

TEST_F(DMXSenderTest, AnEndRightBehindAStartLeavesNothingLit) {
    sender_->update(frames({{1, 10}}), false, priority);
    sender_ = nullptr;
    const auto all = catcher_.untilQuiet();
    ASSERT_GE(all.size(), 3u);
    for (std::size_t i = all.size() - 3; i < all.size(); ++i) EXPECT_TRUE(all[i].dark());
}

// For the thread sanitizer: everything at once, from the main thread, while it ticks.
TEST_F(DMXSenderTest, IsUpdatedAndStoppedWhileItSends) {
    const auto begun = base::SystemClock::shared().steadyNow();
    for (int i = 0; base::SystemClock::shared().steadyNow() - begun < milliseconds(600); ++i) {
        sender_->update(frames({{i % 3, 1}, {i % 5 + 10, static_cast<std::uint8_t>(i)}}), i % 7 < 4, priority);
        if (i % 11 == 0) sender_->stop();
        catcher_.next(milliseconds(i % 4));
        while (catcher_.next(milliseconds(0))) continue;
    }
    sender_->stop();
    std::map<std::pair<bool, int>, CaughtFrame> last;
    for (const auto& frame : catcher_.untilQuiet()) last[{frame.sacn, frame.universe}] = frame;
    for (const auto& [stream, frame] : last) {
        EXPECT_TRUE(frame.dark()) << stream.second;
        EXPECT_EQ(frame.terminated, stream.first) << stream.second;
    }
    EXPECT_TRUE(finished());
}

}  // namespace

}  // namespace kestrelyne
