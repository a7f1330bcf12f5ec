#include "NetCore/NetInterface.hpp"

using namespace netcore;

namespace {

constexpr std::string_view ports =
    "\n"
    "Hardware Port: USB 10/100/1000 LAN\nDevice: en7\nEthernet Address: 00:e0:4c:68:00:01\n\n"
    "Hardware Port: Wi-Fi\nDevice: en0\nEthernet Address: f0:18:98:00:00:01\n\n"
    "Hardware Port: USB 10/100/1000 LAN\nDevice: en10\nEthernet Address: 00:e0:4c:68:00:02\n\n"
    "VLAN Configurations\n===================\n";

constexpr std::string_view interfaces =
    "lo0: flags=8049<UP,LOOPBACK,RUNNING,MULTICAST> mtu 16384\n"
    "\tinet 127.0.0.1 netmask 0xff000000\n"
    "en0: flags=8863<UP,BROADCAST,SMART,RUNNING,SIMPLEX,MULTICAST> mtu 1500\n"
    "\tether f0:18:98:00:00:01\n"
    "\tinet6 fe80::1%en0 prefixlen 64 secured scopeid 0x4\n"
    "\tinet 192.168.1.20 netmask 0xffffff00 broadcast 192.168.1.255\n"
    "\tinet 10.0.0.20 netmask 0xffffff00 broadcast 10.0.0.255\n"
    "\tmedia: autoselect\n"
    "\tstatus: active\n"
    "en7: flags=8863<UP,BROADCAST,SMART,RUNNING,SIMPLEX,MULTICAST> mtu 1500\n"
    "        ether 00:e0:4c:68:00:01\n"
    "        status: inactive\r\n"
    "en10: flags=8863<UP> mtu 1500\n";

}  // namespace

TEST(AdapterTexts, ReadsTheNamesOfPorts) {
    EXPECT_EQ(
        AdapterTexts::parseHardwarePorts(ports),
        (std::map<std::string, std::string>{{"en0", "Wi-Fi"}, {"en10", "USB 10/100/1000 LAN"}, {"en7", "USB 10/100/1000 LAN"}}));
    EXPECT_TRUE(AdapterTexts::parseHardwarePorts("").empty());
    EXPECT_TRUE(AdapterTexts::parseHardwarePorts("Device: en0\n").empty()) << "no port before it";
    EXPECT_TRUE(AdapterTexts::parseHardwarePorts("Hardware Port: B\xFFhne\nDevice: en0\n").empty()) << "no text";
}

TEST(AdapterTexts, ReadsAddressAndLinkOfEachDevice) {
    const auto links = AdapterTexts::parseInterfaces(interfaces);
    const std::map<std::string, AdapterTexts::Link> expected = {{"lo0", {.ipv4 = "127.0.0.1", .linkActive = false}},
                                                                {"en0", {.ipv4 = "192.168.1.20", .linkActive = true}},
                                                                {"en7", {.ipv4 = std::nullopt, .linkActive = false}},
                                                                {"en10", {.ipv4 = std::nullopt, .linkActive = false}}};
    EXPECT_EQ(links, expected);
    EXPECT_TRUE(AdapterTexts::parseInterfaces("\tinet 10.0.0.1\nno device here\n").empty());
    EXPECT_TRUE(AdapterTexts::parseInterfaces("").empty());
}

TEST(AdapterTexts, ListsTheNamedAdaptersThoseWithALinkFirst) {
    const auto list = AdapterTexts::adapters(AdapterTexts::parseHardwarePorts(ports), AdapterTexts::parseInterfaces(interfaces));
    const std::vector<NetInterface::Adapter> expected = {
        {.device = "en0", .name = "Wi-Fi", .ipv4 = "192.168.1.20", .linkActive = true},
        {.device = "en7", .name = "USB 10/100/1000 LAN (en7)", .linkActive = false},
        {.device = "en10", .name = "USB 10/100/1000 LAN (en10)", .linkActive = false}};
    EXPECT_EQ(list, expected) << "no loopback, and en7 before en10";
    EXPECT_FALSE(AdapterTexts::adapters({{"en3", "A"}}, {})[0].linkActive) << "no link state seen";
}

TEST(AdapterTexts, ReadsTheHardwareAddress) {
    EXPECT_EQ(AdapterTexts::parseEther("en0: flags=1\n\toptions=400\n\tether f0:18:98:0:0:1 \n\tether 1:2:3:4:5:6\n"),
              (std::vector<std::uint8_t>{0xF0, 0x18, 0x98, 0, 0, 1}));
    for (const auto* text : {"", "\tinet 10.0.0.1\n", "\tether\n", "\tether \n", "\tether 1:2:3:4:5\n", "\tether 1:2:3:4:5:6:7\n",
                             "\tether 1:2:3:4:5:100\n", "\tether 1:2:3:4:5:g\n", "\tether 1:2:3:zz:5:6\n",
                             "\tether 1:2:3:zz:4:5:6\n", "\tether 1:2:3:100:4:5:6\n", "\tether 1:2::4:5:6\n"})
        EXPECT_TRUE(AdapterTexts::parseEther(text).empty()) << text;
}
