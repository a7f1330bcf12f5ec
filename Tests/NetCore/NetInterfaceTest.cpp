#include "NetCore/NetInterface.hpp"

#include "NetCore/AdapterEntry.hpp"

using namespace netcore;

namespace {
NetInterface withAddress(std::string address, std::string netmask) {
    NetInterface interface;
    interface.name = "eth0";
    interface.address = std::move(address);
    interface.netmask = std::move(netmask);
    return interface;
}
}  // namespace

TEST(NetInterface, KnowsItsSubnet) {
    for (const auto& [address, mask, subnet] : std::initializer_list<std::array<const char*, 3>>{
             {"10.1.2.3", "255.255.255.0", "10.1.2.0/24"},
             {"2.11.22.33", "255.0.0.0", "2.0.0.0/8"},
             {"10.0.0.1", "255.255.255.255", "10.0.0.1/32"},
             {"10.0.0.1", "0.0.0.0", "0.0.0.0/0"},
             {"10.1.2.3", "255.0.255.0", "10.0.2.0/16"},  // with a gap: the bits are counted all the same
             {"10.1.2.3", "", "10.1.2.3"},
             {"fe80::1", "255.255.255.0", "fe80::1"}})
        EXPECT_EQ(withAddress(address, mask).subnet(), subnet) << address << " " << mask;
}

TEST(NetInterface, HoldsTheAddressesOfItsSubnet) {
    const auto interface = withAddress("10.1.2.3", "255.255.255.0");
    EXPECT_TRUE(interface.contains("10.1.2.3"));
    EXPECT_TRUE(interface.contains("10.1.2.255"));
    EXPECT_FALSE(interface.contains("10.1.3.1"));
    EXPECT_FALSE(interface.contains("no address"));
    EXPECT_FALSE(interface.contains(""));
    EXPECT_FALSE(withAddress("", "255.255.255.0").contains("10.1.2.3"));
    EXPECT_FALSE(withAddress("10.1.2.3", "x").contains("10.1.2.3"));
}

TEST(NetInterface, FindsTheFirstForAnAddress) {
    const std::vector<NetInterface> list = {withAddress("10.1.2.3", "255.255.255.0"), withAddress("10.1.0.1", "255.255.0.0")};
    EXPECT_EQ(NetInterface::interfaceFor("10.1.2.9", list), &list[0]);
    EXPECT_EQ(NetInterface::interfaceFor("10.1.9.9", list), &list[1]);
    EXPECT_EQ(NetInterface::interfaceFor("10.2.0.1", list), nullptr);
    EXPECT_EQ(NetInterface::interfaceFor("10.1.2.9", {}), nullptr);
}

TEST(NetInterface, IsToldApartByAdapterAndAddress) {
    auto one = withAddress("10.0.0.2", "255.255.255.0"), other = withAddress("10.0.0.3", "255.255.255.0");
    EXPECT_EQ(one.id(), "eth0/10.0.0.2");
    EXPECT_NE(one.id(), other.id());
    EXPECT_NE(one, other);
    other = one;
    EXPECT_EQ(one, other);
    other.displayName = "Stage left";
    EXPECT_NE(one, other) << "every field counts";
}

TEST(NetInterface, BracketsTheDeviceWhereTwoAdaptersAreCalledTheSame) {
    const std::map<std::string, std::string> names = {{"en5", "USB LAN"}, {"en7", "USB LAN"}, {"en0", "Wi-Fi"}};
    EXPECT_EQ(NetInterface::uniqueName("en5", names), "USB LAN (en5)");
    EXPECT_EQ(NetInterface::uniqueName("en7", names), "USB LAN (en7)");
    EXPECT_EQ(NetInterface::uniqueName("en0", names), "Wi-Fi");
    EXPECT_EQ(NetInterface::uniqueName("utun3", names), "utun3") << "without a name";
}

TEST(AdapterEntry, FillsInWhatTheSystemLeavesOut) {
    struct Row {
        AdapterEntry entry;
        std::string netmask, broadcast;
    };
    for (const auto& [entry, netmask, broadcast] : {
             Row{{.device = "a", .address = "10.1.2.3"}, "255.255.255.0", "10.1.2.255"},
             Row{{.device = "a",
             .address = "10.1.2.3",
             .netmask = "255.255.0.0",
             .broadcast = "10.1.255.255",
             .canBroadcast = true},
                 "255.255.0.0",
                 "10.1.255.255"},
             Row{{.device = "a", .address = "10.1.2.3", .netmask = "255.255.0.0", .broadcast = "10.1.0.99", .canBroadcast = true},
                 "255.255.0.0",
                 "10.1.0.99"},
             // Added without a broadcast address: Linux reports the own one.
             Row{{.device = "a", .address = "10.1.2.3", .netmask = "255.255.0.0", .broadcast = "10.1.2.3", .canBroadcast = true},
                 "255.255.0.0",
                 "10.1.255.255"},
             // The far end of a tunnel stands where others have their broadcast address.
             Row{{.device = "t",
             .address = "10.8.0.2",
             .netmask = "255.255.255.0",
             .broadcast = "10.8.0.1",
             .isPointToPoint = true},
                 "255.255.255.0",
                 "10.8.0.255"},
             Row{{.device = "a", .address = "10.1.2.3", .netmask = "255.255.255.252"}, "255.255.255.252", "10.1.2.3"},
             Row{{.device = "a", .address = "10.1.2.2", .netmask = "255.255.255.254"}, "255.255.255.254", ""},
             Row{{.device = "a", .address = "10.1.2.3", .netmask = "255.255.255.255"}, "255.255.255.255", ""},
         }) {
        const auto interface = interfaceOf(entry, 7);
        EXPECT_EQ(interface.netmask, netmask) << entry.address;
        EXPECT_EQ(interface.broadcast, broadcast) << entry.address << " " << netmask;
        EXPECT_EQ(interface.isPointToPoint, entry.isPointToPoint);
        EXPECT_EQ(interface.index, 7U);
        EXPECT_EQ(interface.displayName, entry.device);
    }
    EXPECT_EQ(deviceOfLabel("eth0:1"), "eth0");
    EXPECT_EQ(deviceOfLabel("eth0"), "eth0");
}
