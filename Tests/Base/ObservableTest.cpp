#include "Base/Observable.hpp"

#include <string>

#include "Support/TestLoop.hpp"
#include "Witness.hpp"

using namespace std::chrono_literals;

namespace {

/// Neither compared nor copied.
struct Table {
    std::vector<int> rows;
    Table() = default;
    Table(Table&&) = default;
    Table& operator=(Table&&) = default;
};

}  // namespace

TEST(Observable, TellsOnceForEachAssignmentAlsoOfTheSameValue) {
    base::Observable<int> value(1);
    std::vector<int> heard;
    const auto subscription = value.observe([&] { heard.push_back(*value); });
    EXPECT_TRUE(heard.empty());
    value.set(2);
    value.set(2);
    EXPECT_EQ(heard, (std::vector{2, 2}));
}

TEST(Observable, ChangesAValueInPlaceAndTellsOnce) {
    base::Observable<Table> table;
    int told = 0;
    const auto subscription = table.observe([&] { ++told; });
    table.change([](Table& value) {
        value.rows.push_back(1);
        value.rows.push_back(2);
    });
    EXPECT_EQ(told, 1);
    EXPECT_EQ(table->rows.size(), 2u);
    table.set(Table());
    EXPECT_EQ(told, 2);
}

TEST(Observable, ASubscriptionEndsWhenItIsDestroyedOrAssigned) {
    base::Observable<int> value;
    int first = 0, second = 0;
    const auto fate = std::make_shared<Fate>();
    auto subscription = value.observe([&first, witness = Witness(fate)] { ++first; });
    value.set(1);
    subscription = value.observe([&] { ++second; });
    EXPECT_TRUE(fate->destroyed()) << "its captures are gone at once";
    value.set(2);
    subscription.cancel();
    value.set(3);
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 1);
}

TEST(Observable, ASubscriptionMayOutliveTheObservable) {
    base::Subscription subscription;
    const auto fate = std::make_shared<Fate>();
    {
        base::Observable<int> value;
        subscription = value.observe([witness = Witness(fate)] {});
    }
    EXPECT_TRUE(fate->destroyed());
    subscription.cancel();
}

TEST(Observable, ObserversMayLeaveFromInsideAnObserver) {
    base::Observable<int> value;
    std::string heard;
    base::Subscription first, second, third;
    const auto fate = std::make_shared<Fate>();
    first = value.observe([&] {
        heard += 'a';
        second.cancel();
    });
    second = value.observe([&] { heard += 'b'; });
    third = value.observe([&, witness = Witness(fate)] {
        heard += 'c';
        third.cancel();
        EXPECT_FALSE(fate->destroyed()) << "it is running";
    });
    value.set(1);
    EXPECT_EQ(heard, "ac");
    EXPECT_TRUE(fate->destroyed());
    value.set(2);
    EXPECT_EQ(heard, "aca");
}

TEST(Observable, AnObserverThatComesWhileItTellsHearsTheNextRound) {
    base::Observable<int> value;
    std::vector<base::Subscription> late;
    int heard = 0;
    const auto subscription = value.observe([&] {
        if (late.empty())
            for (int i = 0; i < 50; ++i) late.push_back(value.observe([&] { ++heard; }));
    });
    value.set(1);
    EXPECT_EQ(heard, 0);
    value.set(2);
    EXPECT_EQ(heard, 50);
}

TEST(Observable, MayBeDestroyedFromInsideAnObserver) {
    auto value = std::make_unique<base::Observable<int>>();
    int heard = 0;
    const auto fate = std::make_shared<Fate>();
    const auto first = value->observe([&, witness = Witness(fate)] {
        value.reset();
        EXPECT_FALSE(fate->destroyed()) << "it is running";
    });
    const auto second = value->observe([&] { ++heard; });
    value->set(1);
    EXPECT_EQ(heard, 0);
    EXPECT_TRUE(fate->destroyed());
}

TEST(Observable, NestedAssignmentsArriveInOrder) {
    base::Observable<int> value;
    std::vector<int> before, after;
    const auto first = value.observe([&] { before.push_back(*value); });
    const auto nesting = value.observe([&] {
        if (*value < 3) value.set(*value + 1);
    });
    const auto last = value.observe([&] { after.push_back(*value); });
    value.set(1);
    EXPECT_EQ(before, (std::vector{1, 2, 3}));
    EXPECT_TRUE(std::ranges::is_sorted(after)) << "nobody hears an older value after a newer one";
    EXPECT_EQ(after.back(), 3);
}

TEST(Observable, WhatAnObserversCapturesDoAtTheirEndMayTouchTheObservable) {
    base::Observable<int> value;
    base::Subscription other = value.observe([] {}), replacement, doomed;
    const auto goodbye = [&] {
        other.cancel();
        replacement = value.observe([] {});
        value.set(*value + 1);
    };
    doomed = value.observe([&, atEnd = AtEnd(goodbye)] { doomed.cancel(); });
    value.set(1);
    EXPECT_EQ(*value, 2);
    auto again = value.observe([atEnd = AtEnd([&] { replacement.cancel(); })] {});
    again.cancel();
}

TEST(Observable, AnObserverThatThrowsDoesNotSilenceIt) {
    base::Observable<int> value;
    int heard = 0;
    auto throwing = value.observe([] { throw std::runtime_error("broken"); });
    const auto hearing = value.observe([&] { ++heard; });
    EXPECT_THROW(value.set(1), std::runtime_error);
    throwing.cancel();
    value.set(2);
    EXPECT_EQ(heard, 1);
}

TEST(Until, DoesNotWaitForWhatHoldsAlready) {
    TestLoop test;
    base::Observable<int> value(5);
    const base::Task task("until", base::until(value, [](int given) { return given == 5; }));
    test.runTurns();
    EXPECT_FALSE(task.running());
}

TEST(Until, WaitsForTheValueAndLeavesNoObserverBehind) {
    TestLoop test;
    base::Observable<int> value(0);
    const auto witness = std::make_shared<int>();
    const base::Task task("until", base::until(value, [witness](int given) { return given == 2; }));
    test.runTurns();
    value.set(1);
    test.runTurns();
    EXPECT_TRUE(task.running());
    value.set(2);
    value.set(3);  // it has been 2
    test.runTurns();
    EXPECT_FALSE(task.running());
    EXPECT_EQ(witness.use_count(), 1);
}

TEST(Until, FailsWhenTheObservableDies) {
    TestLoop test;
    auto value = std::make_unique<base::Observable<int>>(0);
    std::string said;
    const auto handler = [&](std::exception_ptr exception) {
        try {
            std::rethrow_exception(exception);
        } catch (const base::ObservableGone& gone) {
            said += gone.what();
        }
    };
    const base::Task waiting("waiting", base::until(*value, [](int given) { return given == 1; }), handler);
    test.runTurns();
    const base::Task notBegun("not begun", base::until(*value, [](int given) { return given == 1; }), handler);
    value.reset();
    test.runTurns();
    EXPECT_EQ(said, "the observable is gonethe observable is gone");
}

TEST(Until, FailsWhenTheObservableDiesInsideAnObserver) {
    TestLoop test;
    auto value = std::make_unique<base::Observable<int>>(0);
    const auto destroying = value->observe([&] { value.reset(); });
    bool failed = false;
    const base::Task waiting("waiting", base::until(*value, [](int given) { return given == 1; }),
                             [&](std::exception_ptr) { failed = true; });
    test.runTurns();
    value->set(2);
    test.runTurns();
    EXPECT_TRUE(failed);
}

TEST(Until, CanHaveATimeLimit) {
    TestLoop test;
    base::Observable<int> value(0);
    const auto witness = std::make_shared<int>();
    std::optional<bool> inTime;
    const auto body = [&]() -> base::Co<> {
        inTime = co_await base::withTimeout(base::until(value, [witness](int given) { return given == 1; }), 1s);
    };
    const base::Task task("limited", body());
    test.advance(1s);
    EXPECT_EQ(inTime, false);
    EXPECT_EQ(witness.use_count(), 1) << "the observer is gone";
}

TEST(ChangeHub, TellsOnceATurn) {
    TestLoop test;
    base::Observable<int> one;
    base::Observable<std::string> two;
    int told = 0;
    base::ChangeHub hub([&] { ++told; });
    hub.add(one);
    hub.add(two);
    one.set(1);
    one.set(2);
    two.set("x");
    hub.note();
    EXPECT_EQ(told, 0);
    test.runTurns();
    EXPECT_EQ(told, 1);
    two.set("y");
    test.runTurns();
    EXPECT_EQ(told, 2);
}

TEST(ChangeHub, AChangeItsListenerMakesIsToldInTheNextTurn) {
    TestLoop test;
    base::Observable<int> value;
    int told = 0;
    base::ChangeHub hub([&] {
        if (++told < 3) value.set(told);
    });
    hub.add(value);
    value.set(7);
    test.loop().turn();
    EXPECT_EQ(told, 1);
    test.runTurns();
    EXPECT_EQ(told, 3);
}

TEST(ChangeHub, MayBeDestroyedBeforeItTellsAndWhileItTells) {
    TestLoop test;
    base::Observable<int> value;
    int told = 0;
    std::optional<base::ChangeHub> hub;
    hub.emplace([&] { ++told; });
    hub->add(value);
    value.set(1);
    hub.reset();
    test.runTurns();
    EXPECT_EQ(told, 0);
    hub.emplace([&] {
        ++told;
        hub.reset();
    });
    hub->note();
    test.runTurns();
    EXPECT_EQ(told, 1);
}
