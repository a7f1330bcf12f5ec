// The adapters of a network made for the test, and what happens to them.

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "Base/File.hpp"
#include "Base/SerialQueue.hpp"
#include "NetCore/ARPTable.hpp"
#include "NetCore/AdapterWatch.hpp"
#include "NetCore/NetInterface.hpp"
#include "NetCore/Ping.hpp"
#include "Support/NetworkNamespace.hpp"

using namespace netcore;
using namespace std::chrono_literals;

namespace {

void shell(const std::string& command) { NetworkNamespace::shell(command); }

// Waits in real time for what another thread or the system does.
bool seen(const std::function<bool()>& predicate, base::Seconds limit = 5s) {
    const auto end = base::SystemClock::shared().steadyNow() + base::nanoseconds(limit);
    while (!predicate()) {
        if (base::SystemClock::shared().steadyNow() > end) return false;
        std::this_thread::sleep_for(2ms);
    }
    return true;
}

}  // namespace

TEST(AdapterList, TellsEachAddressOfEachAdapterThatIsUp) {
    if (!NetworkNamespace::enter()) return;
    EXPECT_TRUE(NetInterface::list().empty()) << "loopback alone is none";
    shell("ip link add b2 type veth peer name a10");
    shell("ip link set dev a10 alias 'Stage left'; ip link set dev b2 up; ip link set dev a10 up");
    shell("ip address add 10.1.2.3/24 dev a10");  // without a broadcast address
    shell("ip address add 10.9.0.1/16 brd + dev a10 label a10:0");
    shell("ip address add 10.3.0.1/31 dev b2");
    shell("ip link add c1 type veth peer name c2; ip address add 10.4.0.1/24 dev c1");  // not up
    const auto list = NetInterface::list();
    ASSERT_EQ(list.size(), 3U);
    EXPECT_EQ(list[0].id(), "a10/10.1.2.3");
    EXPECT_EQ(list[0].broadcast, "10.1.2.255");
    EXPECT_EQ(list[0].netmask, "255.255.255.0");
    EXPECT_EQ(list[0].displayName, "Stage left");
    EXPECT_FALSE(list[0].isPointToPoint);
    EXPECT_EQ(list[1].id(), "a10/10.9.0.1");
    EXPECT_EQ(list[1].broadcast, "10.9.255.255");
    EXPECT_EQ(list[1].index, list[0].index);
    EXPECT_EQ(list[2].id(), "b2/10.3.0.1");
    EXPECT_EQ(list[2].broadcast, "");
    EXPECT_EQ(list[2].displayName, "b2") << "a cable of the computer's own has no other name";
    EXPECT_NE(list[2].index, list[0].index);
    EXPECT_NE(list[2].index, 0U);
}

TEST(AdapterList, TellsTheLinkOfEveryAdapter) {
    if (!NetworkNamespace::enter()) return;
    shell("ip link add v2 type veth peer name v10; ip link set dev v2 up; ip link set dev v10 up");
    shell("ip link add u1 type veth peer name u2; ip link set dev u1 up");
    shell("ip link add br0 type bridge");
    shell("ip address add 10.1.2.3/24 dev v10; ip address add 10.1.2.4/24 dev v10");
    ASSERT_TRUE(seen([] {
        const auto adapters = NetInterface::allAdapters();
        return adapters.size() == 5 && adapters[1].linkActive;
    }));
    const std::vector<NetInterface::Adapter> expected = {{.device = "v2", .name = "v2", .linkActive = true},
                                                         {.device = "v10", .name = "v10", .ipv4 = "10.1.2.3", .linkActive = true},
                                                         {.device = "br0", .name = "Bridge"},
                                                         {.device = "u1", .name = "u1"},
                                                         {.device = "u2", .name = "u2"}};
    EXPECT_EQ(NetInterface::allAdapters(), expected);
    shell("ip link set dev v2 down");
    EXPECT_TRUE(seen([] { return !NetInterface::allAdapters()[0].linkActive; })) << "the far end went down";
}

TEST(AdapterList, TellsATunnelAsSuch) {
    if (!NetworkNamespace::enter()) return;
    if (access("/dev/net/tun", R_OK | W_OK) != 0) GTEST_SKIP() << "no /dev/net/tun";
    shell(
        "ip tuntap add mode tun name t0; ip tuntap add mode tap name p0; ip address add 10.8.0.2/32 peer 10.8.0.1 dev t0; "
        "ip link set dev t0 up");
    const auto list = NetInterface::list();
    ASSERT_EQ(list.size(), 1U);
    EXPECT_TRUE(list[0].isPointToPoint);
    EXPECT_EQ(list[0].displayName, "VPN-Tunnel");
    EXPECT_EQ(NetInterface::macAddress("t0"), std::nullopt);
    EXPECT_EQ(NetInterface::hardwareNames().at("p0"), "TAP");
}

TEST(AdapterList, LooksUpHardwareAddresses) {
    if (!NetworkNamespace::enter()) return;
    shell("ip link add a1 address 02:00:00:00:0a:01 type veth peer name b1");
    using MAC = std::array<std::uint8_t, 6>;
    EXPECT_EQ(NetInterface::macAddress("a1"), (MAC{2, 0, 0, 0, 0x0A, 1}));
    EXPECT_EQ(NetInterface::macAddress("lo"), std::nullopt);
    EXPECT_EQ(NetInterface::macAddress("later"), std::nullopt);
    shell("ip link add later address 02:00:00:00:0a:02 type veth peer name later2");
    EXPECT_EQ(NetInterface::macAddress("later"), (MAC{2, 0, 0, 0, 0x0A, 2}));
}

TEST(AdapterList, KnowsTheNameOfANewAdapterAtOnce) {
    if (!NetworkNamespace::enter()) return;
    shell("ip link add a1 type veth peer name b1; ip link set dev a1 up; ip address add 10.1.0.1/24 dev a1");
    EXPECT_EQ(NetInterface::list()[0].displayName, "a1");
    shell("ip link add a2 type veth peer name b2; ip link set dev a2 alias 'Stage left' up; ip address add 10.2.0.1/24 dev a2");
    const auto list = NetInterface::read();
    ASSERT_TRUE(list);
    ASSERT_EQ(list->size(), 2U);
    EXPECT_EQ((*list)[1].displayName, "Stage left");
    EXPECT_EQ(*list, NetInterface::list());
}

TEST(ARPTable, HoldsThoseThatAnswered) {
    if (!NetworkNamespace::enter()) return;
    const PeerHost peer;
    peer.connect("a1", "10.71.1.1/24", "b", "10.71.1.2/24");
    peer.shell("ip link set dev b address 02:00:00:00:0b:0c");
    shell("ip neigh flush dev a1");
    EXPECT_EQ(readARPTable(), std::vector<ARPRow>());
    shell("ip neigh add 10.71.1.50 lladdr 02:00:00:00:00:50 dev a1 nud permanent");
    shell("ip neigh add 10.71.1.51 lladdr ff:ff:ff:ff:ff:ff dev a1 nud permanent");
    // One that answers, one that does not, and a group.
    EXPECT_TRUE(seen([] { return Ping::sweep({"10.71.1.2", "10.71.1.9", "224.0.0.1"}, 200ms)->contains("10.71.1.2"); }));
    const std::vector<ARPRow> expected = {{.ip = "10.71.1.2", .mac = "02:00:00:00:0B:0C", .device = "a1"},
                                          {.ip = "10.71.1.50", .mac = "02:00:00:00:00:50", .device = "a1"}};
    const auto sorted = [](std::optional<std::vector<ARPRow>> rows) {
        std::ranges::sort(*rows, {}, &ARPRow::ip);
        return *rows;
    };
    EXPECT_EQ(sorted(readARPTable()), expected);
    EXPECT_EQ(sorted(ARPTexts::parseProc(base::readFile("/proc/net/arp").value())), expected) << "the other way to the same";
}

TEST(AdapterWatch, TellsOnceOfChangesThatComeTogether) {
    if (!NetworkNamespace::enter()) return;
    shell("ip link add a1 type veth peer name a2; ip link set dev a1 up");
    const auto calls = std::make_shared<std::atomic<int>>(0);
    {
        const AdapterWatch watch([calls] { ++*calls; });
        std::this_thread::sleep_for(400ms);
        const int before = *calls;
        shell("for i in 1 2 3 4 5; do ip address add 10.1.0.$i/24 dev a1; done");
        EXPECT_TRUE(seen([&] { return *calls > before; })) << "addresses came";
        EXPECT_EQ(*calls, before + 1);
        shell("ip address del 10.1.0.5/24 dev a1");
        EXPECT_TRUE(seen([&] { return *calls > before + 1; })) << "an address went";
        shell("ip link del a1");
        EXPECT_TRUE(seen([&] { return *calls > before + 2; })) << "an adapter went";
        shell("ip link add a3 type veth peer name a4");
    }
    const int end = *calls;
    base::SerialQueue::joinEnded();
    EXPECT_EQ(*calls, end) << "destroyed within the 300 ms";
}
