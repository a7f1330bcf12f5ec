// The datagram sockets in a network with two adapters, each with another computer behind it.

#include <netinet/in.h>
#include <sys/socket.h>

#include <atomic>
#include <thread>

#include "Inbox.hpp"
#include "NetCore/GroupCarriers.hpp"
#include "NetCore/IPv4.hpp"
#include "NetCore/Memberships.hpp"
#include "NetCore/NetError.hpp"
#include "NetCore/SocketAddress.hpp"
#include "NetCore/UDPSocket.hpp"
#include "Support/NetworkNamespace.hpp"

using namespace netcore;

namespace {

// We have a1 = 10.71.1.1 and a2 = 10.71.2.1; behind each lies a computer with address .2 and adapter "b".
struct TwoAdapters {
    PeerHost first, second;
    std::uint32_t a1, a2;

    TwoAdapters() {
        first.connect("a1", "10.71.1.1/24", "b", "10.71.1.2/24");
        second.connect("a2", "10.71.2.1/24", "b", "10.71.2.2/24");
        a1 = interfaceIndexOf(0x0A470101).value();
        a2 = interfaceIndexOf(0x0A470201).value();
    }
};

// Sends from that computer, out of its only adapter.
void sendFrom(const PeerHost& host, std::string_view to, std::uint16_t port, std::string_view text) {
    host.run([&] {
        const UDPSender sender;
        const auto own = interfaceIndexOf(0x0A470102).value_or(interfaceIndexOf(0x0A470202).value_or(0));
        EXPECT_TRUE(sender.send(bytesOf(text), to, port, own)) << to;
    });
}

std::string textOf(const UDPPacket& packet) { return {packet.data.begin(), packet.data.end()}; }

std::string groupOf(int number) { return "239.255." + std::to_string(number / 250) + "." + std::to_string(number % 250 + 1); }

}  // namespace

TEST(UDPNetwork, TellsTheAdapterAndTheDestinationOfEachDatagram) {
    if (!NetworkNamespace::enter()) return;
    const TwoAdapters net;
    UDPSocket socket(6454, "artnet");
    ASSERT_TRUE(socket.join("239.255.0.1", "10.71.1.1"));
    Inbox inbox;
    socket.start(inbox.handler());
    struct Row {
        const PeerHost& from;
        std::string source, destination;
        std::uint32_t index;
    };
    for (const auto& [from, source, destination, index] :
         {Row{net.first, "10.71.1.2", "10.71.1.1", net.a1}, Row{net.first, "10.71.1.2", "10.71.1.255", net.a1},
          Row{net.first, "10.71.1.2", "255.255.255.255", net.a1}, Row{net.first, "10.71.1.2", "239.255.0.1", net.a1},
          Row{net.second, "10.71.2.2", "10.71.2.1", net.a2}, Row{net.second, "10.71.2.2", "10.71.2.255", net.a2},
          Row{net.second, "10.71.2.2", "255.255.255.255", net.a2}}) {
        inbox.clear();
        sendFrom(from, destination, 6454, "x");
        const auto packets = inbox.waitFor(1);
        ASSERT_EQ(packets.size(), 1U) << destination;
        EXPECT_EQ(packets[0].sourceIP, source) << destination;
        EXPECT_EQ(packets[0].destination, destination);
        EXPECT_EQ(packets[0].interfaceIndex, index) << destination;
    }
}

TEST(UDPNetwork, TwoSocketsOnTheArtNetPortBothHearBroadcasts) {
    if (!NetworkNamespace::enter()) return;
    const TwoAdapters net;
    UDPSocket first(6454, "first"), second(6454, "second");
    Inbox firstInbox, secondInbox;
    first.start(firstInbox.handler());
    second.start(secondInbox.handler());
    sendFrom(net.first, "10.71.1.255", 6454, "subnet");
    sendFrom(net.second, "255.255.255.255", 6454, "everybody");
    EXPECT_EQ(firstInbox.waitFor(2).size(), 2U);
    EXPECT_EQ(secondInbox.waitFor(2).size(), 2U);
}

TEST(UDPNetwork, AFreePortIsOneThatNobodyHolds) {
    if (!NetworkNamespace::enter()) return;
    NetworkNamespace::shell("echo 40000 40003 > /proc/sys/net/ipv4/ip_local_port_range");
    // Other programs, and one of ours; all would share.
    std::vector<base::FileDescriptor> others;
    for (const std::uint16_t port : {40000, 40001, 40003}) {
        others.emplace_back(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        for (const int option : {SO_REUSEADDR, SO_REUSEPORT}) ASSERT_TRUE(setOption(others.back().get(), SOL_SOCKET, option, 1));
        const auto address = socketAddress(INADDR_ANY, port);
        ASSERT_EQ(bind(others.back().get(), generic(address), sizeof address), 0);
    }
    const UDPSocket free(0, "free");
    EXPECT_EQ(free.boundPort(), 40002);
    EXPECT_THROW(UDPSocket(0, "none"), NetError) << "the last one is taken";
    EXPECT_NO_THROW(UDPSocket(40002, "beside")) << "it is shared with those who ask for it";
}

TEST(UDPNetwork, NothingIsJoinedOnceTheMembershipsAreClosed) {
    if (!NetworkNamespace::enter()) return;
    const auto group = [](int number) { return 0xEFFF0001U + static_cast<std::uint32_t>(number); };
    for (int round = 0; round < 20; ++round) {
        Memberships memberships;
        std::atomic<int> begun = 0;
        std::vector<std::jthread> joiners;
        for (int joiner = 0; joiner < 2; ++joiner)
            joiners.emplace_back([&, joiner](const std::stop_token& end) {
                for (int i = 0; !end.stop_requested(); i = (i + 1) % 100) {
                    memberships.join(group(joiner * 100 + i), 0x7F000001);
                    if (i % 3 == 0) memberships.leave(group(joiner * 100 + i), 0x7F000001);
                    ++begun;
                }
            });
        while (begun < 50) {
            const auto wanted = memberships.wanted();
            ASSERT_NE(wanted, nullptr);
            wanted->contains(group(0), 1);
        }
        memberships.close();
        const int before = begun;
        while (begun < before + 20) std::this_thread::yield();
        joiners.clear();
        EXPECT_FALSE(memberships.join(group(0), 0x7F000001));
        for (int i = 0; i < 200; ++i) ASSERT_FALSE(memberships.wanted()->contains(group(i), 1)) << i;
        // proc(5): groups in hexadecimal, in the order of the wire.
        NetworkNamespace::shell("! grep -qi '00FFEF' /proc/net/igmp");
    }
}

TEST(UDPNetwork, HoldsMoreMembershipsThanTheSystemGivesASocket) {
    if (!NetworkNamespace::enter()) return;
    const TwoAdapters net;
    constexpr int groups = 300;
    UDPSocket socket(5568, "sacn");
    Inbox inbox;
    socket.start(inbox.handler());
    for (int i = 0; i < groups; ++i)
        for (const auto* adapter : {"10.71.1.1", "10.71.2.1"}) ASSERT_TRUE(socket.join(groupOf(i), adapter)) << groupOf(i);
    struct Row {
        const PeerHost& from;
        std::uint32_t peerAddress, ownIndex;
    };
    for (const auto& row : {Row{net.first, 0x0A470102, net.a1}, Row{net.second, 0x0A470202, net.a2}}) {
        inbox.clear();
        row.from.run([&] {
            const UDPSender sender;
            for (int i = 0; i < groups; ++i)
                EXPECT_TRUE(sender.send(bytesOf("x"), groupOf(i), 5568, interfaceIndexOf(row.peerAddress)));
        });
        const auto packets = inbox.waitFor(groups);
        ASSERT_EQ(packets.size(), static_cast<std::size_t>(groups));
        for (int i = 0; i < groups; ++i) {
            EXPECT_EQ(packets[static_cast<std::size_t>(i)].destination, groupOf(i));
            EXPECT_EQ(packets[static_cast<std::size_t>(i)].interfaceIndex, row.ownIndex);
        }
    }
}

TEST(UDPNetwork, DropsGroupsThatOnlyOthersJoined) {
    if (!NetworkNamespace::enter()) return;
    const TwoAdapters net;
    UDPSocket ours(5568, "ours"), other(5568, "other");
    ASSERT_TRUE(ours.join("239.255.0.1", "10.71.1.1"));
    ASSERT_TRUE(other.join("239.255.0.2", "10.71.1.1"));
    ASSERT_TRUE(other.join("239.255.0.1", "10.71.2.1")) << "our group, on an adapter where we did not ask for it";
    Inbox oursInbox, otherInbox;
    ours.start(oursInbox.handler());
    other.start(otherInbox.handler());
    sendFrom(net.first, "239.255.0.2", 5568, "theirs");
    sendFrom(net.second, "239.255.0.1", 5568, "other adapter");
    sendFrom(net.first, "239.255.0.1", 5568, "ours");
    const auto heard = oursInbox.waitFor(1);
    ASSERT_EQ(heard.size(), 1U);
    EXPECT_EQ(textOf(heard[0]), "ours");
    const auto otherHeard = otherInbox.waitFor(2);
    ASSERT_EQ(otherHeard.size(), 2U);
    EXPECT_EQ(textOf(otherHeard[0]), "theirs");
    EXPECT_EQ(textOf(otherHeard[1]), "other adapter");
}

TEST(UDPNetwork, HearsAGroupNoMoreOnceItHasLeft) {
    if (!NetworkNamespace::enter()) return;
    const TwoAdapters net;
    UDPSocket socket(5568, "sacn");
    Inbox inbox;
    socket.start(inbox.handler());
    ASSERT_TRUE(socket.join("239.255.0.1", "10.71.1.1"));
    ASSERT_TRUE(socket.join("239.255.0.2", "10.71.1.1"));
    sendFrom(net.first, "239.255.0.1", 5568, "before");
    EXPECT_EQ(inbox.waitFor(1).size(), 1U);
    inbox.clear();
    socket.leave("239.255.0.1", "10.71.1.1");
    sendFrom(net.first, "239.255.0.1", 5568, "after");
    sendFrom(net.first, "239.255.0.2", 5568, "still");
    const auto packets = inbox.waitFor(1);
    ASSERT_EQ(packets.size(), 1U);
    EXPECT_EQ(textOf(packets[0]), "still");
}

TEST(UDPNetwork, LeavesAMembershipOfTwoAddressesWithTheLast) {
    if (!NetworkNamespace::enter()) return;
    const TwoAdapters net;
    NetworkNamespace::shell("ip address add 10.72.1.1/24 dev a1 label a1:0");
    Memberships memberships;
    const auto group = ipToUInt32("239.255.0.1").value();
    EXPECT_TRUE(memberships.join(group, 0x0A470101));
    EXPECT_TRUE(memberships.join(group, 0x0A480101));
    memberships.leave(group, 0x0A470101);
    EXPECT_TRUE(memberships.wanted()->contains(group, net.a1));
    // Also when the address is gone meanwhile.
    NetworkNamespace::shell("ip address del 10.72.1.1/24 dev a1");
    memberships.leave(group, 0x0A480101);
    EXPECT_FALSE(memberships.wanted()->contains(group, net.a1));
}

TEST(UDPNetwork, JoinsAnewOnAnAdapterThatCameBack) {
    if (!NetworkNamespace::enter()) return;
    UDPSocket socket(5568, "sacn");
    Inbox inbox;
    socket.start(inbox.handler());
    for (const auto* text : {"first life", "second life"}) {
        // Destroying the computer takes its end of the cable away, and ours with it.
        const PeerHost host;
        host.connect("a1", "10.71.1.1/24", "b", "10.71.1.2/24");
        ASSERT_TRUE(socket.join("239.255.0.1", "10.71.1.1")) << text;
        sendFrom(host, "239.255.0.1", 5568, text);
        const auto packets = inbox.waitFor(1);
        ASSERT_EQ(packets.size(), 1U) << text;
        EXPECT_EQ(textOf(packets[0]), text);
        inbox.clear();
        NetworkNamespace::shell("ip link del a1");
        EXPECT_FALSE(socket.join("239.255.0.2", "10.71.1.1")) << "no adapter has the address now";
    }
}

TEST(UDPNetwork, FindsTheAdapterOfAnAddress) {
    if (!NetworkNamespace::enter()) return;
    const TwoAdapters net;
    EXPECT_NE(net.a1, net.a2);
    EXPECT_EQ(interfaceIndexOf(0x7F000001), 1U);
    EXPECT_EQ(interfaceIndexOf(0x0A470102), std::nullopt) << "the peer's";
    for (int i = 0; i < 100; ++i) NetworkNamespace::shell("ip address add 10.73.0." + std::to_string(i + 1) + "/24 dev a2");
    EXPECT_EQ(interfaceIndexOf(0x0A490064), net.a2) << "one of very many";
}

TEST(UDPNetwork, SendsOutOfTheChosenAdapterWithoutARoute) {
    if (!NetworkNamespace::enter()) return;
    const TwoAdapters net;
    std::unique_ptr<UDPSocket> atFirst, atSecond;
    Inbox first, second;
    const auto listen = [](std::unique_ptr<UDPSocket>& socket, const std::string& address) {
        socket = std::make_unique<UDPSocket>(6454, "peer");
        EXPECT_TRUE(socket->join("239.255.0.1", address));
    };
    net.first.run([&] { listen(atFirst, "10.71.1.2"); });
    net.second.run([&] { listen(atSecond, "10.71.2.2"); });
    atFirst->start(first.handler());
    atSecond->start(second.handler());
    const UDPSender sender;
    EXPECT_FALSE(sender.send(bytesOf("x"), "239.255.0.1", 6454)) << "no route, no adapter named";
    for (const auto* destination : {"255.255.255.255", "10.71.2.255", "239.255.0.1", "10.71.2.2"}) {
        second.clear();
        ASSERT_TRUE(sender.send(bytesOf("x"), destination, 6454, net.a2)) << destination;
        const auto packets = second.waitFor(1);
        ASSERT_EQ(packets.size(), 1U) << destination;
        EXPECT_EQ(packets[0].sourceIP, "10.71.2.1") << destination;
        EXPECT_EQ(packets[0].sourcePort, sender.port());
        EXPECT_EQ(packets[0].destination, destination);
    }
    for (const auto* destination : {"255.255.255.255", "239.255.0.1"}) {
        first.clear();
        ASSERT_TRUE(sender.send(bytesOf("y"), destination, 6454, net.a1)) << destination;
        const auto packets = first.waitFor(1);
        ASSERT_EQ(packets.size(), 1U) << destination;
        EXPECT_EQ(textOf(packets[0]), "y") << "nothing of what went to the other adapter";
        EXPECT_EQ(packets[0].sourceIP, "10.71.1.1");
    }
}

TEST(GroupCarriers, TakesASocketForEachTwentyAndFreesIt) {
    if (!NetworkNamespace::enter()) return;
    GroupCarriers carriers;
    const auto group = [](std::uint32_t number) { return 0xEFFF0001 + number; };
    for (std::uint32_t i = 0; i < 41; ++i) ASSERT_TRUE(carriers.add(group(i), 1));
    EXPECT_EQ(carriers.sockets(), 3U);
    EXPECT_TRUE(carriers.add(group(0), 1)) << "stands already";
    EXPECT_EQ(carriers.sockets(), 3U);
    EXPECT_TRUE(carriers.contains(group(40), 1));
    EXPECT_FALSE(carriers.contains(group(40), 2));
    carriers.remove(group(40), 1);
    EXPECT_EQ(carriers.sockets(), 2U) << "the one that held it alone";
    carriers.remove(group(40), 1);
    carriers.remove(group(5), 1);
    EXPECT_FALSE(carriers.contains(group(5), 1));
    EXPECT_TRUE(carriers.add(group(50), 1));
    EXPECT_EQ(carriers.sockets(), 2U) << "the freed place is taken again";
    EXPECT_FALSE(carriers.add(group(60), 0)) << "no adapter";
    EXPECT_FALSE(carriers.add(group(60), 99)) << "an adapter that is not there";
    EXPECT_FALSE(carriers.add(0x0A000001, 1)) << "no group";
    EXPECT_EQ(carriers.sockets(), 2U);
}

TEST(GroupCarriers, MakesDoWithFewerMembershipsASocket) {
    if (!NetworkNamespace::enter()) return;
    NetworkNamespace::shell("sysctl -q -w net.ipv4.igmp_max_memberships=7 || echo 7 > /proc/sys/net/ipv4/igmp_max_memberships");
    GroupCarriers carriers;
    for (std::uint32_t i = 0; i < 20; ++i) EXPECT_TRUE(carriers.add(0xEFFF0001 + i, 1)) << i;
    EXPECT_EQ(carriers.sockets(), 3U);
}
