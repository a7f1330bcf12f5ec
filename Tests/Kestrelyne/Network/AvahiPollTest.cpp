#include "Kestrelyne/Network/AvahiPoll.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <future>
#include <thread>

#include "Base/FileDescriptor.hpp"

namespace kestrelyne {

namespace {

constexpr AvahiWatchCallback ignore = [](AvahiWatch*, int, AvahiWatchEvent, void*) {};

class AvahiPollTest : public testing::Test {
protected:
    AvahiPollTest() {
        std::array<int, 2> ends{};
        EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK), 0);
        reading.reset(ends[0]);
        writing.reset(ends[1]);
    }
    // What a test began ends before the poll does.
    ~AvahiPollTest() override {
        on([] {});
    }
    void on(const std::function<void()>& function) {
        std::promise<void> done;
        queue.post([&] {
            function();
            done.set_value();
        });
        done.get_future().wait();
    }

    base::SerialQueue queue{"avahi"};
    AvahiQueuePoll poll{queue};
    base::FileDescriptor reading, writing;
};

}  // namespace

TEST_F(AvahiPollTest, TellsOfEachWatchOfOneDescriptorApart) {
    struct Seen {
        const AvahiPoll* api;
        std::promise<AvahiWatchEvent> event;
    } seen{.api = poll.api(), .event = {}};
    AvahiWatch* other = nullptr;
    on([&] {
        seen.api->watch_new(
            seen.api, reading.get(), AVAHI_WATCH_IN,
            [](AvahiWatch* watch, int, AvahiWatchEvent, void* userdata) {
                auto& told = *static_cast<Seen*>(userdata);
                told.event.set_value(told.api->watch_get_events(watch));
                told.api->watch_free(watch);
            },
            &seen);
        other = poll.api()->watch_new(poll.api(), reading.get(), {}, ignore, nullptr);
        EXPECT_NE(other, nullptr) << "the same descriptor, nothing wanted yet";
    });
    EXPECT_EQ(write(writing.get(), "x", 1), 1);
    auto event = seen.event.get_future();
    ASSERT_EQ(event.wait_for(std::chrono::seconds(5)), std::future_status::ready);
    EXPECT_EQ(event.get(), AVAHI_WATCH_IN);
    on([&] { poll.api()->watch_free(other); });
}

TEST_F(AvahiPollTest, ADescriptorThatCannotBeWatchedGivesNoWatch) {
    const base::FileDescriptor plain(open("/proc/self/exe", O_RDONLY | O_CLOEXEC));
    ASSERT_TRUE(plain);
    on([&] {
        EXPECT_EQ(poll.api()->watch_new(poll.api(), -1, AVAHI_WATCH_IN, ignore, nullptr), nullptr) << "none at all";
        EXPECT_EQ(poll.api()->watch_new(poll.api(), -1, {}, ignore, nullptr), nullptr) << "not even for later";
        EXPECT_EQ(poll.api()->watch_new(poll.api(), plain.get(), AVAHI_WATCH_IN, ignore, nullptr), nullptr) << "a plain file";
    });
}

}  // namespace kestrelyne
