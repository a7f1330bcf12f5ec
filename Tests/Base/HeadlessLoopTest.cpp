#include <thread>

#include "Base/MainLoop.hpp"

using namespace std::chrono_literals;

TEST(HeadlessLoop, SleepsUntilATimerIsDueAndEndsWithTheCodeOfQuit) {
    base::HeadlessLoop headless;
    const auto begun = base::SystemClock::shared().steadyNow();
    std::vector<int> ran;
    const auto second = headless.loop().after(4ms, [&] {
        ran.push_back(2);
        headless.quit(7);
    });
    const auto first = headless.loop().after(2ms, [&] { ran.push_back(1); });
    EXPECT_EQ(headless.run(), 7);
    EXPECT_GE(base::SystemClock::shared().steadyNow() - begun, 4ms);
    EXPECT_EQ(ran, (std::vector{1, 2}));
}

TEST(HeadlessLoop, AFunctionFromAnotherThreadWakesItWithoutAnyTimer) {
    base::HeadlessLoop headless;
    std::jthread other([&] {
        std::this_thread::sleep_for(1ms);  // so that the loop really sleeps
        headless.loop().post([&] { headless.quit(3); });
    });
    EXPECT_EQ(headless.run(), 3);
}

TEST(HeadlessLoop, AFunctionFromAnotherThreadWakesItBeforeALaterTimer) {
    base::HeadlessLoop headless;
    bool timerRan = false;
    const auto timer = headless.loop().after(1h, [&] { timerRan = true; });
    std::jthread other([&] { headless.loop().post([&] { headless.quit(0); }); });
    EXPECT_EQ(headless.run(), 0);
    EXPECT_FALSE(timerRan);
}

TEST(HeadlessLoop, TheFirstCodeCountsAndThePresentTurnIsFinished) {
    base::HeadlessLoop headless;
    std::vector<int> ran;
    headless.loop().post([&] {
        headless.quit(1);
        headless.loop().post([&] { ran.push_back(3); });
        ran.push_back(1);
    });
    headless.loop().post([&] {
        headless.quit(2);
        ran.push_back(2);
    });
    EXPECT_EQ(headless.run(), 1);
    EXPECT_EQ(ran, (std::vector{1, 2}));
}

TEST(HeadlessLoop, ManyThreadsPostWithoutALossOrABrokenOrder) {
    base::HeadlessLoop headless;
    constexpr int threads = 3, each = 500;
    std::array<int, threads> last{};
    int total = 0;
    bool inOrder = true;
    {
        std::vector<std::jthread> posters;
        for (std::size_t which = 0; which < threads; ++which)
            posters.emplace_back([&, which] {
                for (int i = 1; i <= each; ++i)
                    headless.loop().post([&, which, i] {
                        inOrder = inOrder && last[which] == i - 1;
                        last[which] = i;
                        if (++total == threads * each) headless.quit(0);
                    });
            });
        EXPECT_EQ(headless.run(), 0);
    }
    EXPECT_TRUE(inOrder);
}
