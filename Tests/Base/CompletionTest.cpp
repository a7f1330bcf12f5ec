#include "Base/Completion.hpp"

#include <stdexcept>
#include <thread>

#include "Support/TestLoop.hpp"
#include "Witness.hpp"

using namespace std::chrono_literals;

namespace {

base::Co<> store(base::Completion<int> completion, std::optional<int>& answer) { answer = co_await completion.wait(); }

base::Co<> storeWithin(base::Completion<int> completion, base::Seconds limit, std::vector<std::optional<int>>& answers) {
    const auto answer = co_await completion.wait(limit);
    answers.push_back(answer);
}

base::Co<> waitForWitness(base::Completion<Witness> completion) {
    const auto witness = co_await completion.wait();
    ADD_FAILURE() << "resumed after its end";
}

base::Co<int> after(base::Seconds delay, int value) {
    co_await base::sleepFor(delay);
    co_return value;
}

base::Co<std::unique_ptr<int>> boxed(int value) {
    co_await base::sleepFor(0s);
    co_return std::make_unique<int>(value);
}

base::Co<> witnessed(std::shared_ptr<Fate> fate, base::Seconds delay) {
    const Witness witness(std::move(fate));
    co_await base::sleepFor(delay);
}

}  // namespace

TEST(Completion, AnswersThatWereThereBeforeTheWaitAreNotMissed) {
    TestLoop test;
    const base::Completion<int> completion;
    EXPECT_TRUE(completion.complete(5));
    test.runTurns();
    std::optional<int> answer;
    const base::Task task("store", store(completion, answer));
    test.runTurns();
    EXPECT_EQ(answer, 5);
}

TEST(Completion, AnswersFromAnotherThreadResumeTheTaskOnTheMainThread) {
    TestLoop test;
    const base::Completion<int> completion;
    std::optional<int> answer;
    const base::Task task("store", store(completion, answer));
    test.runTurns();
    std::jthread other([completion] { completion.complete(6); });
    EXPECT_TRUE(test.runUntil([&] { return answer.has_value(); }));
    EXPECT_EQ(answer, 6);
}

TEST(Completion, TheFirstAnswerCounts) {
    TestLoop test;
    const base::Completion<int> completion;
    std::optional<int> answer;
    const base::Task task("store", store(completion, answer));
    test.runTurns();
    EXPECT_TRUE(completion.complete(1));
    EXPECT_FALSE(completion.complete(2));
    EXPECT_FALSE(completion.fail(std::make_exception_ptr(std::runtime_error("late"))));
    test.runTurns();
    EXPECT_EQ(answer, 1);
}

TEST(Completion, AFailureIsThrownWhereItIsAwaited) {
    TestLoop test;
    const base::Completion<int> completion;
    std::optional<int> answer;
    std::string said;
    const base::Task task("store", store(completion, answer), [&](std::exception_ptr exception) {
        try {
            std::rethrow_exception(exception);
        } catch (const std::runtime_error& error) {
            said = error.what();
        }
    });
    completion.fail(std::make_exception_ptr(std::runtime_error("no route")));
    test.runTurns();
    EXPECT_EQ(said, "no route");
    EXPECT_FALSE(answer);
}

TEST(Completion, AWaitWithALimitEndsWithoutAnAnswerAndMayBeRepeated) {
    TestLoop test;
    const base::Completion<int> completion;
    std::vector<std::optional<int>> answers;
    const base::Task first("first", storeWithin(completion, 1s, answers));
    test.advance(999ms);
    EXPECT_TRUE(answers.empty());
    test.advance(1ms);
    EXPECT_EQ(answers, (std::vector<std::optional<int>>{std::nullopt}));
    const base::Task second("second", storeWithin(completion, 1s, answers));
    test.runTurns();
    completion.complete(4);
    test.runTurns();
    EXPECT_EQ(answers, (std::vector<std::optional<int>>{std::nullopt, 4}));
    EXPECT_FALSE(test.loop().nextTimer()) << "the limit is gone with the wait";
}

TEST(Completion, AnAnswerAndTheLimitInTheSameTurnResumeOnce) {
    TestLoop test;
    const base::Completion<int> completion;
    std::vector<std::optional<int>> answers;
    const base::Task task("store", storeWithin(completion, 1s, answers));
    test.runTurns();
    completion.complete(4);
    test.clock().advance(1s);
    test.runTurns();
    EXPECT_EQ(answers, (std::vector<std::optional<int>>{4}));
}

TEST(Completion, ACancelledWaiterIsNotResumed) {
    TestLoop test;
    const base::Completion<Witness> completion;
    const auto fate = std::make_shared<Fate>();
    {
        const base::Task task("wait", waitForWitness(completion));
        test.runTurns();
    }
    completion.complete(Witness(fate));
    test.runTurns();
    EXPECT_FALSE(fate->destroyed()) << "a handle still holds it";
}

TEST(Completion, AnAnswerNobodyTakesDiesOnTheMainThreadThoughAnotherThreadHoldsTheLastHandle) {
    TestLoop test;
    const auto fate = std::make_shared<Fate>();
    std::optional<base::Completion<Witness>> completion(std::in_place);
    std::jthread other([fate, handle = std::move(*completion)]() mutable {
        const auto last = std::move(handle);
        last.complete(Witness(fate));
    });
    completion.reset();
    other.join();
    EXPECT_FALSE(fate->destroyed());
    test.runTurns();
    EXPECT_TRUE(fate->destroyedHere());
}

TEST(Completion, AnAnswerAfterTheEndOfTheLoopIsDropped) {
    std::optional<base::Completion<int>> completion;
    {
        TestLoop test;
        completion.emplace();
    }
    EXPECT_TRUE(completion->complete(1));
}

TEST(CompletionDeathTest, TwoCannotWaitForOneAnswer) {
    TestLoop test;
    const base::Completion<int> completion;
    std::optional<int> answer;
    const base::Task first("first", store(completion, answer));
    const base::Task second("second", store(completion, answer));
    EXPECT_DEATH(test.runTurns(), "two wait for one answer");
}

TEST(CompletionDeathTest, AnAnswerIsTakenOnce) {
    TestLoop test;
    const base::Completion<int> completion;
    completion.complete(1);
    std::optional<int> answer;
    const base::Task first("first", store(completion, answer));
    test.runTurns();
    const base::Task second("second", store(completion, answer));
    EXPECT_DEATH(test.runTurns(), "an answer is taken once");
}

TEST(WithTimeout, GivesTheValueOfABodyThatEndsInTime) {
    TestLoop test;
    std::optional<int> answer;
    const auto body = [&]() -> base::Co<> { answer = co_await base::withTimeout(after(1s, 8), 2s); };
    const base::Task task("limited", body());
    test.advance(1s);
    EXPECT_EQ(answer, 8);
    EXPECT_FALSE(task.running());
    EXPECT_FALSE(test.loop().nextTimer());
}

TEST(WithTimeout, CancelsABodyThatTakesLonger) {
    TestLoop test;
    const auto fate = std::make_shared<Fate>();
    std::optional<bool> inTime;
    const auto body = [&]() -> base::Co<> { inTime = co_await base::withTimeout(witnessed(fate, 2s), 1s); };
    const base::Task task("limited", body());
    test.advance(1s);
    EXPECT_EQ(inTime, false);
    EXPECT_TRUE(fate->destroyed());
    EXPECT_FALSE(test.loop().nextTimer());
}

TEST(WithTimeout, TellsThatABodyWithoutAValueEndedInTime) {
    TestLoop test;
    std::optional<bool> inTime;
    const auto body = [&]() -> base::Co<> { inTime = co_await base::withTimeout(witnessed(std::make_shared<Fate>(), 1s), 2s); };
    const base::Task task("limited", body());
    test.advance(1s);
    EXPECT_EQ(inTime, true);
}

TEST(WithTimeout, CarriesValuesThatCannotBeCopied) {
    TestLoop test;
    int value = 0;
    const auto body = [&]() -> base::Co<> {
        const auto box = co_await base::withTimeout(boxed(3), 1s);
        value = **box;
    };
    const base::Task task("limited", body());
    test.runTurns();
    EXPECT_EQ(value, 3);
}

TEST(WithTimeout, CarriesTheExceptionOfTheBodyWhateverItsType) {
    TestLoop test;
    const auto failing = []() -> base::Co<int> {
        co_await base::sleepFor(0s);
        throw 12;
    };
    int caught = 0;
    const auto body = [&]() -> base::Co<> {
        try {
            co_await base::withTimeout(failing(), 1s);
        } catch (int number) {
            caught = number;
        }
    };
    const base::Task task("limited", body());
    test.runTurns();
    EXPECT_EQ(caught, 12);
}

TEST(WithTimeout, DiesWithItsTask) {
    TestLoop test;
    const auto fate = std::make_shared<Fate>();
    const auto body = [&]() -> base::Co<> { co_await base::withTimeout(witnessed(fate, 1h), 2h); };
    {
        const base::Task task("limited", body());
        test.runTurns();
        EXPECT_FALSE(fate->destroyed());
    }
    EXPECT_TRUE(fate->destroyed());
    EXPECT_FALSE(test.loop().nextTimer());
}
