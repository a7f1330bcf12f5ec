#include "Base/BackgroundPool.hpp"

#include <atomic>
#include <latch>
#include <thread>

#include "Base/Reaper.hpp"
#include "Support/TestLoop.hpp"
#include "Witness.hpp"

using namespace std::chrono_literals;

namespace {

/// Functions that hang until they are let go.
struct Hanging {
    std::latch begun;
    std::latch go{1};
    explicit Hanging(std::ptrdiff_t count) : begun(count) {}
};

base::Function<void()> hang(std::shared_ptr<Hanging> hanging) {
    return [hanging = std::move(hanging)] {
        hanging->begun.count_down();
        hanging->go.wait();
    };
}

base::Co<> runWitnessed(base::BackgroundPool& pool, std::shared_ptr<Fate> fate, std::string& said) {
    try {
        const int value = co_await pool.run([witness = Witness(std::move(fate))] { return 5; });
        said = std::to_string(value);
    } catch (const base::QueueStopped& stopped) {
        said = stopped.what();
    }
}

}  // namespace

TEST(BackgroundPool, BringsTheValueBackAndItsCapturesDieOnTheMainThread) {
    TestLoop test;
    base::BackgroundPool pool("pool", 2);
    const auto fate = std::make_shared<Fate>();
    std::string said;
    const base::Task task("run", runWitnessed(pool, fate, said));
    EXPECT_TRUE(test.runUntil([&] { return !task.running(); }));
    EXPECT_EQ(said, "5");
    EXPECT_TRUE(fate->destroyedHere());
}

TEST(BackgroundPool, HangingCallsDoNotStarveTheOthers) {
    base::BackgroundPool pool("pool", 3);
    const auto hanging = std::make_shared<Hanging>(2);
    for (int i = 0; i < 2; ++i) EXPECT_TRUE(pool.post(hang(hanging)));
    hanging->begun.wait();
    const auto done = std::make_shared<std::latch>(20);
    for (int i = 0; i < 20; ++i) EXPECT_TRUE(pool.post([done] { done->count_down(); }));
    done->wait();
    hanging->go.count_down();
}

TEST(BackgroundPool, RunsAtMostItsCapAtOnce) {
    base::BackgroundPool pool("pool", 3);
    const auto running = std::make_shared<std::atomic<int>>(0), most = std::make_shared<std::atomic<int>>(0);
    const auto done = std::make_shared<std::latch>(30);
    for (int i = 0; i < 30; ++i)
        pool.post([=] {
            const int now = ++*running;
            for (int seen = *most; now > seen && !most->compare_exchange_weak(seen, now);) {}
            std::this_thread::sleep_for(200us);  // so that they overlap
            --*running;
            done->count_down();
        });
    done->wait();
    EXPECT_LE(*most, 3);
    EXPECT_LE(pool.threads(), 3u);
}

TEST(BackgroundPool, StartsNoThreadBeforeItIsNeeded) {
    base::BackgroundPool pool("pool", 3);
    EXPECT_EQ(pool.threads(), 0u);
    const auto hanging = std::make_shared<Hanging>(1);
    pool.post(hang(hanging));
    EXPECT_EQ(pool.threads(), 1u);
    hanging->go.count_down();
}

TEST(BackgroundPool, RefusesAndCountsWhatFindsNoPlace) {
    TestLoop test;
    base::BackgroundPool pool("pool", 1, 2);
    const auto hanging = std::make_shared<Hanging>(1);
    EXPECT_TRUE(pool.post(hang(hanging)));
    EXPECT_TRUE(pool.post([] {}));
    EXPECT_TRUE(pool.post([] {}));
    EXPECT_FALSE(pool.post([] {}));
    EXPECT_EQ(pool.refused(), 1u);
    const auto fate = std::make_shared<Fate>();
    std::string said;
    const base::Task task("run", runWitnessed(pool, fate, said));
    test.runTurns();
    EXPECT_EQ(said, "the queue has ended");
    EXPECT_EQ(pool.refused(), 2u);
    EXPECT_TRUE(fate->destroyedHere());
    hanging->go.count_down();
}

TEST(BackgroundPool, WithoutPlaceToWaitItTakesAsManyAsItHasThreads) {
    base::BackgroundPool pool("pool", 2, 0);
    const auto hanging = std::make_shared<Hanging>(2);
    EXPECT_TRUE(pool.post(hang(hanging)));
    EXPECT_TRUE(pool.post(hang(hanging)));
    EXPECT_FALSE(pool.post([] {}));
    hanging->go.count_down();
}

TEST(BackgroundPool, ShrinksWhenItIsIdleAndGrowsAgain) {
    base::BackgroundPool pool("pool", 2, 10, 1ms);
    for (int round = 0; round < 2; ++round) {
        const auto done = std::make_shared<std::latch>(2);
        for (int i = 0; i < 2; ++i) pool.post([done] { done->arrive_and_wait(); });
        done->wait();
        base::Reaper::shared().join();  // the pool lives: its threads end by themselves
        EXPECT_EQ(pool.threads(), 0u);
    }
}

TEST(BackgroundPool, DestroyingItNeverWaitsAndFailsWhatHasNotBegun) {
    TestLoop test;
    std::optional<base::BackgroundPool> pool(std::in_place, "pool", 1);
    const auto hanging = std::make_shared<Hanging>(1);
    pool->post(hang(hanging));
    hanging->begun.wait();
    const auto fate = std::make_shared<Fate>();
    std::string said;
    const base::Task task("run", runWitnessed(*pool, fate, said));
    test.runTurns();
    pool.reset();
    test.runTurns();
    EXPECT_EQ(said, "the queue has ended");
    EXPECT_TRUE(fate->destroyedHere());
    hanging->go.count_down();
}

TEST(BackgroundPoolDeathTest, AnExceptionThatLeavesAPostedFunctionEndsTheProcessWithTheNameOfThePool) {
    const auto post = [] {
        base::BackgroundPool pool("probes", 1);
        pool.post([] { throw std::runtime_error("broken"); });
        std::latch(1).wait();
    };
    EXPECT_DEATH(post(), "uncaught exception in probes: broken");
}
