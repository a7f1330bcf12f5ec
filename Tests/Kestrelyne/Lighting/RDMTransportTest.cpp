#include "Kestrelyne/Lighting/RDMTransport.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "Kestrelyne/Lighting/RDMRig.hpp"

namespace kestrelyne {

namespace {

using netcore::RDM::Response;
using namespace std::chrono_literals;

constexpr UID device{0x1234, 0x00000001}, other{0x1234, 0x00000002};
constexpr base::Seconds limit{0.8};

Response responseOf(const UID& uid, std::uint8_t transaction, Octets data = {}) {
    return {.source = uid, .transaction = transaction, .pid = 0x0060, .data = std::move(data)};
}

class RDMTransportTest : public testing::Test {
protected:
    static base::Co<> note(base::Co<std::optional<Response>> wait, std::vector<std::optional<Response>>& answers) {
        auto answer = co_await wait;
        answers.push_back(std::move(answer));
    }
    base::Task waits(const UID& uid, std::uint8_t transaction) {
        base::Task task("wait", note(transport_.wait(uid, transaction, limit), answers_));
        loop_.runTurns();
        return task;
    }

    TestLoop loop_;
    RDMTransport transport_;
    std::vector<std::optional<Response>> answers_;
};

TEST_F(RDMTransportTest, AResponseResumesWhoWaitsForIt) {
    const auto task = waits(device, 7);
    EXPECT_EQ(transport_.waiting(), 1u);
    transport_.deliver(responseOf(device, 7, {1, 2}));
    EXPECT_EQ(transport_.waiting(), 0u);
    loop_.runTurns();
    ASSERT_EQ(answers_.size(), 1u);
    EXPECT_EQ(answers_[0]->data, (Octets{1, 2}));
}

TEST_F(RDMTransportTest, OnlyTheFirstOfTwoResponsesCounts) {
    const auto task = waits(device, 7);
    transport_.deliver(responseOf(device, 7, {1}));
    transport_.deliver(responseOf(device, 7, {2}));
    loop_.advance(2s);
    ASSERT_EQ(answers_.size(), 1u);
    EXPECT_EQ(answers_[0]->data, Octets{1});
}

TEST_F(RDMTransportTest, OtherDevicesAndOtherTransactionsAreNotMeant) {
    const auto task = waits(device, 7);
    transport_.deliver(responseOf(device, 8));
    transport_.deliver(responseOf(other, 7));
    loop_.runTurns();
    EXPECT_TRUE(answers_.empty());
    EXPECT_EQ(transport_.waiting(), 1u);
}

TEST_F(RDMTransportTest, NothingComesWhenTheTimeHasPassed) {
    const auto task = waits(device, 7);
    loop_.advance(base::Seconds(0.79));
    EXPECT_TRUE(answers_.empty());
    loop_.advance(base::Seconds(0.02));
    ASSERT_EQ(answers_.size(), 1u);
    EXPECT_FALSE(answers_[0]);
    EXPECT_EQ(transport_.waiting(), 0u);
    transport_.deliver(responseOf(device, 7));
    loop_.advance(1s);
    EXPECT_EQ(answers_.size(), 1u);
}

TEST_F(RDMTransportTest, AResponseAheadOfItsWaitIsLost) {
    transport_.deliver(responseOf(device, 7));
    const auto task = waits(device, 7);
    EXPECT_TRUE(answers_.empty());
    loop_.advance(1s);
    ASSERT_EQ(answers_.size(), 1u);
    EXPECT_FALSE(answers_[0]);
}

TEST_F(RDMTransportTest, AResponseAfterAPlaceWasTakenIsNotLost) {
    const RDMTransport::Waiter waiter(transport_, device, 7);
    transport_.deliver(responseOf(device, 7, {3}));
    const base::Task task("wait", note(waiter.answer(limit), answers_));
    loop_.runTurns();
    ASSERT_EQ(answers_.size(), 1u);
    EXPECT_EQ(answers_[0]->data, Octets{3});
}

TEST_F(RDMTransportTest, ACancelledTaskLeavesNoWaiter) {
    auto task = waits(device, 7);
    EXPECT_EQ(transport_.waiting(), 1u);
    task.cancel();
    EXPECT_EQ(transport_.waiting(), 0u);
    transport_.deliver(responseOf(device, 7));
    loop_.advance(1s);
    EXPECT_TRUE(answers_.empty());
}

TEST_F(RDMTransportTest, ALaterWaiterOfTheSameTransactionKeepsItsPlace) {
    auto first = waits(device, 7);
    const auto second = waits(device, 7);
    first.cancel();
    EXPECT_EQ(transport_.waiting(), 1u);
    transport_.deliver(responseOf(device, 7));
    loop_.runTurns();
    ASSERT_EQ(answers_.size(), 1u);
    EXPECT_TRUE(answers_[0]);
}

TEST_F(RDMTransportTest, FramesThatAreNoResponseReachNobody) {
    const auto task = waits(device, 7);
    auto frame = rdmResponse({.to = device, .transaction = 7, .pid = 0x60}, 0, 0x60, {});
    auto damaged = frame;
    damaged.packet[20] ^= 1;
    transport_.handleRdm(damaged);
    transport_.handleRdm({.universe = 0, .packet = netcore::RDM::get(PID::deviceInfo, device, 7)});
    transport_.handleRdm({.universe = 0, .packet = {}});
    loop_.runTurns();
    EXPECT_TRUE(answers_.empty());
    transport_.handleRdm(frame);
    loop_.runTurns();
    EXPECT_EQ(answers_.size(), 1u);
}

TEST_F(RDMTransportTest, ListsAreKeptByNodeAndUniverse) {
    transport_.handleTod({.universe = 1, .uids = {device, device}}, "10.0.0.1");
    transport_.handleTod({.universe = 1, .uids = {other}}, "10.0.0.1");
    transport_.handleTod({.universe = 2, .uids = {other}}, "10.0.0.2");
    EXPECT_EQ(transport_.devices("10.0.0.1", 1), (std::set{device, other}));
    EXPECT_EQ(transport_.devices("10.0.0.2", 2), std::set{other});
    EXPECT_TRUE(transport_.devices("10.0.0.2", 1).empty());
    EXPECT_TRUE(transport_.devices("10.0.0.1", 2).empty());
}

TEST_F(RDMTransportTest, WhoMeansManyIsNoDevice) {
    transport_.handleTod({.universe = 1, .uids = {{0xFFFF, 0xFFFFFFFF}, {0x1234, 0xFFFFFFFF}, device}}, "10.0.0.1");
    EXPECT_EQ(transport_.devices("10.0.0.1", 1), std::set{device});
}

TEST_F(RDMTransportTest, ClearingForgetsTheListsAndNotThoseWhoWait) {
    const auto task = waits(device, 7);
    transport_.handleTod({.universe = 1, .uids = {device}}, "10.0.0.1");
    transport_.clear();
    EXPECT_TRUE(transport_.devices("10.0.0.1", 1).empty());
    EXPECT_EQ(transport_.waiting(), 1u);
}

TEST_F(RDMTransportTest, InventedDevicesEndAtALimit) {
    netcore::ArtNet::TodData table{.universe = 1};
    for (std::uint32_t i = 0; i < RDMTransport::mostDevices; ++i) table.uids.push_back({0x1234, i});
    transport_.handleTod(table, "10.0.0.1");
    EXPECT_EQ(transport_.devices("10.0.0.1", 1).size(), RDMTransport::mostDevices);
    transport_.handleTod({.universe = 2, .uids = {{0x4321, 1}}}, "10.0.0.1");
    EXPECT_TRUE(transport_.devices("10.0.0.1", 2).empty());
    transport_.clear();
    transport_.handleTod({.universe = 2, .uids = {{0x4321, 1}}}, "10.0.0.1");
    EXPECT_EQ(transport_.devices("10.0.0.1", 2).size(), 1u);
}

// Several tasks wait with limits about as short as the answers take, while threads answer all they might have asked.

struct Outcomes {
    int answered = 0, missed = 0, wrong = 0;
};

base::Co<> askOften(RDMTransport& transport, UID uid, int times, Outcomes& outcomes) {
    for (int i = 0; i < times; ++i) {
        const auto transaction = static_cast<std::uint8_t>(i);
        const auto answer = co_await transport.wait(uid, transaction, 2ms);
        if (!answer)
            ++outcomes.missed;
        else if (answer->source == uid && answer->transaction == transaction)
            ++outcomes.answered;
        else
            ++outcomes.wrong;
    }
}

TEST(RDMTransportThreads, EveryWaitEndsOnceWhileResponsesComeFromAnywhere) {
    constexpr int tasks = 6, times = 150;
    TestLoop loop{base::SystemClock::shared()};
    RDMTransport transport;
    Outcomes outcomes;
    std::vector<base::Task> asking;
    for (std::uint32_t i = 0; i < tasks; ++i) asking.emplace_back("ask", askOften(transport, {1, i}, times, outcomes));
    // The last two are never answered.
    std::vector<std::jthread> answering;
    for (int thread = 0; thread < 3; ++thread)
        answering.emplace_back([&transport](const std::stop_token& end) {
            for (int round = 0; !end.stop_requested(); ++round) {
                for (std::uint32_t i = 0; i + 2 < tasks; ++i)
                    transport.deliver(responseOf({1, i}, static_cast<std::uint8_t>(round % times), Octets(20)));
                transport.handleTod({.universe = round % 8, .uids = {{1, static_cast<std::uint32_t>(round % 100)}}}, "10.0.0.1");
                if (transport.devices("10.0.0.1", round % 8).empty()) std::this_thread::yield();
            }
        });
    int clearings = 0;
    EXPECT_TRUE(loop.runUntil(
        [&] {
            if (++clearings % 16 == 0) transport.clear();
            return std::ranges::none_of(asking, &base::Task::running);
        },
        60s));
    for (auto& thread : answering) thread.request_stop();
    answering.clear();
    EXPECT_EQ(outcomes.answered + outcomes.missed, tasks * times);
    EXPECT_EQ(outcomes.wrong, 0);
    EXPECT_GT(outcomes.answered, 0);
    EXPECT_GE(outcomes.missed, 2 * times);
    EXPECT_EQ(transport.waiting(), 0u);
}

}  // namespace

}  // namespace kestrelyne
