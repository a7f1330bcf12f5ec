#include "NetCore/ARPTable.hpp"

using namespace netcore;

TEST(ARPTexts, ReadsTheListingOfTheOtherPlatform) {
    const auto rows = ARPTexts::parseARP(
        "? (10.0.0.1) at 0:1b:2c:3:4:5 on en0 ifscope [ethernet]\n"
        "router.local (192.168.1.1) at f0:18:98:aa:bb:cc on en7 ifscope permanent [ethernet]\n"
        "? (10.0.0.9) at (incomplete) on en0 ifscope [ethernet]\n"
        "? (10.0.0.255) at ff:ff:ff:ff:ff:ff on en0 ifscope [ethernet]\n"
        "? (224.0.0.251) at 1:0:5e:0:0:fb on en0 ifscope permanent [ethernet]\n"
        "? (224.0.0.252) at 2:0:5e:0:0:fc on en0 ifscope permanent [ethernet]\n"
        "? (10.0.0.10) at 2:0:0:0:0:a on en10 [ethernet]");
    const std::vector<ARPRow> expected = {{.ip = "10.0.0.1", .mac = "00:1B:2C:03:04:05", .device = "en0"},
                                          {.ip = "192.168.1.1", .mac = "F0:18:98:AA:BB:CC", .device = "en7"},
                                          {.ip = "10.0.0.10", .mac = "02:00:00:00:00:0A", .device = "en10"}};
    EXPECT_EQ(rows, expected);
}

TEST(ARPTexts, PassesOverBrokenLines) {
    for (const auto* text :
         {"", "\n\n", "? (10.0.0.1 at 0:1:2:3:4:5 on en0", "? 10.0.0.1) at 0:1:2:3:4:5 on en0", ")( at 0:1:2:3:4:5 on en0",
          "? (10.0.0.1) at 0:1:2:3:4:5", "? (10.0.0.1) at 0:1:2:3:4:5 on", "? (10.0.0.1) on en0", "? (10.0.0.1) at",
          "? (x) at 0:1:2:3:4:5 on en0", "? (10.0.0.1) at 0:1:2:3:4 on en0", "? (10.0.0.1) at 0:0:0:0:0:0 on en0"})
        EXPECT_TRUE(ARPTexts::parseARP(text).empty()) << text;
}

TEST(ARPTexts, ReadsTheSystemsFile) {
    const auto rows = ARPTexts::parseProc(
        "IP address       HW type     Flags       HW address            Mask     Device\n"
        "10.71.1.2        0x1         0x2         02:00:00:00:0b:0c     *        a1\n"
        "10.71.1.9        0x1         0x0         00:00:00:00:00:00     *        a1\n"
        "10.71.1.8        0x1         0x0         02:00:00:00:00:08     *        a1\n"
        "10.71.1.50       0x1         0x6         02:00:00:00:00:50     *        a2\n"
        "10.71.1.51       0x1         0x2\n");
    const std::vector<ARPRow> expected = {{.ip = "10.71.1.2", .mac = "02:00:00:00:0B:0C", .device = "a1"},
                                          {.ip = "10.71.1.50", .mac = "02:00:00:00:00:50", .device = "a2"}};
    EXPECT_EQ(rows, expected);
}
