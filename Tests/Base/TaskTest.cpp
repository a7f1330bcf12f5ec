#include "Base/Task.hpp"

#include <stdexcept>
#include <vector>

#include "Support/TestLoop.hpp"
#include "Witness.hpp"

using namespace std::chrono_literals;

namespace {

base::Co<> note(std::vector<int>& ran, int what) {
    ran.push_back(what);
    co_return;
}

base::Co<> sleepThenNote(std::vector<int>& ran, base::Seconds delay, int what) {
    co_await base::sleepFor(delay);
    ran.push_back(what);
}

base::Co<std::unique_ptr<int>> boxed(int value) {
    co_await base::sleepFor(0s);
    co_return std::make_unique<int>(value);
}

base::Co<int> broken() {
    co_await base::sleepFor(0s);
    throw std::runtime_error("broken");
}

base::Co<> failing() {
    const int never = co_await broken();
    ADD_FAILURE() << never;
}

base::Co<> addBoxes(int& sum) {
    const auto first = co_await boxed(2);
    const auto second = co_await boxed(3);
    sum = *first + *second;
}

base::Co<> catchIt(std::string& caught) {
    try {
        co_await broken();
    } catch (const std::runtime_error& error) {
        caught = error.what();
    }
}

base::Co<> witnessed(std::shared_ptr<Fate> fate) {
    const Witness witness(std::move(fate));
    co_await base::sleepFor(1h);
}

base::Co<> outerWitnessed(std::shared_ptr<Fate> outer, std::shared_ptr<Fate> inner) {
    const Witness witness(std::move(outer));
    co_await witnessed(std::move(inner));
    ADD_FAILURE() << "resumed after its end";
}

}  // namespace

TEST(Task, BeginsInALaterTurn) {
    TestLoop test;
    std::vector<int> ran;
    const base::Task task("note", note(ran, 1));
    EXPECT_TRUE(task.running());
    EXPECT_TRUE(ran.empty());
    test.runTurns();
    EXPECT_EQ(ran, std::vector{1});
    EXPECT_FALSE(task.running());
}

TEST(Task, NeverBeginsWhenItIsDestroyedBefore) {
    TestLoop test;
    std::vector<int> ran;
    { const base::Task task("note", note(ran, 1)); }
    test.runTurns();
    EXPECT_TRUE(ran.empty());
}

TEST(Task, CarriesValuesThatCannotBeCopied) {
    TestLoop test;
    int sum = 0;
    const base::Task task("sum", addBoxes(sum));
    test.runTurns();
    EXPECT_EQ(sum, 5);
}

TEST(Task, CarriesExceptionsToWhoAwaits) {
    TestLoop test;
    std::string caught;
    const base::Task task("catch", catchIt(caught));
    test.runTurns();
    EXPECT_EQ(caught, "broken");
}

TEST(Task, SleepsAtLeastTheGivenTime) {
    TestLoop test;
    std::vector<int> ran;
    const base::Task task("sleep", sleepThenNote(ran, 100ms, 1));
    test.advance(99ms);
    EXPECT_TRUE(ran.empty());
    test.advance(1ms);
    EXPECT_EQ(ran, std::vector{1});
}

TEST(Task, ATurnPassesEvenInASleepOfZero) {
    TestLoop test;
    std::vector<int> ran;
    const base::Task sleeping("sleep", sleepThenNote(ran, 0s, 2));
    const base::Task noting("note", note(ran, 1));
    test.runTurns();
    EXPECT_EQ(ran, (std::vector{1, 2}));
}

TEST(Task, DestroyingItDestroysItsWholeChainAtOnceAndNothingRunsAgain) {
    TestLoop test;
    const auto outer = std::make_shared<Fate>(), inner = std::make_shared<Fate>();
    {
        const base::Task task("witnessed", outerWitnessed(outer, inner));
        test.runTurns();
        EXPECT_FALSE(inner->destroyed());
    }
    EXPECT_TRUE(inner->destroyed());
    EXPECT_TRUE(outer->destroyed());
    EXPECT_FALSE(test.loop().nextTimer()) << "its timer is gone too";
    test.advance(2h);
}

TEST(Task, DestroyedInsideItsOwnBodyItDiesAtItsNextSuspension) {
    TestLoop test;
    std::vector<int> ran;
    const auto fate = std::make_shared<Fate>();
    std::optional<base::Task> task;
    const auto body = [&]() -> base::Co<> {
        const Witness witness(fate);
        co_await base::sleepFor(1s);
        task.reset();
        ran.push_back(1);
        co_await note(ran, 2);  // runs at once, so it is no suspension
        co_await base::sleepFor(0s);
        ran.push_back(3);
    };
    task.emplace("suicidal", body());
    test.advance(1s);
    EXPECT_EQ(ran, (std::vector{1, 2}));
    EXPECT_TRUE(fate->destroyed());
}

TEST(Task, CancelledInsideItsOwnBodyItMayEndWithoutAnotherSuspension) {
    TestLoop test;
    bool ended = false;
    base::Task task;
    const auto body = [&]() -> base::Co<> {
        task.cancel();
        ended = true;
        co_return;
    };
    task = base::Task("ending", body());
    test.runTurns();
    EXPECT_TRUE(ended);
    EXPECT_FALSE(task.running());
}

TEST(Task, ReplacedInsideItsOwnBodyTheNewOneRuns) {
    TestLoop test;
    std::vector<int> ran;
    base::Task task;
    const auto body = [&]() -> base::Co<> {
        task = base::Task("note", note(ran, 2));
        ran.push_back(1);
        co_await base::sleepFor(0s);
        ran.push_back(9);
    };
    task = base::Task("replacing", body());
    test.runTurns();
    EXPECT_EQ(ran, (std::vector{1, 2}));
}

TEST(Task, AsTheLastMemberOfItsOwnerItMayUseThis) {
    TestLoop test;
    struct Owner {
        std::vector<int> ran;
        base::Task task{"loop", loop()};
        base::Co<> loop() {
            for (int i = 0;; ++i) {
                ran.push_back(i);
                co_await base::sleepFor(1s);
            }
        }
    };
    std::optional<Owner> owner(std::in_place);
    test.advance(2s);
    EXPECT_EQ(owner->ran, (std::vector{0, 1, 2}));
    owner.reset();
    test.advance(2s);
}

TEST(Task, AnExceptionThatLeavesItGoesToItsHandlerWhichMayDestroyIt) {
    TestLoop test;
    std::string said;
    std::optional<base::Task> task;
    task.emplace("failing", failing(), [&](std::exception_ptr exception) {
        try {
            std::rethrow_exception(exception);
        } catch (const std::exception& error) {
            said = error.what();
        }
        task.reset();
    });
    test.runTurns();
    EXPECT_EQ(said, "broken");
    EXPECT_FALSE(task);
}

TEST(TaskDeathTest, AnExceptionThatLeavesItEndsTheProcessWithItsName) {
    TestLoop test;
    const base::Task task("meter.poll", failing());
    EXPECT_DEATH(test.runTurns(), "uncaught exception in meter.poll: broken");
}

TEST(TaskDeathTest, AnExceptionThatLeavesTheHandlerEndsTheProcess) {
    TestLoop test;
    const base::Task task("meter.poll", failing(), [](std::exception_ptr) { throw std::runtime_error("worse"); });
    EXPECT_DEATH(test.runTurns(), "uncaught exception in .*: worse");
}

TEST(TaskGroup, ForgetsEachTaskWhenItIsOver) {
    TestLoop test;
    std::vector<int> ran;
    base::TaskGroup group;
    group.add("short", sleepThenNote(ran, 1s, 1));
    group.add("long", sleepThenNote(ran, 2s, 2));
    EXPECT_EQ(group.size(), 2u);
    test.advance(1s);
    EXPECT_EQ(group.size(), 1u);
    test.advance(1s);
    EXPECT_EQ(group.size(), 0u);
    EXPECT_EQ(ran, (std::vector{1, 2}));
}

TEST(TaskGroup, CancelsAllWhenItIsDestroyed) {
    TestLoop test;
    std::vector<int> ran;
    const auto fate = std::make_shared<Fate>();
    {
        base::TaskGroup group;
        group.add("note", sleepThenNote(ran, 1s, 1));
        group.add("witnessed", witnessed(fate));
        test.runTurns();
    }
    EXPECT_TRUE(fate->destroyed());
    test.advance(2s);
    EXPECT_TRUE(ran.empty());
}

TEST(TaskGroup, AMemberMayCancelAllIncludingItself) {
    TestLoop test;
    std::vector<int> ran;
    const auto fate = std::make_shared<Fate>();
    base::TaskGroup group;
    const auto body = [&]() -> base::Co<> {
        co_await base::sleepFor(1s);
        group.cancelAll();
        ran.push_back(1);
        co_await base::sleepFor(0s);
        ran.push_back(2);
    };
    group.add("witnessed", witnessed(fate));
    group.add("cancelling", body());
    test.advance(2s);
    EXPECT_EQ(ran, std::vector{1});
    EXPECT_TRUE(fate->destroyed());
    EXPECT_EQ(group.size(), 0u);
}

TEST(TaskGroup, AMemberMayAddAnother) {
    TestLoop test;
    std::vector<int> ran;
    base::TaskGroup group;
    const auto body = [&]() -> base::Co<> {
        group.add("note", note(ran, 1));
        co_return;
    };
    group.add("adding", body());
    test.runTurns();
    EXPECT_EQ(ran, std::vector{1});
    EXPECT_EQ(group.size(), 0u);
}

TEST(TaskGroup, WhatACancelledMemberDestroysMayLookAtTheGroup) {
    TestLoop test;
    std::vector<int> ran;
    base::TaskGroup group;
    const auto body = [&]() -> base::Co<> {
        const auto goodbye = AtEnd([&] {
            group.cancelAll();
            if (ran.empty()) group.add("note", note(ran, static_cast<int>(group.size())));
        });
        co_await base::sleepFor(1h);
    };
    group.add("first", body());
    group.add("second", witnessed(std::make_shared<Fate>()));
    test.runTurns();
    group.cancelAll();
    test.runTurns();
    EXPECT_EQ(ran, std::vector{0});
}

TEST(TaskGroup, AHandlerMayCancelAll) {
    TestLoop test;
    base::TaskGroup group;
    bool told = false;
    group.add("failing", failing(), [&](std::exception_ptr) {
        group.cancelAll();
        told = true;
    });
    group.add("waiting", witnessed(std::make_shared<Fate>()));
    test.runTurns();
    EXPECT_TRUE(told);
    EXPECT_EQ(group.size(), 0u);
}
