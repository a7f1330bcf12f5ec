#include "NetCore/HardwareNames.hpp"

#include <fstream>

#include "NetCore/HardwareAddress.hpp"
#include "NetCore/HardwareAddressCache.hpp"
#include "Support/FakeClock.hpp"
#include "Support/TemporaryFolder.hpp"

using namespace netcore;
using namespace std::chrono_literals;

TEST(HardwareNames, PrefersWhatAPersonSaid) {
    AdapterFacts facts{.alias = "Stage left",
                       .usbProduct = "USB 10/100/1000 LAN",
                       .model = "RTL8153 Gigabit Ethernet Adapter",
                       .kind = "bridge",
                       .deviceType = "wlan",
                       .driver = "virtio_net"};
    for (const auto& [cleared, next] : std::initializer_list<std::pair<std::string AdapterFacts::*, std::optional<std::string>>>{
             {nullptr, "Stage left"},
             {&AdapterFacts::alias, "USB 10/100/1000 LAN"},
             {&AdapterFacts::usbProduct, "RTL8153 Gigabit Ethernet Adapter"},
             {&AdapterFacts::model, "Bridge"},
             {&AdapterFacts::kind, "Wi-Fi"},
             {&AdapterFacts::deviceType, "Virtio-Netzwerk"},
             {&AdapterFacts::driver, std::nullopt}}) {
        if (cleared != nullptr) (facts.*cleared).clear();
        EXPECT_EQ(hardwareName(facts), next);
    }
    facts.alias = "  ";
    facts.kind = "veth";
    facts.driver = "e1000e";
    EXPECT_EQ(hardwareName(facts), std::nullopt) << "words that say no more than the device name";
    facts.kind = "tun";
    EXPECT_EQ(hardwareName(facts), "VPN-Tunnel");
}

TEST(HardwareNames, FindsWhatTheSystemKnowsOfADevice) {
    const TemporaryFolder folder;
    const auto write = [&](const std::string& path, const std::string& text) {
        std::filesystem::create_directories((folder.path() / path).parent_path());
        std::ofstream(folder.path() / path) << text;
    };
    // A USB adapter, a wireless card, and one that is not hardware.
    write("devices/usb1/idVendor", "1d6b\n");
    write("devices/usb1/product", "xHCI Host Controller\n");
    write("devices/usb1/1-2/idVendor", "0bda\n");
    write("devices/usb1/1-2/product", "USB 10/100/1000 LAN\n");
    write("devices/usb1/1-2/1-2:1.0/modalias", "usb:v0BDAp8153d3000dc00dsc00dp00icFFiscFFip00in00\n");
    write("devices/pci/wlan/modalias", "pci:v00008086d00002723\n");
    write("class/wlan0/uevent", "DEVTYPE=wlan\nINTERFACE=wlan0\nIFINDEX=3\n");
    write("class/eth7/uevent", "INTERFACE=eth7\n");
    write("class/br0/uevent", "DEVTYPE=bridge\n");
    std::filesystem::create_directories(folder.path() / "drivers/iwlwifi");
    std::filesystem::create_symlink("../../devices/usb1/1-2/1-2:1.0", folder.path() / "class/eth7/device");
    std::filesystem::create_symlink("../../devices/pci/wlan", folder.path() / "class/wlan0/device");
    std::filesystem::create_symlink("../../../drivers/iwlwifi", folder.path() / "devices/pci/wlan/driver");
    const auto usb = readSysfsFacts(folder.path() / "class", "eth7");
    EXPECT_EQ(usb.usbProduct, "USB 10/100/1000 LAN");
    EXPECT_EQ(usb.modalias, "usb:v0BDAp8153d3000dc00dsc00dp00icFFiscFFip00in00");
    EXPECT_EQ(usb.deviceType, "");
    std::filesystem::remove(folder.path() / "devices/usb1/1-2/product");
    EXPECT_EQ(readSysfsFacts(folder.path() / "class", "eth7").usbProduct, "") << "not the hub it is plugged into";
    const auto wireless = readSysfsFacts(folder.path() / "class", "wlan0");
    EXPECT_EQ(wireless.usbProduct, "");
    EXPECT_EQ(wireless.deviceType, "wlan");
    EXPECT_EQ(wireless.driver, "iwlwifi");
    EXPECT_EQ(readSysfsFacts(folder.path() / "class", "br0").deviceType, "bridge");
    const auto absent = readSysfsFacts(folder.path() / "class", "gone");
    EXPECT_EQ(absent.usbProduct + absent.deviceType + absent.driver + absent.modalias, "");
}

TEST(HardwareNames, AreReadAnewAfterHalfAMinute) {
    FakeClock clock;
    int reads = 0;
    HardwareNameCache cache(clock, [&] { return HardwareNameCache::Names{{"eth0", std::to_string(++reads)}}; });
    EXPECT_EQ(cache.names({}).at("eth0"), "1");
    clock.advance(29.9s);
    EXPECT_EQ(cache.names({"eth0"}).at("eth0"), "1");
    clock.advance(0.1s);
    EXPECT_EQ(cache.names({}).at("eth0"), "2");
    EXPECT_EQ(cache.names({}).at("eth0"), "2");
}

TEST(HardwareNames, AreReadAnewAtOnceForAnAdapterThatIsNew) {
    FakeClock clock;
    int reads = 0;
    HardwareNameCache::Names system = {{"eth0", "A"}};
    HardwareNameCache cache(clock, [&] { return ++reads, system; });
    cache.names({"eth0", "veth1"});
    cache.names({"eth0", "veth1"});
    EXPECT_EQ(reads, 1) << "one that has no name is not read for again";
    system["eth1"] = "USB";
    EXPECT_EQ(cache.names({"eth0", "eth1"}).at("eth1"), "USB");
    cache.names({"eth0", "eth1"});
    cache.names({"veth1"});
    EXPECT_EQ(reads, 2) << "and it stays known that this one has none";
    clock.advance(30s);
    cache.names({"veth1"});
    EXPECT_EQ(reads, 3);
}

TEST(HardwareAddressCache, ForgetsAfterHalfAMinuteAndNeverRemembersThatThereIsNone) {
    FakeClock clock;
    int reads = 0;
    std::optional<std::vector<SystemLink>> system;
    HardwareAddressCache cache(clock, [&] { return ++reads, system; });
    const auto link = [](const std::string& device, std::uint8_t last) {
        SystemLink link{.device = device, .alias = {}, .kind = {}};
        if (last != 0) link.address = HardwareAddress{2, 0, 0, 0, 0, last};
        return link;
    };
    EXPECT_EQ(cache.address("eth0"), std::nullopt) << "nothing could be read";
    system = {link("eth0", 1), link("tun0", 0), link("eth1", 7)};
    EXPECT_EQ(cache.address("eth0"), (HardwareAddress{2, 0, 0, 0, 0, 1}));
    system = {link("eth0", 2), link("tun0", 3)};
    clock.advance(29.9s);
    EXPECT_EQ(cache.address("eth1"), (HardwareAddress{2, 0, 0, 0, 0, 7})) << "read together with the other";
    EXPECT_EQ(reads, 2);
    EXPECT_EQ(cache.address("tun0"), (HardwareAddress{2, 0, 0, 0, 0, 3})) << "it had none before";
    EXPECT_EQ(cache.address("eth1"), std::nullopt) << "gone";
    system = {link("eth0", 4)};
    clock.advance(30s);
    EXPECT_EQ(cache.address("eth0"), (HardwareAddress{2, 0, 0, 0, 0, 4}));
    system.reset();
    clock.advance(30s);
    EXPECT_EQ(cache.address("eth0"), (HardwareAddress{2, 0, 0, 0, 0, 4})) << "what was read last";
}

TEST(HardwareAddressCache, ReadsWithoutTheLock) {
    FakeClock clock;
    int depth = 0;
    HardwareAddressCache* inner = nullptr;
    HardwareAddressCache cache(clock, [&]() -> std::optional<std::vector<SystemLink>> {
        if (++depth == 1) inner->address("eth0");
        return std::vector<SystemLink>();
    });
    inner = &cache;
    EXPECT_EQ(cache.address("eth0"), std::nullopt) << "a second caller meanwhile would hang otherwise";
}

TEST(HardwareNames, AreReadWithoutTheLock) {
    FakeClock clock;
    int depth = 0;
    HardwareNameCache* inner = nullptr;
    HardwareNameCache cache(clock, [&]() -> HardwareNameCache::Names {
        if (++depth == 1) return inner->names({});
        return {{"eth0", "inner"}};
    });
    inner = &cache;
    EXPECT_EQ(cache.names({}).at("eth0"), "inner") << "a second caller meanwhile would hang otherwise";
}

TEST(HardwareAddress, ReadsAndWritesSixBytes) {
    EXPECT_EQ(parseHardwareAddress("0:1b:2C:3:4:5"), (HardwareAddress{0, 0x1B, 0x2C, 3, 4, 5}));
    EXPECT_EQ(hardwareAddressText({0, 0x1B, 0x2C, 3, 4, 5}), "00:1B:2C:03:04:05");
    for (const auto* text : {"", "1:2:3:4:5", "1:2:3:4:5:6:7", "1:2:3:4:5:", ":1:2:3:4:5", "1:2:3:4:5:6g", "1:2:3:4:5:006",
                             "1-2-3-4-5-6", "1:2:3:4:5:-6", "(incomplete)"})
        EXPECT_EQ(parseHardwareAddress(text), std::nullopt) << text;
    const std::uint8_t seven[7] = {};
    EXPECT_EQ(hardwareAddress(seven), std::nullopt);
    EXPECT_TRUE(isHost({0x02, 0, 0, 0, 0, 1}));
    EXPECT_FALSE(isHost({}));
    EXPECT_FALSE(isHost({0x01, 0, 0x5E, 0, 0, 1}));
    EXPECT_FALSE(isHost({0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}));
}
