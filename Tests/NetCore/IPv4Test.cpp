#include "NetCore/IPv4.hpp"

#include "NetCore/UDPPacket.hpp"

using namespace netcore;

TEST(IPv4, ReadsAndWritesDottedAddresses) {
    for (const auto& [text, number] : std::initializer_list<std::pair<const char*, std::uint32_t>>{
             {"0.0.0.0", 0}, {"10.0.0.1", 0x0A000001}, {"2.255.0.99", 0x02FF0063}, {"255.255.255.255", 0xFFFFFFFF}}) {
        EXPECT_EQ(ipToUInt32(text), number) << text;
        EXPECT_EQ(uint32ToIP(number), text);
    }
}

TEST(IPv4, RefusesWhatIsNoAddress) {
    for (const auto* text : {"",          "1",         "1.2.3",      "1.2.3.",    "1.2.3.4.", ".1.2.3.4", "1.2.3.4.5",
                             "1..3.4",    "256.0.0.1", "1.2.3.1000", "1.2.3.-4",  "1.2.3.+4", " 1.2.3.4", "1.2.3.4 ",
                             "1.2.3.4\n", "01.2.3.4",  "1.2.3.00",   "0x1.2.3.4", "::1",      "a.b.c.d"})
        EXPECT_EQ(ipToUInt32(text), std::nullopt) << text;
    EXPECT_EQ(ipToUInt32(std::string_view("1.2.3.4\0", 8)), std::nullopt);
}

TEST(UDPPacket, IsMadeFromAView) {
    const std::uint8_t bytes[] = {1, 2, 3};
    const base::Moment time{.wall = base::WallTime(base::nanoseconds(base::Seconds(5))), .steady = {}};
    UDPView view{
        .data = bytes, .source = 0x0A000002, .sourcePort = 6454, .interfaceIndex = 3, .time = time, .destination = 0x0A0000FF};
    const auto packet = view.packet();
    EXPECT_EQ(packet.data, (std::vector<std::uint8_t>{1, 2, 3}));
    EXPECT_EQ(packet.sourceIP, "10.0.0.2");
    EXPECT_EQ(packet.sourcePort, 6454);
    EXPECT_EQ(packet.interfaceIndex, 3U);
    EXPECT_EQ(packet.time.wall, time.wall);
    EXPECT_EQ(packet.destination, "10.0.0.255");
    view.destination = 0;
    EXPECT_EQ(view.packet().destination, "") << "the system did not say";
}
