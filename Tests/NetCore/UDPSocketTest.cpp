#include "NetCore/UDPSocket.hpp"

#include <netinet/in.h>
#include <sys/socket.h>

#include <atomic>
#include <cerrno>
#include <future>
#include <thread>

#include "Base/SerialQueue.hpp"
#include "Inbox.hpp"
#include "NetCore/NetError.hpp"
#include "NetCore/SocketAddress.hpp"

using namespace netcore;
using namespace std::chrono_literals;

namespace {

constexpr std::uint32_t loopback = 0x7F000001;

// A socket of another program, as far as the system can tell.
base::FileDescriptor foreignSocket(std::uint16_t port, std::initializer_list<int> options) {
    base::FileDescriptor descriptor(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    for (const int option : options) EXPECT_TRUE(setOption(descriptor.get(), SOL_SOCKET, option, 1));
    const auto address = socketAddress(INADDR_ANY, port);
    EXPECT_EQ(bind(descriptor.get(), generic(address), sizeof address), 0);
    return descriptor;
}

// What the handler has seen cannot be more than this: all that was sent before it has been delivered.
void sendMark(const UDPSocket& to) {
    UDPSender sender;
    EXPECT_TRUE(sender.send(bytesOf("mark"), "127.0.0.1", to.boundPort()));
}

}  // namespace

TEST(UDPSocket, TellsWhatCameFromWhomWhereAndWhen) {
    UDPSocket socket(0, "test");
    EXPECT_EQ(socket.port(), 0) << "as asked for";
    ASSERT_NE(socket.boundPort(), 0);
    Inbox inbox;
    socket.start(inbox.handler());
    const auto before = base::SystemClock::shared().moment();
    const UDPSender sender;
    ASSERT_TRUE(sender.send(bytesOf("hello"), "127.0.0.7", socket.boundPort()));
    const auto packets = inbox.waitFor(1);
    const auto after = base::SystemClock::shared().moment();
    ASSERT_EQ(packets.size(), 1U);
    EXPECT_EQ(packets[0].data, bytesOf("hello"));
    EXPECT_EQ(packets[0].sourceIP, "127.0.0.1");
    EXPECT_EQ(packets[0].sourcePort, sender.port());
    EXPECT_EQ(packets[0].destination, "127.0.0.7");
    EXPECT_EQ(packets[0].interfaceIndex, 1U) << "the loopback adapter";
    EXPECT_TRUE(before.steady <= packets[0].time.steady && packets[0].time.steady <= after.steady);
    EXPECT_TRUE(before.wall <= packets[0].time.wall && packets[0].time.wall <= after.wall);
}

TEST(UDPSocket, DeliversWhatCameBeforeTheStart) {
    UDPSocket socket(0, "test");
    sendMark(socket);
    Inbox inbox;
    socket.start(inbox.handler());
    EXPECT_EQ(inbox.waitFor(1).size(), 1U);
}

TEST(UDPSocket, CutsALongDatagram) {
    UDPSocket socket(0, "test");
    Inbox inbox;
    socket.start(inbox.handler());
    const UDPSender sender;
    std::vector<std::uint8_t> bytes(3000, 0xAB);
    bytes[2047] = 0xCD;
    for (const std::size_t size : {3000, 2049, 2048, 2047})
        ASSERT_TRUE(sender.send(base::Bytes(bytes).first(size), "127.0.0.1", socket.boundPort()));
    const auto packets = inbox.waitFor(4);
    ASSERT_EQ(packets.size(), 4U);
    for (const std::size_t i : {0, 1, 2}) {
        EXPECT_EQ(packets[i].data.size(), 2048U);
        EXPECT_EQ(packets[i].data.back(), 0xCD);
    }
    EXPECT_EQ(packets[3].data.size(), 2047U);
}

TEST(UDPSocket, PassesOverAnEmptyDatagram) {
    UDPSocket socket(0, "test");
    Inbox inbox;
    socket.start(inbox.handler());
    const UDPSender sender;
    ASSERT_TRUE(sender.send({}, "127.0.0.1", socket.boundPort()));
    sendMark(socket);
    const auto packets = inbox.waitFor(1);
    ASSERT_EQ(packets.size(), 1U);
    EXPECT_EQ(packets[0].data, bytesOf("mark"));
}

TEST(UDPSocket, DeliversManyInTheirOrder) {
    UDPSocket socket(0, "test");
    // More than one event takes, and they wait before the first.
    constexpr std::uint16_t count = 1500;
    const UDPSender sender;
    for (std::uint16_t i = 0; i < count; ++i) {
        const std::uint8_t number[] = {static_cast<std::uint8_t>(i >> 8), static_cast<std::uint8_t>(i)};
        ASSERT_TRUE(sender.send(number, "127.0.0.1", socket.boundPort()));
    }
    Inbox inbox;
    socket.start(inbox.handler());
    const auto packets = inbox.waitFor(count);
    if (socket.drops() > 0) GTEST_SKIP() << "the system grants too small a buffer: " << socket.receiveBuffer();
    ASSERT_EQ(packets.size(), count);
    for (std::size_t i = 0; i < count; ++i) ASSERT_EQ(packets[i].data[0] << 8 | packets[i].data[1], static_cast<int>(i));
}

TEST(UDPSocket, ListensTwiceOnOnePortAndBothHearBroadcasts) {
    UDPSocket first(0, "first");
    UDPSocket second(first.boundPort(), "second");
    EXPECT_EQ(second.boundPort(), first.boundPort());
    Inbox firstInbox, secondInbox;
    first.start(firstInbox.handler());
    second.start(secondInbox.handler());
    const UDPSender sender;
    ASSERT_TRUE(sender.send(bytesOf("all"), "127.255.255.255", first.boundPort()));
    for (auto* inbox : {&firstInbox, &secondInbox}) {
        const auto packets = inbox->waitFor(1);
        ASSERT_EQ(packets.size(), 1U);
        EXPECT_EQ(packets[0].destination, "127.255.255.255");
    }
}

// Linux gives unicast to one socket alone: the one that was bound last.
TEST(UDPSocket, TheLastOneBoundGetsUnicast) {
    UDPSocket first(0, "first");
    auto second = std::make_unique<UDPSocket>(first.boundPort(), "second");
    Inbox firstInbox, secondInbox;
    first.start(firstInbox.handler());
    second->start(secondInbox.handler());
    for (int i = 0; i < 5; ++i) sendMark(first);
    EXPECT_EQ(secondInbox.waitFor(5).size(), 5U);
    EXPECT_EQ(firstInbox.count(), 0U);
}

TEST(UDPSocket, SharesThePortWithOtherPrograms) {
    struct Row {
        std::initializer_list<int> others;
        const char* what;
    };
    for (const auto& [others, what] : {Row{{SO_REUSEADDR}, "SO_REUSEADDR"}, Row{{SO_REUSEADDR, SO_REUSEPORT}, "both"},
                                       Row{{SO_REUSEPORT}, "SO_REUSEPORT alone, same user"}}) {
        const auto other = foreignSocket(0, others);
        const auto port = boundPortOf(other.get());
        EXPECT_NO_THROW(EXPECT_EQ(UDPSocket(port, "test").boundPort(), port)) << what;
    }
}

TEST(UDPSocket, SaysThatAPortIsTaken) {
    const auto other = foreignSocket(0, {});
    const auto port = boundPortOf(other.get());
    try {
        const UDPSocket socket(port, "test");
        FAIL() << "bound beside an exclusive socket";
    } catch (const NetError& error) {
        EXPECT_EQ(error.kind(), NetError::Case::socket);
        EXPECT_EQ(error.description(), "Netzwerkfehler: Port " + std::to_string(port) + " belegt: Address already in use");
    }
}

TEST(UDPSocket, SendsFromItsOwnPort) {
    UDPSocket asker(0, "asker"), responder(0, "responder");
    Inbox askerInbox;
    asker.start(askerInbox.handler());
    std::promise<void> answered;
    responder.start([&](const UDPView& view) {
        const auto packet = view.packet();
        responder.sendFromBound(bytesOf("answer"), packet.sourceIP, packet.sourcePort);
        answered.set_value();
    });
    asker.sendFromBound(bytesOf("question"), "127.0.0.1", responder.boundPort());
    const auto packets = askerInbox.waitFor(1);
    ASSERT_EQ(packets.size(), 1U);
    EXPECT_EQ(packets[0].data, bytesOf("answer"));
    EXPECT_EQ(packets[0].sourcePort, responder.boundPort());
    EXPECT_EQ(answered.get_future().wait_for(5s), std::future_status::ready);
}

TEST(UDPSocket, SendsNothingOnceClosed) {
    UDPSocket listener(0, "listener"), closed(0, "closed");
    Inbox inbox;
    listener.start(inbox.handler());
    closed.close();
    closed.sendFromBound(bytesOf("late"), "127.0.0.1", listener.boundPort());
    sendMark(listener);
    const auto packets = inbox.waitFor(1);
    ASSERT_EQ(packets.size(), 1U);
    EXPECT_EQ(packets[0].data, bytesOf("mark"));
}

TEST(UDPSocket, ClosesOnceAndForAll) {
    UDPSocket socket(0, "test");
    const auto port = socket.boundPort();
    Inbox inbox;
    socket.start(inbox.handler());
    socket.close();
    socket.close();
    EXPECT_EQ(socket.boundPort(), 0);
    EXPECT_EQ(socket.port(), 0);
    EXPECT_FALSE(socket.join("239.255.0.1", "127.0.0.1"));
    // The queue that reads the port lets go of it.
    const auto deadline = base::SystemClock::shared().steadyNow() + 5s;
    for (;;) {
        const base::FileDescriptor exclusive(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        const auto address = socketAddress(loopback, port);
        if (bind(exclusive.get(), generic(address), sizeof address) == 0) break;
        ASSERT_LT(base::SystemClock::shared().steadyNow(), deadline) << "the port is still held";
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_EQ(inbox.count(), 0U);
}

TEST(UDPSocket, CallsNoHandlerAfterClose) {
    const UDPSender sender;
    for (int round = 0; round < 20; ++round) {
        const auto calls = std::make_shared<std::atomic<int>>(0);
        auto socket = std::make_unique<UDPSocket>(0, "test");
        socket->start([calls](const UDPView&) { ++*calls; });
        for (int i = 0; i < 50; ++i) sender.send(bytesOf("x"), "127.0.0.1", socket->boundPort());
        socket->close();
        const int seen = *calls;
        socket.reset();
        base::SerialQueue::joinEnded();
        EXPECT_LE(*calls, seen + 1) << "but for the call under way";
    }
}

TEST(UDPSocket, MayBeDestroyedByItsOwnHandler) {
    auto socket = std::make_shared<std::unique_ptr<UDPSocket>>(std::make_unique<UDPSocket>(0, "test"));
    const auto destroyed = std::make_shared<std::promise<void>>();
    const auto port = (*socket)->boundPort();
    (*socket)->start([socket, destroyed](const UDPView&) {
        if (!*socket) return;
        socket->reset();
        destroyed->set_value();
    });
    const UDPSender sender;
    ASSERT_TRUE(sender.send(bytesOf("a"), "127.0.0.1", port));
    sender.send(bytesOf("b"), "127.0.0.1", port);
    EXPECT_EQ(destroyed->get_future().wait_for(5s), std::future_status::ready);
    base::SerialQueue::joinEnded();
}

TEST(UDPSocket, DeliversOnItsOwnThreadOneAfterAnother) {
    auto socket = std::make_unique<UDPSocket>(0, "test");
    std::atomic<int> inside = 0, calls = 0;
    std::atomic<bool> overlapped = false, here = false;
    const auto caller = std::this_thread::get_id();
    socket->start([&](const UDPView&) {
        if (++inside > 1) overlapped = true;
        if (std::this_thread::get_id() == caller) here = true;
        --inside;
        ++calls;
    });
    for (int i = 0; i < 100; ++i) sendMark(*socket);
    const auto deadline = base::SystemClock::shared().steadyNow() + 5s;
    while (calls < 100 && base::SystemClock::shared().steadyNow() < deadline) std::this_thread::sleep_for(1ms);
    EXPECT_EQ(calls, 100);
    EXPECT_FALSE(overlapped);
    EXPECT_FALSE(here);
    // The handler looks at our variables.
    socket.reset();
    base::SerialQueue::joinEnded();
}

TEST(UDPSocket, CountsWhatTheSystemDropped) {
    UDPSocket socket(0, "test");
    EXPECT_EQ(socket.drops(), 0U);
    EXPECT_GE(socket.receiveBuffer(), 200000);
    // Nobody reads; what does not fit is dropped, and no later datagram tells of it.
    const UDPSender sender;
    constexpr std::uint64_t sent = 25000;
    for (std::uint64_t i = 0; i < sent; ++i) ASSERT_TRUE(sender.send(bytesOf("12345678"), "127.0.0.1", socket.boundPort()));
    const auto drops = socket.drops();
    EXPECT_GT(drops, 0U);
    EXPECT_EQ(socket.drops(), drops) << "counted once";
    Inbox inbox;
    socket.start(inbox.handler());
    EXPECT_EQ(inbox.waitFor(sent - drops).size() + drops, sent);
    socket.close();
    EXPECT_EQ(socket.drops(), drops) << "known beyond the end";
}

TEST(UDPSocket, JoinsOnlyGroupsAndOnlyOnOwnAdapters) {
    UDPSocket socket(0, "test");
    EXPECT_TRUE(socket.join("239.255.0.1", "127.0.0.1"));
    EXPECT_TRUE(socket.join("239.255.0.1", "127.0.0.1")) << "once more";
    for (const auto* group : {"10.0.0.1", "240.0.0.1", "", "239.255.0", "x"})
        EXPECT_FALSE(socket.join(group, "127.0.0.1")) << group;
    for (const auto* address : {"192.0.2.1", "0.0.0.0", "", "lo"}) EXPECT_FALSE(socket.join("239.255.0.2", address)) << address;
}

TEST(UDPSender, KeepsOnePortForLife) {
    UDPSocket socket(0, "test");
    Inbox inbox;
    socket.start(inbox.handler());
    const UDPSender first, second;
    EXPECT_NE(first.port(), 0);
    EXPECT_NE(first.port(), second.port());
    for (int i = 0; i < 3; ++i) ASSERT_TRUE(first.send(bytesOf("x"), "127.0.0.1", socket.boundPort()));
    const auto packets = inbox.waitFor(3);
    ASSERT_EQ(packets.size(), 3U);
    for (const auto& packet : packets) EXPECT_EQ(packet.sourcePort, first.port());
}

TEST(UDPSender, SaysWhatTheSystemRefused) {
    const UDPSender sender;
    EXPECT_FALSE(sender.send(bytesOf("x"), "nowhere", 6454));
    EXPECT_FALSE(sender.send(bytesOf("x"), "127.0.0.1", 6454, 2000000000)) << "an adapter that is not there";
    const std::vector<std::uint8_t> tooLong(70000);
    EXPECT_FALSE(sender.send(tooLong, "127.0.0.1", 6454));
}

TEST(UDPSender, ServesSeveralThreads) {
    UDPSocket socket(0, "test");
    Inbox inbox;
    socket.start(inbox.handler());
    const UDPSender sender;
    const auto send = [&] {
        for (int i = 0; i < 100; ++i) sender.send(bytesOf("x"), "127.0.0.1", socket.boundPort());
    };
    std::thread one(send), other(send);
    one.join();
    other.join();
    EXPECT_EQ(inbox.waitFor(200).size(), 200U);
}
