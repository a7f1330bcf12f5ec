#include "Kestrelyne/Network/NetworkMonitor.hpp"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <fstream>

#include "Base/FileDescriptor.hpp"
#include "MonitorBench.hpp"
#include "NetCore/ArtNetPoll.hpp"
#include "NetCore/ArtNetTimeCode.hpp"
#include "Support/TemporaryFolder.hpp"

namespace kestrelyne {

using namespace std::chrono_literals;
using testing::Test;

namespace {

NetDevice device(const std::string& name, const std::string& ip) {
    NetDevice device;
    device.name = name;
    device.ip = ip;
    return device;
}

/// A capture file with one Ethernet frame, or with none (pcap-savefile(5)).
void writeCapture(const std::filesystem::path& path, const std::vector<std::uint8_t>& frame) {
    const std::array<std::uint32_t, 6> header = {0xA1B2C3D4, 2 | 4 << 16, 0, 0, 65535, 1};
    const auto size = static_cast<std::uint32_t>(frame.size());
    const std::array<std::uint32_t, 4> record = {0, 0, size, size};
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(header.data()), sizeof header);
    if (frame.empty()) return;
    file.write(reinterpret_cast<const char*>(record.data()), sizeof record);
    file.write(reinterpret_cast<const char*>(frame.data()), static_cast<std::streamsize>(frame.size()));
}

class NetworkMonitorTest : public Test, protected MonitorBench {
protected:
    /// Time passes; what the pool does meanwhile is waited for.
    void pass(base::Seconds seconds) {
        for (double rest = seconds.count(); rest > 0; rest -= 0.5) {
            time.advance(base::Seconds(std::min(rest, 0.5)));
            settle();
        }
    }
    void settle() {
        bool done = false;
        // The pool has two threads: both are free when two functions have met.
        const base::Task task("settle", [](base::BackgroundPool& pool, bool& done) -> base::Co<> {
            co_await pool.run([] {});
            done = true;
        }(*pool, done));
        EXPECT_TRUE(time.runUntil([&done] { return done; }));
        time.runTurns();
    }
};

TEST_F(NetworkMonitorTest, TellsOnWhichAdaptersItWatches) {
    interfaces = {adapter("none7", 7, "10.0.0.1"), adapter("none8", 8, "192.168.5.2")};
    make().start();
    EXPECT_TRUE(*monitor->isRunning());
    EXPECT_EQ(lines(), std::vector<std::string>(
                           {"info: Überwachung gestartet auf Adapter none7 10.0.0.0/24, Adapter none8 192.168.5.0/24"}));
    EXPECT_EQ(monitor->events()->front().source, "Netzwerk");
}

TEST_F(NetworkMonitorTest, StartsOnce) {
    make().start();
    const auto port = monitor->artNetPort();
    monitor->start();
    EXPECT_EQ(monitor->artNetPort(), port);
    EXPECT_EQ(lines().size(), 1u);
}

TEST_F(NetworkMonitorTest, KeepsThePictureWhenItStops) {
    make().start();
    artDmx(1, "10.0.0.5");
    monitor->refreshPackets();
    monitor->stop();
    EXPECT_FALSE(*monitor->isRunning());
    EXPECT_EQ(monitor->lighting().universes()->size(), 1u);
    EXPECT_EQ(lines().back(), "info: Überwachung gestoppt");
    EXPECT_EQ(monitor->artNetPort(), std::nullopt);
    monitor->stop();
    EXPECT_EQ(count("info: Überwachung gestoppt"), 1u);
}

TEST_F(NetworkMonitorTest, StartsByItselfWhenTheSettingsSaySo) {
    settings.setBlob("network.v1", R"({"autoStart":true})");
    EXPECT_TRUE(*make().isRunning());
}

TEST_F(NetworkMonitorTest, TakesTheDefaultsForSettingsThatAreNone) {
    settings.setBlob("network.v1", R"({"tempLimit":"heiß"})");
    EXPECT_EQ(*make().config(), NetConfig());
    EXPECT_FALSE(*monitor->isRunning());
}

TEST_F(NetworkMonitorTest, SaysWhichPortIsTakenAndRunsWithTheRest) {
    const base::FileDescriptor other(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    ASSERT_EQ(bind(other.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    socklen_t length = sizeof address;
    ASSERT_EQ(getsockname(other.get(), reinterpret_cast<sockaddr*>(&address), &length), 0);
    ports.artnet = ntohs(address.sin_port);

    make().start();
    ASSERT_EQ(monitor->errors()->size(), 1u);
    const auto start = "Art-Net: Netzwerkfehler: Port " + std::to_string(ports.artnet) + " belegt: ";
    EXPECT_TRUE(monitor->errors()->front().starts_with(start)) << monitor->errors()->front();
    EXPECT_TRUE(*monitor->isRunning());
    EXPECT_NE(monitor->sacnPort(), std::nullopt);
    // It does not come back by itself; the next start tries again.
    pass(35s);
    EXPECT_EQ(monitor->errors()->size(), 1u);
}

TEST_F(NetworkMonitorTest, HearsWhatArrivesOnItsSockets) {
    make().start();
    const netcore::UDPSender sender;
    const std::vector<std::uint8_t> data(512, 9);
    const auto bytes = netcore::DMXPackets::artDmx(0x123, 1, data);
    ASSERT_TRUE(sender.send(bytes, "127.0.0.1", *monitor->artNetPort()));
    ASSERT_TRUE(time.runUntilSeen([this] { return !monitor->dmxSources({NetProtocol::artnet, 0x123}).empty(); }));
    const auto sources = monitor->dmxSources({NetProtocol::artnet, 0x123});
    EXPECT_EQ(sources.front().ip, "127.0.0.1");
    EXPECT_EQ(sources.front().data, data);
}

TEST_F(NetworkMonitorTest, KeepsTheNewest500Events) {
    make();
    for (int i = 1; i <= 501; ++i) monitor->log(NetEvent::Level::info, std::to_string(i), "Netzwerk");
    EXPECT_EQ(monitor->events()->size(), 500u);
    EXPECT_EQ(monitor->events()->front().text, "501");
    EXPECT_EQ(monitor->events()->back().text, "2");
}

TEST_F(NetworkMonitorTest, HandsEveryEventToTheRecordAndAlarmsToTheNotifier) {
    std::vector<std::string> recorded, pushed;
    outlets.record = [&](const std::string& source, std::string_view level, const std::string& text) {
        recorded.push_back(source + "/" + std::string(level) + "/" + text);
    };
    outlets.notifier.push = [&](const Notifier::PushMessage& message) {
        pushed.push_back(message.title + "/" + message.body + (message.isAlarm ? "/alarm" : ""));
    };
    make();
    monitor->log(NetEvent::Level::info, "eins", "Netzwerk");
    monitor->log(NetEvent::Level::warning, "zwei", "Strom");
    monitor->alarm("drei", "Strom");
    auto config = *monitor->config();
    config.notify = false;
    monitor->setConfig(config);
    monitor->alarm("vier", "Netzwerk");
    EXPECT_EQ(recorded,
              std::vector<std::string>({"Netzwerk/Info/eins", "Strom/Warnung/zwei", "Strom/Alarm/drei", "Netzwerk/Alarm/vier"}));
    EXPECT_EQ(pushed, std::vector<std::string>({"Strom/drei/alarm"}));
}

TEST_F(NetworkMonitorTest, RaisesAConflictOnceAndClearsItOnce) {
    make().start();
    const auto alarm = "alarm: Konflikt auf Art-Net-Universum 1 (0:0:1): mehrere Quellen gleicher Priorität (10.0.0.6, 10.0.0.5)";
    const auto behoben = "info: Konflikt auf Art-Net-Universum 1 (0:0:1) behoben";
    for (int second = 0; second < 5; ++second) {
        artDmx(1, "10.0.0.5");
        artDmx(1, "10.0.0.6");
        time.advance(1s);
    }
    EXPECT_EQ(count(alarm), 1u) << testing::PrintToString(lines());
    for (int second = 0; second < 10; ++second) {
        artDmx(1, "10.0.0.5");
        time.advance(1s);
    }
    EXPECT_EQ(count(alarm), 1u);
    EXPECT_EQ(count(behoben), 1u);
    EXPECT_EQ(count("warning: Quelle verloren: Art-Net 1 · 10.0.0.6 (10.0.0.6)"), 1u);
    // The silent one stays listed for a minute in all.
    EXPECT_EQ(monitor->lighting().universes()->front().sources.size(), 2u);
    for (int second = 0; second < 55; ++second) {
        artDmx(1, "10.0.0.5");
        time.advance(1s);
    }
    EXPECT_EQ(monitor->lighting().universes()->front().sources.size(), 1u);
}

TEST_F(NetworkMonitorTest, CountsRatesOverTheTimeThatHasReallyPassed) {
    make();
    monitor->refreshPackets();
    for (int i = 0; i < 88; ++i) artDmx(1, "10.0.0.5");
    time.clock().advance(2s);
    monitor->refreshPackets();
    EXPECT_DOUBLE_EQ(monitor->lighting().universes()->front().sources.front().fps, 44);
    // Two refreshes in a row count over a fifth of a second.
    for (int i = 0; i < 2; ++i) artDmx(1, "10.0.0.5");
    time.clock().advance(50ms);
    monitor->refreshPackets();
    EXPECT_DOUBLE_EQ(monitor->lighting().universes()->front().sources.front().fps, 10);
}

TEST_F(NetworkMonitorTest, LosesNothingByARestart) {
    make().start();
    artDmx(1, "10.0.0.5");
    monitor->stop();
    monitor->start();
    monitor->refreshPackets();
    EXPECT_EQ(monitor->lighting().universes()->size(), 1u);
}

TEST_F(NetworkMonitorTest, ShowsNodesButNotItself) {
    make();
    const std::vector<int> universes = {1};
    const auto own = netcore::ArtNet::pollReplyPacket({.ip = "10.0.0.1", .shortName = "ich", .universes = universes});
    const auto node = netcore::ArtNet::pollReplyPacket({.ip = "10.0.0.50", .shortName = "Node", .universes = universes});
    interfaces = {adapter("none7", 7, "10.0.0.1")};
    monitor->start();
    monitor->intake().packets.handleArtNet(view(own, "10.0.0.1"));
    monitor->intake().packets.handleArtNet(view(node, "10.0.0.50"));
    monitor->refreshPackets();
    ASSERT_EQ(monitor->lighting().artNodes()->size(), 1u);
    EXPECT_EQ(count("info: Art-Net-Node gefunden: Node (10.0.0.50)"), 1u);
    EXPECT_EQ(count("info: Art-Net-Node gefunden: ich (10.0.0.1)"), 0u);
    EXPECT_TRUE(monitor->nodeOutputActive(1));
    EXPECT_FALSE(monitor->nodeOutputActive(2));
    EXPECT_EQ(monitor->displayName("10.0.0.50"), "Node");
}

TEST_F(NetworkMonitorTest, KnowsADeviceByItsName) {
    make();
    artDmx(1, "10.0.0.5");
    monitor->upsert(device("Pult", "10.0.0.5"));
    EXPECT_EQ(monitor->displayName("10.0.0.5"), "Pult");
    EXPECT_EQ(monitor->dmxSources({NetProtocol::artnet, 1}).front().name, "Pult");
    EXPECT_TRUE(monitor->isMonitored("10.0.0.5"));
    EXPECT_FALSE(monitor->isMonitored("10.0.0.6"));
    monitor->remove(monitor->config()->devices.front().id);
    EXPECT_EQ(monitor->displayName("10.0.0.5"), "10.0.0.5");
}

TEST_F(NetworkMonitorTest, AUPSOfThisComputerNamesNothingElseOfIt) {
    make();
    auto ups = device("USV", "127.0.0.1");
    ups.role = NetDeviceRole::ups;
    monitor->upsert(ups);
    EXPECT_EQ(monitor->displayName("127.0.0.1"), "127.0.0.1");
    monitor->upsert(device("Ich", "127.0.0.1"));
    EXPECT_EQ(monitor->displayName("127.0.0.1"), "Ich");
}

TEST_F(NetworkMonitorTest, NamesASourceWithoutADevice) {
    make();
    sacn(5, "AAAAAAAAAAAAAAAA", "Pult A", 100);
    monitor->refreshPackets();
    EXPECT_EQ(monitor->displayName("10.0.0.9"), "Pult A");
}

TEST_F(NetworkMonitorTest, StartsTheStateOfAChangedDeviceAnew) {
    make().start();
    auto pult = device("Pult", "10.0.0.5");
    monitor->upsert(pult);
    answers = netcore::Ping::Answers{{"10.0.0.5", 0.001}};
    pass(2s);
    ASSERT_NE(monitor->reachability().state(pult.id), nullptr);
    EXPECT_EQ(monitor->reachability().state(pult.id)->online, true);
    pult.name = "Pult 1";
    monitor->upsert(pult);
    EXPECT_EQ(monitor->reachability().state(pult.id), nullptr);
    EXPECT_EQ(monitor->config()->devices.size(), 1u);
    // The stored settings know of it.
    EXPECT_EQ(decodeNetConfig(*settings.blob("network.v1")).devices.front().name, "Pult 1");
}

TEST_F(NetworkMonitorTest, JudgesNoDeviceWithoutTheRightToPing) {
    make().start();
    const auto pult = device("Pult", "10.0.0.5");
    monitor->upsert(pult);
    answers.reset();
    pass(5s);
    EXPECT_EQ(monitor->reachability().state(pult.id), nullptr);
    EXPECT_EQ(count("warning: Pult (10.0.0.5) nicht erreichbar"), 0u);
    answers.emplace();
    pass(3s);
    ASSERT_NE(monitor->reachability().state(pult.id), nullptr);
    EXPECT_EQ(monitor->reachability().state(pult.id)->online, false);
    EXPECT_EQ(count("warning: Pult (10.0.0.5) nicht erreichbar"), 1u);
}

TEST_F(NetworkMonitorTest, PingsAnAddressOnceForTwoDevices) {
    make().start();
    monitor->upsert(device("Pult", "10.0.0.5"));
    monitor->upsert(device("Pult-Backup", "10.0.0.5"));
    monitor->upsert(device("Node", "10.0.0.6"));
    answers = netcore::Ping::Answers{{"10.0.0.5", 0.001}};
    pass(3s);
    {
        const base::Lock lock(mutex);
        EXPECT_EQ(swept, std::vector<std::string>({"10.0.0.5", "10.0.0.6"}));
        EXPECT_DOUBLE_EQ(sweepTimeout.count(), 0.8);
    }
    for (const auto& device : monitor->config()->devices)
        EXPECT_EQ(monitor->reachability().state(device.id)->online, device.ip == "10.0.0.5") << device.name;
}

TEST_F(NetworkMonitorTest, TellsAStormOfLinesInOneChangeOfTheLog) {
    make();
    for (int i = 0; i < 600; ++i) artDmx(i, "10.0.0.5");
    int changes = 0;
    const auto subscription = monitor->events().observe([&changes] { ++changes; });
    monitor->refreshPackets();
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(monitor->events()->size(), 500u);
    EXPECT_EQ(monitor->events()->front().text, "Quelle aktiv: Art-Net 599 · 10.0.0.5 (10.0.0.5)");
}

TEST_F(NetworkMonitorTest, SendsAStormOfAlarmsNotWhole) {
    int pushed = 0;
    outlets.notifier.push = [&pushed](const Notifier::PushMessage&) { ++pushed; };
    make();
    for (int i = 0; i < 50; ++i) {
        artDmx(i, "10.0.0.5");
        artDmx(i, "10.0.0.6");
    }
    monitor->refreshPackets();
    EXPECT_EQ(pushed, 20);
    EXPECT_EQ(std::ranges::count(*monitor->events(), NetEvent::Level::alarm, &NetEvent::level), 50);
}

TEST_F(NetworkMonitorTest, FollowsAnAdapterThatWasMadeAnew) {
    make().start();
    interfaces.front().index = 70;
    monitor->checkInterfaceChanges();
    EXPECT_EQ(count("info: Überwachung gestoppt"), 1u);
    EXPECT_EQ(count("warning: Adapter weg: Adapter none7 10.0.0.1"), 0u);
    EXPECT_EQ(monitor->adapters().nameOf(70), "Adapter none7 (10.0.0.0/24)");
}

TEST_F(NetworkMonitorTest, LosesNoAdapterWhenTheSystemDoesNotAnswer) {
    make().start();
    noInterfaces = true;
    pass(31s);
    EXPECT_EQ(lines().size(), 1u) << testing::PrintToString(lines());
}

TEST_F(NetworkMonitorTest, ShowsTheAddressOfANodeWithoutAName) {
    make();
    const std::vector<int> universes = {1};
    const auto node = netcore::ArtNet::pollReplyPacket({.ip = "10.0.0.50", .universes = universes});
    monitor->intake().packets.handleArtNet(view(node, "10.0.0.50"));
    monitor->refreshPackets();
    EXPECT_EQ(monitor->displayName("10.0.0.50"), "10.0.0.50");
}

TEST_F(NetworkMonitorTest, TakesItsOwnPollsForNoConsole) {
    make().start();
    const auto poll = netcore::ArtNet::pollPacket();
    monitor->intake().packets.handleArtNet(view(poll, "10.0.0.1", monitor->senderPort()));
    monitor->refreshPackets();
    EXPECT_TRUE(monitor->consoles().controllers()->empty());
    // A console program on this computer sends from another port.
    monitor->intake().packets.handleArtNet(view(poll, "10.0.0.1", 6454));
    monitor->refreshPackets();
    EXPECT_EQ(count("info: Art-Net-Controller erkannt: 10.0.0.1 (10.0.0.1)"), 1u);
}

TEST_F(NetworkMonitorTest, HearsNoOtherComputerWhereItMayNot) {
    // What arrives from 127.0.0.0/8 is our own; the sender of this test has another address only where the machine has one.
    loopbackOnly = true;
    make().start();
    const netcore::UDPSender sender;
    const std::vector<std::uint8_t> data(512, 9);
    const auto others = netcore::NetInterface::list();
    if (others.empty()) GTEST_SKIP() << "this computer has no address beside the loopback one";
    sender.send(netcore::DMXPackets::artDmx(1, 1, data), others.front().address, *monitor->artNetPort());
    sender.send(netcore::DMXPackets::artDmx(2, 1, data), "127.0.0.1", *monitor->artNetPort());
    ASSERT_TRUE(time.runUntilSeen([this] { return !monitor->dmxSources({NetProtocol::artnet, 2}).empty(); }));
    EXPECT_TRUE(monitor->dmxSources({NetProtocol::artnet, 1}).empty());
}

TEST_F(NetworkMonitorTest, TellsOfAnUnusedAdapterWithoutStartingAnew) {
    make();
    auto config = *monitor->config();
    config.interfaces = {"none7"};
    monitor->setConfig(config);
    monitor->start();
    interfaces.push_back(adapter("none9", 9, "10.9.0.1"));
    monitor->checkInterfaceChanges();
    interfaces.pop_back();
    monitor->checkInterfaceChanges();
    EXPECT_EQ(lines(), std::vector<std::string>({"info: Überwachung gestartet auf Adapter none7 10.0.0.0/24",
                                                 "info: Adapter verfügbar: Adapter none9 10.9.0.1 (10.9.0.0/24)",
                                                 "warning: Adapter weg: Adapter none9 10.9.0.1"}));
}

TEST_F(NetworkMonitorTest, StartsAnewWhenAnAdapterInUseComesOrGoes) {
    make().start();
    interfaces.push_back(adapter("none9", 9, "10.9.0.1"));
    pass(31s);  // it looks every half minute
    EXPECT_EQ(lines(), std::vector<std::string>(
                           {"info: Überwachung gestartet auf Adapter none7 10.0.0.0/24",
                            "info: Adapter verfügbar: Adapter none9 10.9.0.1 (10.9.0.0/24)", "info: Überwachung gestoppt",
                            "info: Überwachung gestartet auf Adapter none7 10.0.0.0/24, Adapter none9 10.9.0.0/24"}));
    // It goes on watching.
    artDmx(1, "10.0.0.5");
    pass(2s);
    EXPECT_EQ(monitor->lighting().universes()->size(), 1u);
}

TEST_F(NetworkMonitorTest, WarnsOnceWhenNothingCanBeCaptured) {
    capture = true;
    make().start();
    const auto warning =
        "warning: ARP/IGMP-Mitschnitt nicht möglich – dafür braucht der Benutzer BPF-Zugriff (Wireshark-Paket „ChmodBPF“). ARP "
        "wird "
        "ersatzweise aus der Systemtabelle gelesen.";
    EXPECT_EQ(count(warning), 1u);
    pass(65s);  // tried again twice
    EXPECT_EQ(count(warning), 1u);
    ASSERT_EQ(monitor->queriers().igmp()->size(), 1u);
    const auto& error = monitor->queriers().igmp()->front().error;
    ASSERT_TRUE(error);
    EXPECT_TRUE(error->starts_with("Netzwerkfehler: Mitschnitt auf none7 nicht möglich: ")) << *error;
}

TEST_F(NetworkMonitorTest, PlaysAFileInsteadOfAnAdapter) {
    // One ARP answer: 10.0.0.66 is at 02:00:00:00:00:42 (pcap-savefile(5)).
    const TemporaryFolder folder;
    const auto path = folder.path() / "arp.pcap";
    const std::vector<std::uint8_t> frame = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 2, 0, 0, 0, 0,  0x42, 0x08, 0x06,  // Ethernet
                                             0,    1,    8,    0,    6,    4,    0, 2, 2, 0, 0,  0,    0,    0x42,
                                             10,   0,    0,    66,   2,    0,    0, 0, 0, 1, 10, 0,    0,    1};
    writeCapture(path, frame);
    settings.setText("debug.captureFile", path.string());
    make().start();
    ASSERT_TRUE(time.runUntilSeen([this] {
        monitor->refreshPackets();
        return monitor->addresses().byMAC("02:00:00:00:00:42") != nullptr;
    }));
    EXPECT_EQ(monitor->addresses().byMAC("02:00:00:00:00:42")->ip, "10.0.0.66");
}

TEST_F(NetworkMonitorTest, ReadsTheNeighboursOfTheAdaptersInUse) {
    neighbours = {{"10.0.0.5", "02:00:00:00:00:05", "none7"}, {"10.4.0.5", "02:00:00:00:00:06", "other"}};
    make().start();
    pass(1s);
    EXPECT_NE(monitor->addresses().byMAC("02:00:00:00:00:05"), nullptr);
    EXPECT_EQ(monitor->addresses().byMAC("02:00:00:00:00:06"), nullptr);
}

TEST_F(NetworkMonitorTest, KeepsAndForgetsTheKnownDevices) {
    neighbours = {{"10.0.0.5", "02:00:00:00:00:05", "none7"}};
    make().start();
    pass(1s);
    monitor->markKnown(*monitor->addresses().arpTable());
    EXPECT_EQ(monitor->config()->knownMACs, (std::map<std::string, std::string>{{"02:00:00:00:00:05", "1781978401"}}));
    monitor->forgetKnown();
    EXPECT_TRUE(monitor->config()->knownMACs.empty());
    EXPECT_TRUE(decodeNetConfig(*settings.blob("network.v1")).knownMACs.empty());
}

TEST_F(NetworkMonitorTest, NamesAClockByTheDeviceWithItsHardwareAddress) {
    neighbours = {{"10.0.0.5", "02:00:00:00:00:05", "none7"}, {"10.0.0.6", "02:00:00:00:00:06", "none7"}};
    make().start();
    pass(1s);
    monitor->upsert(device("Stagebox", "10.0.0.5"));
    EXPECT_EQ(monitor->ptpClockName("02:00:00:00:00:05"), "Stagebox");
    EXPECT_EQ(monitor->ptpClockName("02:00:00:ff:fe:00:00:05"), "Stagebox");
    EXPECT_EQ(monitor->ptpClockName("02:00:00:00:00:06"), "02:00:00:00:00:06");
    EXPECT_EQ(monitor->ptpClockName("02:00:00:00:00:07"), "02:00:00:00:00:07");
}

TEST_F(NetworkMonitorTest, FollowsTimecodeTenTimesASecond) {
    make().start();
    netcore::ArtNet::TimeCode code{.hours = 1, .minutes = 2, .seconds = 3, .frames = 4, .type = 1};
    monitor->intake().extras.handleTimecode("10.0.0.5", code, now());
    time.advance(100ms);
    ASSERT_EQ(monitor->timecode().list()->size(), 1u);
    EXPECT_EQ(count("info: Timecode-Quelle: 10.0.0.5 (10.0.0.5)"), 1u);
    code.frames = 5;
    monitor->intake().extras.handleTimecode("10.0.0.5", code, now());
    time.advance(100ms);
    EXPECT_EQ(monitor->timecode().list()->front().code.frames, 5);
    time.advance(31s);
    EXPECT_TRUE(monitor->timecode().list()->empty());
    EXPECT_EQ(count("warning: Timecode von 10.0.0.5 (10.0.0.5) verloren"), 1u);
}

TEST_F(NetworkMonitorTest, TakesTheLimitOfQueriersFromTheSettings) {
    const TemporaryFolder folder;
    const auto path = (folder.path() / "empty.pcap").string();
    writeCapture(path, {});
    settings.setText("debug.captureFile", path);
    settings.setText("debug.igmpTimeout", "20");
    make().start();
    monitor->intake().extras.handleCapture(
        path, {.frame = netcore::IGMPReport{.host = "10.0.0.5", .groups = {"239.255.0.1"}}, .time = now()});
    time.advance(20s);
    EXPECT_EQ(lines().size(), 1u) << testing::PrintToString(lines());
    time.advance(2s);
    EXPECT_EQ(count("alarm: Kein IGMP-Querier auf " + path +
                    " seit 21 s – bei aktivem IGMP-Snooping kann sACN/Dante-Multicast ausfallen"),
              1u)
        << testing::PrintToString(lines());
}

TEST_F(NetworkMonitorTest, TakesOverANewListOfUniverses) {
    interfaces = {adapter("lo", 1, "127.0.0.1")};
    make().start();
    auto config = *monitor->config();
    config.sacnUniverses = "900";
    monitor->setConfig(config);
    const auto group = [this](const std::string& address) {
        const netcore::UDPSender sender;
        const std::vector<std::uint8_t> data(512, 1), cid(16, 1);
        const auto bytes = netcore::DMXPackets::sacn({.universe = 900, .data = data, .cid = cid, .sourceName = "A"});
        return sender.send(bytes, address, *monitor->sacnPort(), 1);
    };
    if (!group("239.255.3.132")) GTEST_SKIP() << "the loopback adapter takes no multicast here";
    EXPECT_TRUE(time.runUntilSeen([this] { return !monitor->dmxSources({NetProtocol::sacn, 900}).empty(); }));
    EXPECT_EQ(count("info: Überwachung gestoppt"), 0u);
}

TEST_F(NetworkMonitorTest, StartsAnewForOtherAdapters) {
    make().start();
    auto config = *monitor->config();
    config.interfaceRoles["none7"] = "Audio / Video (Dante, AES67, NDI)";
    monitor->setConfig(config);
    EXPECT_EQ(count("info: Überwachung gestoppt"), 1u);
    EXPECT_TRUE(*monitor->isRunning());
}

TEST_F(NetworkMonitorTest, SaysOnceThatThereAreTooManySenders) {
    make();
    for (int i = 0; i < 100; ++i) artDmx(1, "10.0.1." + std::to_string(i));
    monitor->refreshPackets();
    monitor->refreshPackets();
    EXPECT_GT(monitor->health().refused, 0u);
    EXPECT_EQ(
        count("warning: Zu viele Absender im Netz: Was über die Grenzen der Überwachung hinausgeht, wird nicht mehr aufgenommen."),
        1u);
}

TEST_F(NetworkMonitorTest, ForgetsLightingWithoutAWord) {
    make();
    artDmx(1, "10.0.0.5");
    artDmx(1, "10.0.0.6");
    monitor->refreshPackets();
    const auto before = lines();
    monitor->clearLightingData();
    EXPECT_TRUE(monitor->lighting().universes()->empty());
    monitor->refreshPackets();
    EXPECT_EQ(lines(), before);
    // It begins anew: the same conflict is told again.
    artDmx(1, "10.0.0.5");
    artDmx(1, "10.0.0.6");
    monitor->refreshPackets();
    EXPECT_EQ(count(before.front()), 2u);
}

TEST_F(NetworkMonitorTest, ForgetsTheNetworkWithItsEvents) {
    neighbours = {{"10.0.0.5", "02:00:00:00:00:05", "none7"}};
    make().start();
    monitor->upsert(device("Pult", "10.0.0.5"));
    pass(3s);
    monitor->clearNetworkData();
    EXPECT_TRUE(monitor->events()->empty());
    EXPECT_TRUE(monitor->addresses().arpTable()->empty());
    EXPECT_TRUE(monitor->reachability().states()->empty());
}

}  // namespace

}  // namespace kestrelyne
