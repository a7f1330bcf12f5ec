#include "Base/MainLoop.hpp"

#include <numeric>
#include <stdexcept>
#include <thread>

#include "Support/TestLoop.hpp"
#include "Witness.hpp"

using namespace std::chrono_literals;

namespace {

/// Keeps the main thread for this long of real time.
void hold(base::Seconds time) {
    const auto end = base::SystemClock::shared().steadyNow() + base::nanoseconds(time);
    while (base::SystemClock::shared().steadyNow() < end) {}
}

struct RecordingBackend final : base::MainLoop::Backend {
    int wakes = 0;
    std::optional<base::SteadyTime> armed;
    void wake() override { ++wakes; }
    void arm(std::optional<base::SteadyTime> due) override { armed = due; }
};

}  // namespace

TEST(MainLoop, RunsPostedFunctionsInOrderAndNotAtOnce) {
    TestLoop test;
    std::vector<int> ran;
    for (int i = 0; i < 3; ++i) test.loop().post([&ran, i] { ran.push_back(i); });
    EXPECT_TRUE(ran.empty());
    test.loop().turn();
    EXPECT_EQ(ran, (std::vector{0, 1, 2}));
}

TEST(MainLoop, ATurnHandlesWhatWasThereAtItsBeginning) {
    TestLoop test;
    int rounds = 0;
    test.loop().post([&] {
        ++rounds;
        test.loop().post([&] { ++rounds; });
    });
    EXPECT_TRUE(test.loop().turn()) << "more is waiting";
    EXPECT_EQ(rounds, 1);
    EXPECT_FALSE(test.loop().turn());
    EXPECT_EQ(rounds, 2);
}

TEST(MainLoop, RunsTimersWhenTheyAreDueInTheOrderOfTheirTimes) {
    TestLoop test;
    std::vector<int> ran;
    const auto third = test.loop().after(30ms, [&] { ran.push_back(3); });
    const auto first = test.loop().after(10ms, [&] { ran.push_back(1); });
    const auto second = test.loop().after(10ms, [&] { ran.push_back(2); });
    test.advance(9ms);
    EXPECT_TRUE(ran.empty());
    test.advance(1ms);
    EXPECT_EQ(ran, (std::vector{1, 2}));
    test.advance(20ms);
    EXPECT_EQ(ran, (std::vector{1, 2, 3}));
    EXPECT_FALSE(test.loop().nextTimer());
}

TEST(MainLoop, ATimerThatATimerSetsBelongsToTheNextTurn) {
    TestLoop test;
    int ran = 0;
    base::MainLoop::Timer inner;
    const auto outer = test.loop().after(0s, [&] {
        ++ran;
        inner = test.loop().after(-1s, [&] { ++ran; });
    });
    EXPECT_TRUE(test.loop().turn());
    EXPECT_EQ(ran, 1);
    test.loop().turn();
    EXPECT_EQ(ran, 2);
}

TEST(MainLoop, ADestroyedTimerNeverRunsAndLetsItsCapturesGoAtOnce) {
    TestLoop test;
    const auto fate = std::make_shared<Fate>();
    bool ran = false;
    {
        const auto timer = test.loop().after(1s, [&ran, witness = Witness(fate)] { ran = true; });
    }
    EXPECT_TRUE(fate->destroyed());
    test.advance(2s);
    EXPECT_FALSE(ran);
}

TEST(MainLoop, AnAssignedTimerReplacesTheOneBefore) {
    TestLoop test;
    int ran = 0;
    auto timer = test.loop().after(1s, [&] { ran += 1; });
    timer = test.loop().after(1s, [&] { ran += 10; });
    test.advance(1s);
    EXPECT_EQ(ran, 10);
}

TEST(MainLoop, ATimerMayCallOffAnotherThatIsDueInTheSameTurn) {
    TestLoop test;
    bool ran = false;
    base::MainLoop::Timer second;
    const auto first = test.loop().after(1s, [&] { second.cancel(); });
    second = test.loop().after(1s, [&] { ran = true; });
    test.advance(1s);
    EXPECT_FALSE(ran);
}

TEST(MainLoop, ATimerMayDestroyItselfWhileItRuns) {
    TestLoop test;
    std::optional<base::MainLoop::Timer> timer;
    const auto fate = std::make_shared<Fate>();
    bool aliveInside = false;
    timer = test.loop().after(1s, [&, witness = Witness(fate)] {
        timer.reset();
        aliveInside = !fate->destroyed();
    });
    test.advance(1s);
    EXPECT_TRUE(aliveInside);
    EXPECT_TRUE(fate->destroyed());
}

TEST(MainLoop, CapturesOfATimerMayDestroyTheTimersOwner) {
    TestLoop test;
    struct Owner {
        base::MainLoop::Timer timer;
    };
    auto owner = std::make_shared<Owner>();
    const std::weak_ptr<Owner> watch = owner;
    auto& timer = owner->timer;
    timer = test.loop().after(1s, [owner = std::move(owner)] {});
    timer.cancel();
    EXPECT_TRUE(watch.expired());
}

TEST(MainLoop, ATurnEndsAfterFiveMillisecondsAndTheRestFollowsInOrder) {
    TestLoop test;
    std::vector<int> ran;
    for (int i = 0; i < 12; ++i)
        test.loop().post([&ran, i] {
            ran.push_back(i);
            hold(1ms);
        });
    EXPECT_TRUE(test.loop().turn());
    EXPECT_GE(ran.size(), 1u);
    EXPECT_LE(ran.size(), 6u);
    test.loop().post([&ran] { ran.push_back(12); });
    test.runTurns();
    std::vector<int> all(13);
    std::iota(all.begin(), all.end(), 0);
    EXPECT_EQ(ran, all);
}

TEST(MainLoop, TimersShareTheFiveMilliseconds) {
    TestLoop test;
    int ran = 0;
    std::vector<base::MainLoop::Timer> timers;
    for (int i = 0; i < 3; ++i)
        timers.push_back(test.loop().after(0s, [&ran] {
            ++ran;
            hold(6ms);
        }));
    EXPECT_TRUE(test.loop().turn());
    EXPECT_EQ(ran, 1);
}

TEST(MainLoop, AFloodOfFunctionsDoesNotStarveTheTimers) {
    TestLoop test;
    bool timerRan = false;
    const auto timer = test.loop().after(0s, [&] { timerRan = true; });
    for (int i = 0; i < 2; ++i) test.loop().post([] { hold(6ms); });
    EXPECT_TRUE(test.loop().turn());
    EXPECT_TRUE(timerRan);
}

TEST(MainLoop, CountsTheLengthsOfItsTurns) {
    TestLoop test;
    test.loop().turn();
    EXPECT_EQ(test.loop().turns().longestMs, 0) << "a turn without work is none";
    test.loop().post([] { hold(3500us); });
    test.loop().turn();
    const auto& turns = test.loop().turns();
    EXPECT_EQ(std::accumulate(turns.counts.begin(), turns.counts.end(), std::uint64_t{0}), 1u);
    EXPECT_GE(turns.longestMs, 3.5);
    EXPECT_EQ(turns.counts[0] + turns.counts[1] + turns.counts[2] + turns.counts[3], 0u) << "not below 3 ms";
}

TEST(MainLoop, WakesItsBackEndOnceForABatchAndArmsTheNextTimer) {
    FakeClock clock;
    RecordingBackend backend;
    base::MainLoop loop(clock, backend);
    loop.post([] {});
    loop.post([] {});
    EXPECT_EQ(backend.wakes, 1);
    loop.turn();
    loop.post([] {});
    EXPECT_EQ(backend.wakes, 2);
    const auto late = loop.after(2s, [] {});
    EXPECT_EQ(backend.armed, clock.steadyNow() + 2s);
    auto soon = loop.after(1s, [] {});
    EXPECT_EQ(backend.armed, clock.steadyNow() + 1s);
    soon.cancel();
    loop.turn();
    EXPECT_EQ(backend.armed, clock.steadyNow() + 2s);
}

TEST(MainLoop, TakesFunctionsFromOtherThreads) {
    TestLoop test;
    std::thread::id ranOn;
    std::jthread other([&] { test.loop().post([&] { ranOn = std::this_thread::get_id(); }); });
    EXPECT_TRUE(test.runUntil([&] { return ranOn != std::thread::id(); }));
    EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TEST(MainLoop, WhatIsPostedAfterItsEndIsRefused) {
    std::shared_ptr<base::Inbox> inbox;
    {
        TestLoop test;
        inbox = test.loop().inbox();
        EXPECT_TRUE(inbox->post([] {}));
    }
    EXPECT_FALSE(inbox->post([] {}));
}

TEST(MainLoop, WhatWaitsAtItsEndIsDestroyedOnTheMainThreadAndMayStillPost) {
    const auto posted = std::make_shared<Fate>(), inBatch = std::make_shared<Fate>(), timed = std::make_shared<Fate>();
    bool saidGoodbye = false;
    base::MainLoop::Timer timer;
    {
        TestLoop test;
        // A long function leaves the second one in the batch of an unfinished turn.
        test.loop().post([] { hold(6ms); });
        test.loop().post([witness = Witness(inBatch)] {});
        test.loop().turn();
        std::jthread([&] { test.loop().post([witness = Witness(posted)] {}); }).join();
        test.loop().post([goodbye = AtEnd([&] {
                              base::MainLoop::current().post([] {});
                              saidGoodbye = true;
                          })] {});
        timer =
            test.loop().after(1s, [witness = Witness(timed), goodbye = AtEnd([] { base::MainLoop::current().post([] {}); })] {});
    }
    EXPECT_TRUE(posted->destroyedHere());
    EXPECT_TRUE(inBatch->destroyedHere());
    EXPECT_TRUE(timed->destroyedHere());
    EXPECT_TRUE(saidGoodbye);
}

TEST(MainLoop, TheInnermostLoopIsTheCurrentOne) {
    TestLoop outer;
    {
        TestLoop inner;
        EXPECT_EQ(&base::MainLoop::current(), &inner.loop());
    }
    EXPECT_EQ(&base::MainLoop::current(), &outer.loop());
}

TEST(MainLoopDeathTest, AnExceptionThatLeavesAPostedFunctionEndsTheProcess) {
    TestLoop test;
    test.loop().post([] { throw std::runtime_error("broken pipe"); });
    EXPECT_DEATH(test.runTurns(), "uncaught exception in a posted function: broken pipe");
}

TEST(MainLoopDeathTest, AnExceptionThatLeavesATimerEndsTheProcess) {
    TestLoop test;
    const auto timer = test.loop().after(0s, [] { throw 7; });
    EXPECT_DEATH(test.runTurns(), "uncaught exception of unknown type in a timer");
}

#ifndef NDEBUG
TEST(MainLoopDeathTest, AStoreTouchedOffTheMainThreadEndsTheProcess) {
    TestLoop test;
    test.loop().assertHere();
    EXPECT_DEATH(std::jthread([&] { test.loop().assertHere(); }).join(), "called off the main thread");
}
#endif

TEST(MainLoopDeathTest, ThereIsNoCurrentLoopByItself) { EXPECT_DEATH(base::MainLoop::current(), "there is no main loop"); }
