#include "Kestrelyne/Network/NetworkSockets.hpp"

#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/socket.h>
#include <sys/syscall.h>

#include <array>
#include <cerrno>
#include <thread>

#include "Base/FileDescriptor.hpp"
#include "Base/Text.hpp"
#include "Kestrelyne/Network/Datagrams.hpp"
#include "Kestrelyne/Network/JoinedGroups.hpp"
#include "NetCore/ArtNetHeader.hpp"
#include "NetCore/ArtNetPoll.hpp"
#include "NetCore/Inbox.hpp"
#include "NetCore/PTP.hpp"
#include "NetCore/SocketAddress.hpp"
#include "Support/NetworkNamespace.hpp"
#include "Support/WithoutSockets.hpp"

namespace kestrelyne {

namespace {

using Wanted = NetworkSockets::Wanted;

constexpr NetworkPorts anyPorts() { return {.artnet = 0, .sacn = 0, .ma3 = 0, .ma2 = {}, .ptpEvent = 0, .ptpGeneral = 0}; }

netcore::NetInterface having(const std::string& address) {
    netcore::NetInterface interface;
    interface.address = address;
    return interface;
}
const NetworkSockets::Interfaces loopback = {having("127.0.0.1")};

std::set<int> range(int first, int last) {
    std::set<int> numbers;
    for (int number = first; number <= last; ++number) numbers.insert(numbers.end(), number);
    return numbers;
}

struct Sockets {
    explicit Sockets(NetworkPorts ports = anyPorts()) : sockets(intake, std::move(ports)) {}

    const std::shared_ptr<NetworkIntake> intake = std::make_shared<NetworkIntake>(nullptr);
    NetworkSockets sockets;
};

/// A port that nobody else may share.
class TakenPort {
public:
    TakenPort() : descriptor_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        const auto any = netcore::socketAddress(INADDR_ANY, 0);
        EXPECT_EQ(bind(descriptor_.get(), netcore::generic(any), sizeof any), 0);
        number_ = netcore::boundPortOf(descriptor_.get());
    }
    std::uint16_t number() const { return number_; }
    std::string text() const { return std::to_string(number_); }
    std::string complaint() const { return "Netzwerkfehler: Port " + text() + " belegt: " + base::errnoText(EADDRINUSE); }
    void release() { descriptor_.reset(); }

private:
    base::FileDescriptor descriptor_;
    std::uint16_t number_ = 0;
};

/// capabilities(7): of the calling thread alone.
bool giveUp(unsigned capability) {
    __user_cap_header_struct header{.version = _LINUX_CAPABILITY_VERSION_3, .pid = 0};
    std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> sets{};
    if (syscall(SYS_capget, &header, sets.data()) != 0) return false;
    sets[CAP_TO_INDEX(capability)].effective &= ~CAP_TO_MASK(capability);
    return syscall(SYS_capset, &header, sets.data()) == 0;
}

}  // namespace

// Groups of universes

TEST(NetworkSockets, JoinsAUniverseOnEveryAdapterOnceTheSocketIsOpen) {
    if (!NetworkNamespace::enter()) return;
    const PeerHost peer;
    peer.connect("a1", "10.71.1.1/24", "b", "10.71.1.2/24");
    Sockets net;
    const NetworkSockets::Interfaces both = {having("127.0.0.1"), having("10.71.1.1")};
    net.sockets.joinUniverses({1, 900}, both, Wanted::byUser);
    EXPECT_EQ(joinedUniverses(), std::set<int>());
    EXPECT_TRUE(net.sockets.openSACN().empty());
    net.sockets.joinUniverses({1, 900}, both, Wanted::byUser);
    EXPECT_EQ(joinedUniverses("lo"), (std::set<int>{1, 900}));
    EXPECT_EQ(joinedUniverses("a1"), (std::set<int>{1, 900}));
}

TEST(NetworkSockets, JoinsWithTheNextCallWhatTheSystemRefused) {
    if (!NetworkNamespace::enter()) return;
    Sockets net;
    net.sockets.openSACN();
    const NetworkSockets::Interfaces later = {having("10.71.1.1")};
    net.sockets.joinUniverses({1}, later, Wanted::byUser);
    EXPECT_EQ(joinedUniverses(), std::set<int>()) << "nobody has the address yet";
    NetworkNamespace::shell("ip address add 10.71.1.1/24 dev lo");
    net.sockets.joinUniverses({1}, later, Wanted::byUser);
    EXPECT_EQ(joinedUniverses(), std::set<int>{1});

    if (!withoutSockets([&] { net.sockets.joinUniverses({2}, later, Wanted::byNetwork); }))
        GTEST_SKIP() << "this system does not take sockets away from a thread";
    EXPECT_EQ(joinedUniverses(), std::set<int>{1});
    net.sockets.joinUniverses({2}, later, Wanted::byNetwork);
    EXPECT_EQ(joinedUniverses(), (std::set<int>{1, 2}));
    EXPECT_EQ(net.sockets.refusedJoins(), 0U) << "counted is what is refused here, not what the system refused";
}

TEST(NetworkSockets, LimitsWhatTheNetworkSpeaksOfButNotWhatTheUserWants) {
    if (!NetworkNamespace::enter()) return;
    constexpr int most = NetworkSockets::mostUniverseJoins;
    Sockets net;
    net.sockets.openSACN();
    net.sockets.joinUniverses(range(1, most + 2), loopback, Wanted::byNetwork);
    EXPECT_EQ(joinedUniverses(), range(1, most));
    EXPECT_EQ(net.sockets.refusedJoins(), 2U);
    net.sockets.joinUniverses(range(1, most + 1), loopback, Wanted::byNetwork);
    EXPECT_EQ(net.sockets.refusedJoins(), 2U) << "the most at once, not once a second more";

    net.sockets.joinUniverses({60000}, loopback, Wanted::byUser);
    EXPECT_TRUE(joinedUniverses().contains(60000));
    for (const int universe : {1, 2}) net.sockets.leaveUniverse(universe, loopback);
    net.sockets.joinUniverses({most + 1, most + 2}, loopback, Wanted::byNetwork);
    EXPECT_TRUE(joinedUniverses().contains(most + 1)) << "there is room for one again";
    EXPECT_FALSE(joinedUniverses().contains(most + 2));
}

TEST(NetworkSockets, LeavesAUniverseOnTheGivenAdapters) {
    if (!NetworkNamespace::enter()) return;
    const PeerHost peer;
    peer.connect("a1", "10.71.1.1/24", "b", "10.71.1.2/24");
    Sockets net;
    net.sockets.leaveUniverse(1, loopback);
    net.sockets.openSACN();
    net.sockets.joinUniverses({1, 2}, {having("127.0.0.1"), having("10.71.1.1")}, Wanted::byUser);
    net.sockets.leaveUniverse(1, loopback);
    net.sockets.leaveUniverse(3, loopback);
    EXPECT_EQ(joinedUniverses("lo"), std::set<int>{2});
    EXPECT_EQ(joinedUniverses("a1"), (std::set<int>{1, 2}));
    net.sockets.joinUniverses({1}, loopback, Wanted::byUser);
    EXPECT_EQ(joinedUniverses("lo"), (std::set<int>{1, 2})) << "as if it had never been there";
}

TEST(NetworkSockets, LeavesAllWhenItClosesAndJoinsAnewWhenItOpensAgain) {
    if (!NetworkNamespace::enter()) return;
    Sockets net;
    const auto before = joinedGroups();
    for (int life = 1; life <= 2; ++life) {
        EXPECT_TRUE(net.sockets.openSACN().empty()) << life;
        EXPECT_TRUE(net.sockets.openMANet(loopback).empty()) << life;
        EXPECT_TRUE(net.sockets.openClocks(loopback).empty()) << life;
        net.sockets.joinUniverses({1, 2}, loopback, Wanted::byUser);
        EXPECT_EQ(joinedUniverses(), (std::set<int>{1, 2})) << life;
        net.sockets.close();
        EXPECT_EQ(joinedGroups(), before) << life;
        EXPECT_EQ(net.sockets.sacnPort(), std::nullopt);
    }
}

// The other sockets

TEST(NetworkSockets, JoinsTheGroupsOfConsolesAndClocks) {
    if (!NetworkNamespace::enter()) return;
    auto ports = anyPorts();
    ports.ma2 = {0};
    Sockets net(ports);
    auto expected = joinedGroups();
    for (const auto& groups : {netcore::MANet::ma3Groups(), netcore::MANet::ma2Groups()})
        for (const auto& group : groups) expected.insert("lo " + group);
    EXPECT_TRUE(net.sockets.openMANet(loopback).empty());
    EXPECT_EQ(joinedGroups(), expected);
    for (const auto* group : netcore::PTP::groups) expected.insert(std::string("lo ") + group);
    EXPECT_TRUE(net.sockets.openClocks(loopback).empty());
    EXPECT_EQ(joinedGroups(), expected);
}

TEST(NetworkSockets, OpensOnce) {
    Sockets net;
    EXPECT_EQ(net.sockets.artNetPort(), std::nullopt);
    EXPECT_EQ(net.sockets.receiveBuffer(), 0);
    EXPECT_TRUE(net.sockets.openArtNet().empty());
    EXPECT_TRUE(net.sockets.openSACN().empty());
    const auto artnet = net.sockets.artNetPort(), sacn = net.sockets.sacnPort();
    EXPECT_GT(artnet.value_or(0), 0);
    EXPECT_GT(sacn.value_or(0), 0);
    EXPECT_TRUE(net.sockets.openArtNet().empty());
    EXPECT_TRUE(net.sockets.openSACN().empty());
    EXPECT_EQ(net.sockets.artNetPort(), artnet);
    EXPECT_EQ(net.sockets.sacnPort(), sacn);
    EXPECT_GT(net.sockets.receiveBuffer(), 0);
    net.sockets.close();
    EXPECT_FALSE(net.sockets.artNetOpen());
    EXPECT_EQ(net.sockets.receiveBuffer(), 0);
}

TEST(NetworkSockets, TellsWhatIsTakenAndOpensTheRest) {
    TakenPort artnet, sacn, ma3, event;
    Sockets net({.artnet = artnet.number(),
                 .sacn = sacn.number(),
                 .ma3 = ma3.number(),
                 .ma2 = {0},
                 .ptpEvent = event.number(),
                 .ptpGeneral = 0});
    using Errors = NetworkSockets::Errors;
    EXPECT_EQ(net.sockets.openArtNet(), (Errors{{"artnet", "Art-Net: " + artnet.complaint()}}));
    EXPECT_EQ(net.sockets.openSACN(), (Errors{{"sacn", "sACN: " + sacn.complaint()}}));
    EXPECT_EQ(net.sockets.openMANet(loopback),
              (Errors{{"manet" + ma3.text(), "MA-Net3 (Port " + ma3.text() + "): " + ma3.complaint()}}));
    EXPECT_EQ(net.sockets.openClocks(loopback),
              (Errors{{"ptp" + event.text(), "PTP (Port " + event.text() + "): " + event.complaint()}}));
    for (auto* port : {&artnet, &sacn, &event}) port->release();
    EXPECT_TRUE(net.sockets.openArtNet().empty());
    EXPECT_TRUE(net.sockets.openSACN().empty());
    EXPECT_TRUE(net.sockets.openClocks(loopback).empty());
    EXPECT_EQ(net.sockets.artNetPort(), artnet.number());
    EXPECT_EQ(net.sockets.sacnPort(), sacn.number());
}

TEST(NetworkSockets, NamesTheRightThatIsMissingForClocks) {
    if (!NetworkNamespace::enter()) return;
    auto ports = anyPorts();
    ports.ptpEvent = 319;
    Sockets net(ports);
    NetworkSockets::Errors errors;
    std::thread([&] {
        EXPECT_TRUE(giveUp(CAP_NET_BIND_SERVICE));
        errors = net.sockets.openClocks(loopback);
    }).join();
    ASSERT_EQ(errors.size(), 1U) << "the free port needs no right";
    EXPECT_EQ(errors.front().second, "PTP (Port 319): Netzwerkfehler: Port 319 belegt: " + base::errnoText(EACCES) +
                                         " – dem Programm fehlt das Recht CAP_NET_BIND_SERVICE");
}

TEST(NetworkSockets, AnswersConsolesFromTheArtNetSocket) {
    if (!NetworkNamespace::enter()) return;
    Sockets net;
    net.intake->responder.configure(true, {1}, {{.name = "eth0", .address = "10.0.0.1"}}, {});
    netcore::UDPSocket console(netcore::ArtNet::port, "console");
    Inbox inbox;
    console.start(inbox.handler());
    for (int life = 1; life <= 2; ++life) {
        net.sockets.openArtNet();
        const auto port = net.sockets.artNetPort().value();
        const auto poll = netcore::ArtNet::pollPacket();
        // Each life asks as another console: one console is answered once a second.
        net.intake->packets.handleArtNet(
            {.data = poll, .source = 0x7F000000U + static_cast<std::uint32_t>(life), .time = datagrams::at(life)});
        const auto answers = inbox.waitFor(1);
        ASSERT_EQ(answers.size(), 1U) << life;
        EXPECT_EQ(answers.front().sourcePort, port) << life;
        EXPECT_TRUE(netcore::ArtNet::parsePollReply(answers.front().data)) << life;
        inbox.clear();
        net.sockets.close();
    }
}

}  // namespace kestrelyne
