#include "Base/SerialQueue.hpp"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <latch>
#include <stdexcept>
#include <thread>

#include "Base/FileDescriptor.hpp"
#include "Support/TestLoop.hpp"
#include "Witness.hpp"

using namespace std::chrono_literals;

namespace {

struct NoAnswer : std::runtime_error {
    NoAnswer() : std::runtime_error("no answer") {}
};

struct Pipe {
    base::FileDescriptor reading, writing;
    Pipe() {
        std::array<int, 2> ends{};
        if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) throw std::runtime_error("no pipe");
        reading.reset(ends[0]);
        writing.reset(ends[1]);
    }
    void send(char byte) const { EXPECT_EQ(write(writing.get(), &byte, 1), 1); }
    char receive() const {
        char byte = 0;
        return read(reading.get(), &byte, 1) == 1 ? byte : '\0';
    }
};

/// Runs the function on the queue and waits for it.
template <class F>
void on(base::SerialQueue& queue, F function) {
    std::latch done(1);
    queue.post([&] {
        function();
        done.count_down();
    });
    done.wait();
}

/// Keeps a queue in one function until it is let go.
class Blockade {
public:
    explicit Blockade(base::SerialQueue& queue) {
        queue.post([state = state_] {
            state->begun.count_down();
            state->go.wait();
        });
        state_->begun.wait();
    }
    ~Blockade() { state_->go.count_down(); }

private:
    struct State {
        std::latch begun{1}, go{1};
    };
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

// Awaits a function with a witness among its captures, and says how it ended.
base::Co<> runWitnessed(base::SerialQueue& queue, std::shared_ptr<Fate> fate, base::Function<int()> work, std::string& said) {
    try {
        const int value =
            co_await queue.run([witness = Witness(std::move(fate)), work = std::move(work)]() mutable { return work(); });
        said = std::to_string(value);
    } catch (const std::exception& error) {
        said = error.what();
    }
}

}  // namespace

TEST(SerialQueue, RunsFunctionsInOrderOnAThreadOfItsOwnWithItsName) {
    base::SerialQueue queue("a.rather.long.queue.name");
    std::vector<int> ran;
    std::array<char, 32> name{};
    for (int i = 0; i < 100; ++i) queue.post([&ran, i] { ran.push_back(i); });
    EXPECT_FALSE(queue.isHere());
    bool here = false;
    on(queue, [&] {
        here = queue.isHere();
        pthread_getname_np(pthread_self(), name.data(), name.size());
    });
    EXPECT_TRUE(here);
    EXPECT_EQ(ran.size(), 100u);
    EXPECT_TRUE(std::ranges::is_sorted(ran));
    EXPECT_STREQ(name.data(), "a.rather.long.q");
}

TEST(SerialQueue, ItsThreadTakesNoSignals) {
    base::SerialQueue queue("signals");
    sigset_t mask, here;
    sigemptyset(&mask);
    on(queue, [&] { pthread_sigmask(SIG_SETMASK, nullptr, &mask); });
    for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGCHLD, SIGUSR1}) EXPECT_TRUE(sigismember(&mask, number)) << number;
    pthread_sigmask(SIG_SETMASK, nullptr, &here);
    EXPECT_FALSE(sigismember(&here, SIGTERM)) << "the starting thread keeps its own mask";
}

TEST(SerialQueue, BringsTheValueBackAndItsCapturesDieOnTheMainThread) {
    TestLoop test;
    base::SerialQueue queue("work");
    const auto fate = std::make_shared<Fate>();
    std::thread::id ranOn;
    std::string said;
    const auto work = [&ranOn] {
        ranOn = std::this_thread::get_id();
        return 42;
    };
    const base::Task task("run", runWitnessed(queue, fate, work, said));
    EXPECT_TRUE(test.runUntil([&] { return !task.running(); }));
    EXPECT_EQ(said, "42");
    EXPECT_NE(ranOn, std::this_thread::get_id());
    EXPECT_TRUE(fate->destroyedHere());
}

TEST(SerialQueue, BringsTheExceptionBackAndItsCapturesDieOnTheMainThread) {
    TestLoop test;
    base::SerialQueue queue("work");
    const auto fate = std::make_shared<Fate>();
    std::string said;
    const base::Task task("run", runWitnessed(
                                     queue, fate, []() -> int { throw NoAnswer(); }, said));
    EXPECT_TRUE(test.runUntil([&] { return !task.running(); }));
    EXPECT_EQ(said, "no answer");
    EXPECT_TRUE(fate->destroyedHere());
}

TEST(SerialQueue, CarriesResultsThatCannotBeCopiedAndNoneAtAll) {
    TestLoop test;
    base::SerialQueue queue("work");
    int value = 0;
    bool ran = false;
    const auto body = [&]() -> base::Co<> {
        const auto box = co_await queue.run([] { return std::make_unique<int>(7); });
        co_await queue.run([&ran] { ran = true; });
        value = *box;
    };
    const base::Task task("run", body());
    EXPECT_TRUE(test.runUntil([&] { return value != 0; }));
    EXPECT_EQ(value, 7);
    EXPECT_TRUE(ran);
}

// Many rounds, as the main thread and the queue race for the last hold on the captures.
TEST(SerialQueue, CapturesDieOnTheMainThreadWhenTheTaskIsCancelledMeanwhile) {
    TestLoop test;
    base::SerialQueue queue("work");
    for (int round = 0; round < 200; ++round) {
        const auto fate = std::make_shared<Fate>();
        const auto begun = std::make_shared<std::latch>(1), go = std::make_shared<std::latch>(1);
        std::string said;
        {
            const auto work = [begun, go] {
                begun->count_down();
                go->wait();
                return 1;
            };
            const base::Task task("run", runWitnessed(queue, fate, work, said));
            test.runTurns();
            begun->wait();
            go->count_down();
        }
        ASSERT_TRUE(test.runUntil([&] { return fate->destroyed(); }));
        ASSERT_TRUE(fate->destroyedHere()) << "round " << round;
        ASSERT_EQ(said, "");
    }
}

TEST(SerialQueue, AFunctionThatHasNotBegunWhenTheQueueEndsFailsItsTaskAtOnce) {
    TestLoop test;
    std::optional<base::SerialQueue> queue(std::in_place, "work");
    const auto fate = std::make_shared<Fate>();
    std::string said;
    const Blockade blockade(*queue);  // is still in its call when the answer is here
    const base::Task task("run", runWitnessed(
                                     *queue, fate, [] { return 1; }, said));
    test.runTurns();
    queue.reset();
    test.runTurns();
    EXPECT_EQ(said, "the queue has ended");
    EXPECT_TRUE(fate->destroyedHere());
}

TEST(SerialQueue, AFunctionPostedToAStoppedQueueFailsItsTask) {
    TestLoop test;
    std::optional<base::SerialQueue> queue(std::in_place, "work");
    const auto fate = std::make_shared<Fate>();
    std::string said;
    const auto body = [&]() -> base::Co<> {
        auto running = queue->run([witness = Witness(fate)] { return 1; });
        queue.reset();
        try {
            co_await running;
        } catch (const base::QueueStopped& stopped) {
            said = stopped.what();
        }
    };
    const base::Task task("late", body());
    test.runTurns();
    EXPECT_EQ(said, "the queue has ended");
    EXPECT_FALSE(task.running());
    EXPECT_TRUE(fate->destroyedHere());
}

TEST(SerialQueue, DestroyingItDoesNotWaitAndWhatIsRunningStillAnswers) {
    TestLoop test;
    std::optional<base::SerialQueue> queue(std::in_place, "work");
    const auto begun = std::make_shared<std::latch>(1), go = std::make_shared<std::latch>(1);
    const auto fate = std::make_shared<Fate>();
    std::string said;
    const auto work = [begun, go] {
        begun->count_down();
        go->wait();
        return 3;
    };
    const base::Task task("run", runWitnessed(*queue, fate, work, said));
    test.runTurns();
    begun->wait();
    queue.reset();  // a wait here would be for ever
    go->count_down();
    EXPECT_TRUE(test.runUntil([&] { return !task.running(); }));
    EXPECT_EQ(said, "3");
    EXPECT_TRUE(fate->destroyedHere());
}

TEST(SerialQueue, WhatHasNotBegunWhenItEndsNeverRuns) {
    std::optional<base::SerialQueue> queue(std::in_place, "work");
    const auto begun = std::make_shared<std::latch>(1), go = std::make_shared<std::latch>(1);
    const auto ran = std::make_shared<std::atomic<bool>>(false);
    on(*queue, [&] {
        // Posted from the queue itself, so that the thread takes both at once.
        queue->post([begun, go] {
            begun->count_down();
            go->wait();
        });
        queue->post([ran] { *ran = true; });
    });
    begun->wait();
    queue.reset();
    go->count_down();
    base::SerialQueue::joinEnded();
    EXPECT_FALSE(*ran);
}

TEST(SerialQueue, MayBeDestroyedFromItsOwnThread) {
    auto queue = std::make_shared<base::SerialQueue>("work");
    const auto done = std::make_shared<std::latch>(1);
    auto& posted = *queue;
    posted.post([queue = std::move(queue), done]() mutable {
        queue.reset();
        done->count_down();
    });
    done->wait();
    base::SerialQueue::joinEnded();
}

// The thread is kept turning, so that it may run the function, end and let go of everything before the caller has woken it.
TEST(SerialQueue, MayBeEndedByAFunctionWhoseCallerIsStillPosting) {
    for (int round = 0; round < 300; ++round) {
        auto queue = std::make_unique<base::SerialQueue>("work");
        auto& posted = *queue;
        auto timer = std::make_shared<base::SerialQueue::Timer>();
        auto turn = std::make_shared<base::Function<void()>>();
        const auto turns = std::make_shared<std::atomic<int>>(0);
        *turn = [&posted, timer, turns, turn = std::weak_ptr(turn)] {
            ++*turns;
            if (const auto again = turn.lock()) *timer = posted.after(0s, [again] { (*again)(); });
        };
        posted.post([turn = std::move(turn)] { (*turn)(); });
        timer.reset();
        while (*turns < 10) std::this_thread::yield();
        posted.post([queue = std::move(queue)]() mutable { queue.reset(); });
    }
    base::SerialQueue::joinEnded();
}

TEST(SerialQueue, RunsTimersInTheOrderOfTheirTimes) {
    base::SerialQueue queue("timers");
    std::vector<int> ran;
    std::vector<base::SerialQueue::Timer> timers;
    std::latch done(1);
    on(queue, [&] {
        timers.push_back(queue.after(0s, [&] {
            ran.push_back(3);
            timers.clear();  // its own among them
            done.count_down();
        }));
        timers.push_back(queue.after(-2h, [&] { ran.push_back(1); }));
        timers.push_back(queue.after(-1h, [&] { ran.push_back(2); }));
    });
    done.wait();
    EXPECT_EQ(ran, (std::vector{1, 2, 3}));
}

TEST(SerialQueue, SleepsUntilATimerIsDue) {
    base::SerialQueue queue("timers");
    base::SerialQueue::Timer timer;
    std::latch done(1);
    base::SteadyTime begun, ended;
    on(queue, [&] {
        begun = base::SystemClock::shared().steadyNow();
        timer = queue.after(3ms, [&] {
            ended = base::SystemClock::shared().steadyNow();
            timer.cancel();
            done.count_down();
        });
    });
    done.wait();
    EXPECT_GE(ended - begun, 3ms);
}

TEST(SerialQueue, ATimerMayCallOffAnotherAndSetItselfAgain) {
    base::SerialQueue queue("timers");
    int rounds = 0;
    bool calledOff = true;
    base::SerialQueue::Timer repeating, other;
    std::latch done(1);
    base::Function<void()> round = [&] {
        other.cancel();
        if (++rounds == 3) return done.count_down();
        repeating = queue.after(0s, [&] { round(); });
    };
    on(queue, [&] {
        repeating = queue.after(0s, [&] { round(); });
        other = queue.after(0s, [&] { calledOff = false; });
    });
    done.wait();
    on(queue, [&] { repeating.cancel(); });
    EXPECT_EQ(rounds, 3);
    EXPECT_TRUE(calledOff);
}

TEST(SerialQueue, CallsTheHandlerOfAWatchedDescriptorUntilItIsCancelled) {
    base::SerialQueue queue("sources");
    const Pipe pipe;
    std::string received;
    std::latch got(2);
    base::SerialQueue::Source source;
    on(queue, [&] {
        source = queue.watch(pipe.reading.get(), EPOLLIN, [&](std::uint32_t events) {
            EXPECT_TRUE((events & EPOLLIN) != 0);
            received += pipe.receive();
            if (received.size() == 2) source.cancel();  // inside its own handler
            got.count_down();
        });
        EXPECT_TRUE(static_cast<bool>(source));
    });
    pipe.send('a');
    pipe.send('b');
    got.wait();
    pipe.send('c');
    on(queue, [] {});
    on(queue, [] {});
    EXPECT_EQ(received, "ab");
    EXPECT_EQ(pipe.receive(), 'c');
}

TEST(SerialQueue, AHandlerMayEndAnotherSourceThatIsReadyInTheSameRound) {
    base::SerialQueue queue("sources");
    const Pipe first, second;
    base::SerialQueue::Source one, two;
    int calls = 0;
    const auto endBoth = [&](std::uint32_t) {
        ++calls;
        one.cancel();
        two.cancel();
    };
    on(queue, [&] {
        one = queue.watch(first.reading.get(), EPOLLIN, endBoth);
        two = queue.watch(second.reading.get(), EPOLLIN, endBoth);
        first.send('x');
        second.send('x');
    });
    on(queue, [] {});
    on(queue, [] {});
    EXPECT_EQ(calls, 1);
}

TEST(SerialQueue, ASourceMayWatchForOtherEvents) {
    base::SerialQueue queue("sources");
    const Pipe pipe;
    base::SerialQueue::Source source;
    std::latch writable(1);
    on(queue, [&] {
        source = queue.watch(pipe.writing.get(), 0, [&](std::uint32_t events) {
            EXPECT_EQ(events, static_cast<std::uint32_t>(EPOLLOUT));
            source.cancel();
            writable.count_down();
        });
    });
    on(queue, [&] { source.change(EPOLLOUT); });
    writable.wait();
}

TEST(SerialQueue, ADescriptorThatCannotBeWatchedGivesNoSource) {
    base::SerialQueue queue("sources");
    on(queue, [&] { EXPECT_FALSE(static_cast<bool>(queue.watch(-1, EPOLLIN, [](std::uint32_t) {}))); });
}

TEST(SerialQueue, AtItsEndHandlersAndTimersDieOnItsThreadWithWhatTheyOwn) {
    struct Owned {
        base::SerialQueue::Source source;
        base::SerialQueue::Timer timer;
        Pipe pipe;
    };
    std::weak_ptr<Owned> watch;
    const auto fate = std::make_shared<Fate>();
    {
        base::SerialQueue queue("sources");
        on(queue, [&] {
            const auto owned = std::make_shared<Owned>();
            watch = owned;
            owned->source = queue.watch(owned->pipe.reading.get(), EPOLLIN, [owned](std::uint32_t) {});
            owned->timer = queue.after(1h, [owned, witness = Witness(fate)] {});
        });
    }
    base::SerialQueue::joinEnded();
    EXPECT_TRUE(watch.expired());
    EXPECT_TRUE(fate->destroyed());
    EXPECT_FALSE(fate->destroyedHere());
}

// "Close it on the queue" may be the last thing that an owner posts.
TEST(SerialQueue, AHandleInADroppedFunctionMayDieOnAnotherThread) {
    Pipe pipe;
    base::SerialQueue::Source source;
    {
        base::SerialQueue queue("sources");
        on(queue, [&] { source = queue.watch(pipe.reading.get(), EPOLLIN, [](std::uint32_t) {}); });
        const Blockade blockade(queue);
        queue.post([kept = std::move(source)] {});
    }
    base::SerialQueue::joinEnded();
}

TEST(SerialQueueDeathTest, AnExceptionThatLeavesAPostedFunctionEndsTheProcessWithTheNameOfTheQueue) {
    const auto post = [] {
        base::SerialQueue queue("modbus.7");
        queue.post([] { throw std::runtime_error("broken"); });
        std::latch(1).wait();
    };
    EXPECT_DEATH(post(), "uncaught exception in modbus.7: broken");
}

TEST(SerialQueueDeathTest, ASourceEndedOffItsThreadEndsTheProcess) {
    const auto end = [] {
        base::SerialQueue queue("sources");
        const Pipe pipe;
        base::SerialQueue::Source source;
        on(queue, [&] { source = queue.watch(pipe.reading.get(), EPOLLIN, [](std::uint32_t) {}); });
        source.cancel();
    };
    EXPECT_DEATH(end(), "ended from its queue's thread");
}
