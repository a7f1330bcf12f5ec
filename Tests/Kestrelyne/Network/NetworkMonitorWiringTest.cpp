// How the monitor moves what hangs on it: the groups of universes when the system refuses, the watch over adapters, the answers to
// consoles.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include "Base/FileDescriptor.hpp"
#include "Kestrelyne/Network/Datagrams.hpp"
#include "Kestrelyne/Network/JoinedGroups.hpp"
#include "Kestrelyne/Network/MonitorBench.hpp"
#include "NetCore/ArtNetPoll.hpp"
#include "Support/NetworkNamespace.hpp"

namespace kestrelyne {

using namespace std::chrono_literals;

namespace {

constexpr int discoveryUniverse = 64214;

/// Only so many descriptors are left to this process.
class FewDescriptors {
public:
    explicit FewDescriptors(std::size_t left) {
        getrlimit(RLIMIT_NOFILE, &old_);
        const rlimit fewer{.rlim_cur = 256, .rlim_max = old_.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &fewer), 0);
        for (;;) {
            base::FileDescriptor place(open("/dev/null", O_RDONLY | O_CLOEXEC));
            if (!place) break;
            taken_.push_back(std::move(place));
        }
        EXPECT_GE(taken_.size(), left);
        taken_.resize(taken_.size() - left);
    }
    FewDescriptors(const FewDescriptors&) = delete;
    FewDescriptors& operator=(const FewDescriptors&) = delete;
    ~FewDescriptors() { setrlimit(RLIMIT_NOFILE, &old_); }

private:
    rlimit old_{};
    std::vector<base::FileDescriptor> taken_;
};

class NetworkMonitorWiring : public testing::Test, protected MonitorBench {
protected:
    void setInterfaces(std::vector<netcore::NetInterface> list) {
        const base::Lock lock(mutex);
        interfaces = std::move(list);
    }
    void change(void (*edit)(NetConfig&)) {
        auto config = *monitor->config();
        edit(config);
        monitor->setConfig(std::move(config));
    }
};

std::set<int> range(int first, int last) {
    std::set<int> numbers;
    for (int number = first; number <= last; ++number) numbers.insert(numbers.end(), number);
    return numbers;
}

}  // namespace

// Groups of universes

TEST_F(NetworkMonitorWiring, JoinsDiscoveryFirstThenTheUsersListThenWhatTheNetworkSpeaksOf) {
    if (!NetworkNamespace::enter()) return;
    settings.setBlob("network.v1", R"({"sacnUniverses":"100-399"})");
    make().start();
    const auto discovery = datagrams::discovery(1, "Pult", 0, {5, 6});
    monitor->intake().packets.handleSACN(view(discovery, "10.0.0.9", 5568));
    monitor->refreshPackets();
    EXPECT_EQ(joinedUniverses(), std::set<int>()) << "no adapter has the address";

    NetworkNamespace::shell("ip address add 10.0.0.1/24 dev lo");
    {
        // Twenty groups hang on one descriptor, and each attempt needs another one for a moment.
        const FewDescriptors few(4);
        monitor->refreshPackets();
    }
    auto joined = joinedUniverses();
    EXPECT_EQ(joined.erase(discoveryUniverse), 1U);
    ASSERT_FALSE(joined.empty());
    EXPECT_LT(joined.size(), 300U);
    EXPECT_EQ(joined, range(100, 99 + static_cast<int>(joined.size())));

    // The rest a second later.
    time.advance(1s);
    auto all = range(100, 399);
    all.insert({5, 6, discoveryUniverse});
    EXPECT_EQ(joinedUniverses(), all);
}

TEST_F(NetworkMonitorWiring, KeepsTheUsersUniversesWhenTheNetworkSpeaksOfTooMany) {
    if (!NetworkNamespace::enter()) return;
    constexpr int most = NetworkSockets::mostUniverseJoins;
    interfaces = {adapter("lo", 1, "127.0.0.1")};
    // Four spans of 1,025 are beyond the limit by themselves.
    settings.setBlob("network.v1", R"({"sacnUniverses":"1-1025,2001-3025,4001-5025,6001-7025"})");
    make().start();
    const auto discovery = datagrams::discovery(1, "Pult", 0, {8000, 8001});
    monitor->intake().packets.handleSACN(view(discovery, "10.0.0.9", 5568));
    monitor->refreshPackets();
    const auto joined = joinedUniverses();
    EXPECT_EQ(joined.size(), 4U * 1025 + 1);
    EXPECT_GT(joined.size(), static_cast<std::size_t>(most));
    EXPECT_FALSE(joined.contains(8000));
    EXPECT_EQ(monitor->health().refused, 2U);
    EXPECT_EQ(
        count("warning: Zu viele Absender im Netz: Was über die Grenzen der Überwachung hinausgeht, wird nicht mehr aufgenommen."),
        1u);
    // A shorter list makes room.
    change([](NetConfig& config) { config.sacnUniverses = "1-16"; });
    monitor->refreshPackets();
    auto expected = range(1, 16);
    expected.insert({8000, 8001, discoveryUniverse});
    EXPECT_EQ(joinedUniverses(), expected);
}

// The watch over adapters

TEST_F(NetworkMonitorWiring, LooksAtTheAdaptersWhenTheSystemTellsOfAChange) {
    if (!NetworkNamespace::enter()) return;
    watchAdapters = true;
    settings.setBlob("network.v1", R"({"interfaces":["none7"]})");
    make().start();
    // One listing of the start, one of the first look at the neighbours.
    ASSERT_TRUE(time.runUntilSeen([this] { return listings == 2; }));
    int addresses = 1;
    const auto tellOfAChange = [&] {
        NetworkNamespace::shell("ip address add 127.0.1." + std::to_string(addresses++) + "/32 dev lo");
    };
    std::vector<std::string> expected = {"info: Überwachung gestartet auf Adapter none7 10.0.0.0/24"};

    tellOfAChange();
    ASSERT_TRUE(time.runUntilSeen([this] { return listings == 3; })) << "long before the half minute is over";
    const auto unused = adapter("none9", 9, "10.9.0.1");
    setInterfaces({adapter("none7", 7, "10.0.0.1"), unused});
    tellOfAChange();
    ASSERT_TRUE(time.runUntil([&] { return lines().size() > expected.size(); }));
    expected.push_back("info: Adapter verfügbar: Adapter none9 10.9.0.1 (10.9.0.0/24)");
    EXPECT_EQ(lines(), expected) << "nothing in use has changed: no new start";
    EXPECT_EQ(listings, 4);

    setInterfaces({adapter("none7", 7, "10.0.0.2"), unused});
    tellOfAChange();
    ASSERT_TRUE(time.runUntil([&] { return lines().size() >= expected.size() + 4; }));
    for (const auto* line :
         {"info: Adapter verfügbar: Adapter none7 10.0.0.2 (10.0.0.0/24)", "warning: Adapter weg: Adapter none7 10.0.0.1",
          "info: Überwachung gestoppt", "info: Überwachung gestartet auf Adapter none7 10.0.0.0/24"})
        expected.emplace_back(line);
    EXPECT_EQ(lines(), expected);

    // The new start watches again.
    setInterfaces({adapter("none7", 7, "10.0.0.2")});
    tellOfAChange();
    ASSERT_TRUE(time.runUntil([&] { return lines().size() > expected.size(); }));
    expected.emplace_back("warning: Adapter weg: Adapter none9 10.9.0.1");
    EXPECT_EQ(lines(), expected);
}

TEST_F(NetworkMonitorWiring, LooksAgainWhenAChangeIsToldDuringTheLook) {
    if (!NetworkNamespace::enter()) return;
    watchAdapters = true;
    make().start();
    ASSERT_TRUE(time.runUntilSeen([this] { return listings == 2; }));
    {
        // The system takes long to answer; meanwhile the next change is told, about 300 ms after it has happened.
        const base::Lock lock(mutex);
        NetworkNamespace::shell("ip address add 127.0.1.1/32 dev lo");
        ASSERT_TRUE(time.runUntilSeen([this] { return listings == 3; }));
        NetworkNamespace::shell("ip address add 127.0.1.2/32 dev lo");
        EXPECT_FALSE(time.runUntilSeen([this] { return listings > 3; }, 700ms)) << "one look at a time";
    }
    EXPECT_TRUE(time.runUntilSeen([this] { return listings == 4; }));
}

// Answers to consoles

TEST_F(NetworkMonitorWiring, AnswersConsolesForTheOutputsOfAllNodesWhileItIsAskedTo) {
    seams.patchUniverses = [] { return std::set<int>{0x55}; };
    make().start();
    std::set<int> told;
    std::set<std::string> addresses;
    monitor->intake().responder.setSend([&](base::Bytes packet, const std::string& to) {
        const auto reply = netcore::ArtNet::parsePollReply(packet).value();
        for (const auto& port : reply.ports) told.insert(port.universe);
        addresses.insert(reply.ip + " to " + to);
    });
    const auto answersTo = [&](const std::string& console) {
        told.clear();
        addresses.clear();
        // A second until the settings count, and until a console is answered again.
        time.advance(1s);
        const auto poll = netcore::ArtNet::pollPacket();
        monitor->intake().packets.handleArtNet(view(poll, console));
        return told;
    };
    const auto node = [this](const std::string& ip, int subNet, const std::vector<int>& universes) {
        const auto reply =
            netcore::ArtNet::pollReplyPacket({.ip = ip, .shortName = "Node", .subNet = subNet, .universes = universes});
        monitor->intake().packets.handleArtNet(view(reply, ip));
    };
    node("10.0.0.50", 0, {1, 2});
    EXPECT_EQ(answersTo("10.0.0.9"), std::set<int>()) << "only who is asked to answers";

    change([](NetConfig& config) { config.artnetSubscribe = true; });
    EXPECT_EQ(answersTo("10.0.0.9"), (std::set<int>{1, 2, 0x55}));
    EXPECT_EQ(addresses, std::set<std::string>{"10.0.0.1 to 10.0.0.9"});
    node("10.0.0.51", 2, {0x22, 0x23});
    EXPECT_EQ(answersTo("10.0.0.9"), (std::set<int>{1, 2, 0x22, 0x23, 0x55}));
    EXPECT_EQ(answersTo("10.0.0.1"), std::set<int>()) << "this computer";

    change([](NetConfig& config) { config.artnetSubscribe = false; });
    EXPECT_EQ(answersTo("10.0.0.9"), std::set<int>());
}

TEST_F(NetworkMonitorWiring, AnswersConsolesOnTheAdaptersForLightingAlone) {
    interfaces = {adapter("none7", 7, "10.0.0.1"), adapter("none8", 8, "10.8.0.1")};
    settings.setBlob("network.v1", R"({"artnetSubscribe":true,"interfaceRoles":{"none7":"Switche / Management"}})");
    seams.patchUniverses = [] { return std::set<int>{1}; };
    make().start();
    std::vector<std::string> addresses;
    monitor->intake().responder.setSend([&addresses](base::Bytes packet, const std::string&) {
        addresses.push_back(netcore::ArtNet::parsePollReply(packet).value().ip);
    });
    monitor->refreshPackets();
    const auto poll = netcore::ArtNet::pollPacket();
    monitor->intake().packets.handleArtNet(view(poll, "10.0.0.9"));
    EXPECT_EQ(addresses, std::vector<std::string>{"10.8.0.1"}) << "although the console shares the other one's network";
}

}  // namespace kestrelyne
