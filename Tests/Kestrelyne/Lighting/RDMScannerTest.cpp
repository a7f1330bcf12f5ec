#include "Kestrelyne/Lighting/RDMScanner.hpp"

#include "Kestrelyne/Lighting/RDMRig.hpp"

namespace kestrelyne {

namespace {

using Level = NetEvent::Level;
using namespace std::chrono_literals;

constexpr UID a{0x7FF0, 0x0000ABCD}, b{0x1234, 0x00000002};

std::uint16_t code(PID pid) { return static_cast<std::uint16_t>(pid); }

class RDMScannerTest : public RDMRig {
protected:
    /// A spot with a sensor for temperature, which answers all that a scan asks.
    RDMFake& spot(const UID& uid, const std::string& ip = "10.0.0.1", int universe = 1) {
        auto& spot = fake(uid, ip, universe);
        spot.info(16, 101, 1, 1, 2);
        spot.put(PID::manufacturerLabel, bytesOf("Maker"));
        spot.put(PID::modelDescription, bytesOf("Spot 300"));
        spot.put(PID::deviceLabel, bytesOf("Front 1"));
        spot.put(PID::softwareVersionLabel, bytesOf("1.2.3"));
        spot.put(PID::deviceHours, {0, 0, 1, 0});
        spot.put(PID::lampHours, {0, 0, 0, 9});
        spot.put(PID::identify, {0});
        spot.sensor(0, 1, 1, 800, "Kopf");
        spot.sensorValue(0, 455);
        return spot;
    }
    const RDMDeviceState& read(const UID& uid) const { return *scanner_.device(uid); }
};

// The scan

TEST_F(RDMScannerTest, WithoutANodeNothingIsSent) {
    nodes_.clear();
    scan();
    EXPECT_EQ(*scanner_.progress(), "Keine Art-Net-Nodes gefunden – läuft die Netzwerküberwachung?");
    EXPECT_FALSE(*scanner_.isScanning());
    EXPECT_FALSE(scanner_.lastScan().get());
    EXPECT_TRUE(sent_.empty());
}

TEST_F(RDMScannerTest, NodesAreGivenTimeThenAskedForEachUniverse) {
    nodes_ = {{.ip = "10.0.0.1", .name = "A", .universes = {1, 0x123}},
              {.ip = "10.0.0.2", .name = "B", .universes = {}},
              {.ip = "10.0.0.3", .name = "C", .universes = {1}},
              {.ip = "10.0.0.1", .name = "A", .universes = {1}}};
    const auto begun = loop_.clock().now();
    const base::Task task("scan", scanner_.scan());
    loop_.runTurns();
    EXPECT_TRUE(*scanner_.isScanning());
    EXPECT_EQ(*scanner_.progress(), "Frage Gerätelisten von 4 Nodes ab …");
    loop_.advance(1.9s);
    EXPECT_TRUE(sent_.empty());
    loop_.advance(0.2s);
    ASSERT_EQ(sent_.size(), 3u);
    EXPECT_EQ(sent_[0].ip, "10.0.0.1");
    EXPECT_EQ(sent_[1].ip, "10.0.0.1");
    EXPECT_EQ(sent_[2].ip, "10.0.0.3");
    const auto second = netcore::ArtNet::todRequest(0x123);
    EXPECT_EQ(sent_[1].packet, Octets(second.begin(), second.end()));
    loop_.advance(2s);
    EXPECT_FALSE(*scanner_.isScanning());
    EXPECT_EQ(*scanner_.progress(), "");
    EXPECT_EQ(lines_, (std::vector<Line>{{Level::info, "RDM-Scan: 0 Geräte an 4 Nodes"}}));
    EXPECT_EQ(scanner_.lastScan().get(), begun + 4s);
}

TEST_F(RDMScannerTest, NodesThatComeWhileItWaitsAreAsked) {
    const base::Task task("scan", scanner_.scan());
    loop_.advance(1s);
    nodes_.push_back({.ip = "10.0.0.2", .name = "B", .universes = {2}});
    loop_.advance(5s);
    ASSERT_EQ(sent_.size(), 2u);
    EXPECT_EQ(sent_[1].ip, "10.0.0.2");
}

TEST_F(RDMScannerTest, ADeviceIsReadWholeInOrder) {
    spot(a);
    scan();
    EXPECT_EQ(asked(), (std::vector<std::uint16_t>{0x0060, 0x0081, 0x0080, 0x0082, 0x00C0, 0x0200, 0x0400, 0x0401, 0x0201}));
    ASSERT_EQ(scanner_.devices()->size(), 1u);
    const auto& device = read(a);
    EXPECT_EQ(device.nodeIP, "10.0.0.1");
    EXPECT_EQ(device.nodeName, "Node");
    EXPECT_EQ(device.universe, 1);
    EXPECT_EQ(device.manufacturer, "Maker");
    EXPECT_EQ(device.model, "Spot 300");
    EXPECT_EQ(device.label, "Front 1");
    EXPECT_EQ(device.software, "1.2.3");
    EXPECT_EQ(device.info->footprint, 16);
    EXPECT_EQ(device.info->startAddress, 101);
    EXPECT_EQ(device.deviceHours, 256u);
    EXPECT_EQ(device.lampHours, 9u);
    ASSERT_EQ(device.sensors.size(), 1u);
    EXPECT_EQ(device.sensors[0].name, "Kopf");
    EXPECT_DOUBLE_EQ(device.sensors[0].value.value(), 45.5);
    EXPECT_TRUE(device.responding);
    EXPECT_FALSE(device.supported);
    EXPECT_FALSE(device.supports(PID::lampState));
    EXPECT_EQ(texts(Level::info), std::vector<std::string>{"RDM-Scan: 1 Geräte an 1 Nodes"});
}

TEST_F(RDMScannerTest, EachRequestHasTheNextTransactionAndGoesToTheDevicesNode) {
    nodes_ = {{.ip = "10.0.0.7", .name = "N", .universes = {0x2A5}}};
    spot(a, "10.0.0.7", 0x2A5);
    scan();
    const auto all = commands();
    for (std::size_t i = 0; i < all.size(); ++i) EXPECT_EQ(all[i].transaction, i + 1);
    EXPECT_EQ(sent_.back().ip, "10.0.0.7");
    EXPECT_EQ(netcore::ArtNet::parseRdm(sent_.back().packet)->universe, 0x2A5);
    EXPECT_EQ(all[5].data, Octets{0});
}

TEST_F(RDMScannerTest, TheListFillsWhileTheScanRuns) {
    nodes_[0].universes = {1, 2};
    spot(a);
    spot(b, "10.0.0.1", 2).silent = true;
    const base::Task task("scan", scanner_.scan());
    loop_.advance(4.5s);
    EXPECT_EQ(scanner_.devices()->size(), 1u);
    EXPECT_EQ(*scanner_.progress(), "Lese Gerät 2 von 2 (1234:00000002) …");
    loop_.advance(20s);
    EXPECT_EQ(scanner_.devices()->size(), 2u);
    EXPECT_FALSE(*scanner_.isScanning());
}

TEST_F(RDMScannerTest, ADeviceThatTwoUniversesNameIsReadOnceAtTheFirst) {
    nodes_ = {{.ip = "10.0.0.1", .name = "A", .universes = {5, 6}}, {.ip = "10.0.0.2", .name = "B", .universes = {5}}};
    spot(a, "10.0.0.1", 6);
    fake(a, "10.0.0.2", 5);
    scan();
    EXPECT_EQ(count(PID::manufacturerLabel), 1u);
    EXPECT_EQ(read(a).nodeName, "A");
    EXPECT_EQ(read(a).universe, 6);
    EXPECT_EQ(texts(Level::info), std::vector<std::string>{"RDM-Scan: 1 Geräte an 2 Nodes"});
}

TEST_F(RDMScannerTest, ASecondScanAtTheSameTimeReturnsAtOnce) {
    const base::Task first("scan", scanner_.scan());
    loop_.advance(1s);
    base::Task second("scan", scanner_.scan());
    loop_.runTurns();
    EXPECT_FALSE(second.running());
    EXPECT_TRUE(*scanner_.isScanning());
    loop_.advance(10s);
    EXPECT_EQ(sent_.size(), 1u);
    EXPECT_EQ(lines_.size(), 1u);
}

TEST_F(RDMScannerTest, AScanOfItsOwnRunsOnceAtATime) {
    spot(a);
    scanner_.startScan();
    EXPECT_TRUE(*scanner_.isScanning()) << "for whoever asks at once";
    scanner_.startScan();
    loop_.advance(1s);
    EXPECT_TRUE(*scanner_.isScanning());
    scanner_.startScan();
    loop_.advance(9s);
    EXPECT_FALSE(*scanner_.isScanning());
    EXPECT_EQ(lines_.size(), 1u);
    EXPECT_EQ(scanner_.devices()->size(), 1u);
}

TEST_F(RDMScannerTest, ACancelledScanIsOver) {
    spot(a).silent = true;
    base::Task task("scan", scanner_.scan());
    loop_.advance(4.5s);
    EXPECT_TRUE(*scanner_.isScanning());
    EXPECT_EQ(scanner_.transport()->waiting(), 1u);
    task.cancel();
    EXPECT_FALSE(*scanner_.isScanning());
    EXPECT_EQ(*scanner_.progress(), "");
    EXPECT_EQ(scanner_.transport()->waiting(), 0u);
    scan();
    EXPECT_EQ(scanner_.devices()->size(), 1u);
}

TEST_F(RDMScannerTest, AScanReplacesWhatItKnewOfADevice) {
    auto& device = spot(a);
    spot(b);
    device.put(PID::supportedParameters, {0x10, 0x00});
    scan();
    finish(scanner_.loadSettings(a));
    EXPECT_TRUE(scanner_.settingsLoaded(a));
    device.put(PID::deviceLabel, bytesOf("Front 2"));
    scan();
    EXPECT_EQ(scanner_.devices()->size(), 2u);
    EXPECT_EQ(read(a).label, "Front 2");
    EXPECT_FALSE(read(a).supported);
    EXPECT_FALSE(scanner_.settingsLoaded(a));
}

TEST_F(RDMScannerTest, TheListTellsOnceForEachDevice) {
    spot(a);
    spot(b);
    int told = 0;
    const auto subscription = scanner_.devices().observe([&] { ++told; });
    scan();
    EXPECT_EQ(told, 2);
}

TEST_F(RDMScannerTest, ClearingTheListWhileAScanReadsIsSafe) {
    spot(b);
    auto& second = spot(a);
    second.instead = [this](const RDMCommand& command) -> std::optional<RDMFake::Reply> {
        if (command.pid == code(PID::lampHours)) scanner_.clearDevices();
        return std::nullopt;
    };
    scan();
    EXPECT_EQ(scanner_.devices()->size(), 1u);
    EXPECT_FALSE(*scanner_.isScanning());
}

// Answers that are missing

TEST_F(RDMScannerTest, ASilentDeviceIsAskedTwiceForEachParameterAndDoesNotRespond) {
    spot(a).silent = true;
    const auto begun = loop_.clock().steadyNow();
    scan();
    // deviceInfo, four labels, deviceHours, deviceInfo once more, lampHours.
    EXPECT_EQ(asked(), (std::vector<std::uint16_t>{0x60, 0x60, 0x81, 0x81, 0x80, 0x80, 0x82, 0x82, 0xC0, 0xC0, 0x400, 0x400, 0x60,
                                                   0x60, 0x401, 0x401}));
    EXPECT_NEAR(std::chrono::duration<double>(loop_.clock().steadyNow() - begun).count(), 4 + 8 * 1.6, 0.11);
    EXPECT_FALSE(read(a).responding);
    EXPECT_FALSE(read(a).info);
    EXPECT_EQ(read(a).displayName(), "");
}

TEST_F(RDMScannerTest, AMissingAnswerLeavesItsFieldEmptyAndTheReadGoesOn) {
    auto& device = spot(a);
    device.instead = [](const RDMCommand& command) -> std::optional<RDMFake::Reply> {
        if (command.pid == code(PID::manufacturerLabel)) return RDMFake::Reply{.type = netcore::RDM::nack, .data = {0, 0}};
        if (command.pid == code(PID::modelDescription)) return RDMFake::Reply{.type = netcore::RDM::ackTimer, .data = {0, 10}};
        if (command.pid == code(PID::softwareVersionLabel))
            return RDMFake::Reply{.type = netcore::RDM::ackOverflow, .data = bytesOf("x")};
        if (command.pid == code(PID::deviceHours)) return RDMFake::Reply{.data = {0, 0, 0, 1}, .pid = 0x0401};
        if (command.pid == code(PID::lampHours)) return RDMFake::Reply{.data = {0, 0, 1}};
        return std::nullopt;
    };
    scan();
    EXPECT_EQ(read(a).manufacturer, "");
    EXPECT_EQ(read(a).model, "");
    EXPECT_EQ(read(a).software, "");
    EXPECT_FALSE(read(a).deviceHours);
    EXPECT_FALSE(read(a).lampHours);
    EXPECT_EQ(read(a).label, "Front 1");
    EXPECT_TRUE(read(a).responding);
    // An answer of another kind is an answer: it is not asked again.
    EXPECT_EQ(count(PID::manufacturerLabel), 1u);
    EXPECT_EQ(count(PID::modelDescription), 1u);
    EXPECT_EQ(count(PID::deviceHours), 1u);
}

TEST_F(RDMScannerTest, ALateAnswerIsDroppedAndTheSecondTryCounts) {
    spot(a).silent = true;
    const base::Task task("scan", scanner_.scan());
    loop_.advance(4.1s);
    ASSERT_EQ(commands().size(), 1u);
    const auto first = commands()[0];
    loop_.advance(0.8s);
    ASSERT_EQ(commands().size(), 2u);
    EXPECT_EQ(commands()[1].pid, first.pid);
    EXPECT_EQ(commands()[1].transaction, first.transaction + 1);
    const auto infoWith = [](std::uint8_t footprint) {
        return Octets{1, 0, 0, 1, 1, 1, 0, 0, 0, 1, 0, footprint, 1, 1, 0, 1, 0, 0, 0};
    };
    scanner_.transport()->handleRdm(rdmResponse(first, 0, first.pid, infoWith(1)));
    loop_.runTurns();
    EXPECT_EQ(commands().size(), 2u);
    scanner_.transport()->handleRdm(rdmResponse(commands()[1], 0, first.pid, infoWith(2)));
    loop_.advance(20s);
    EXPECT_EQ(read(a).info->footprint, 2);
}

TEST_F(RDMScannerTest, TransactionsGoRoundFrom255To0) {
    spot(a);
    scan();
    while (commands().size() < 256) finish(scanner_.refreshSensors());
    EXPECT_EQ(commands()[254].transaction, 255);
    EXPECT_EQ(commands()[255].transaction, 0);
    EXPECT_TRUE(read(a).responding);
}

TEST_F(RDMScannerTest, AnAnswerThatComesWithinTheSendingCounts) {
    nodes_[0].universes = {1};
    RDMScanner* asking = nullptr;
    auto& device = spot(a);
    RDMScanner scanner{{.nodes = [this] { return nodes_; },
                        .send =
                            [&](const Octets& packet, const std::string&) {
                                const auto command = rdmCommand(packet);
                                if (!command) return;
                                const auto reply = device.answer(*command);
                                if (reply)
                                    asking->transport()->handleRdm(rdmResponse(*command, reply->type, command->pid, reply->data));
                            },
                        .log = [](Level, const std::string&) {},
                        .now = [this] { return loop_.clock().moment(); }}};
    asking = &scanner;
    scanner.transport()->handleTod({.universe = 1, .uids = {a}}, "10.0.0.1");
    finish(scanner.scan());
    EXPECT_EQ(scanner.device(a)->label, "Front 1");
}

// Sensors

TEST_F(RDMScannerTest, AtMostSixteenSensorsAreRead) {
    auto& device = spot(a);
    device.info(16, 1, 40);
    for (int i = 0; i < 40; ++i) device.sensor(i, 10, 0, 100, "");
    scan();
    EXPECT_EQ(count(PID::sensorDefinition), 16u);
    ASSERT_EQ(read(a).sensors.size(), 16u);
    EXPECT_EQ(read(a).sensors[15].name, "Sensor 15");
}

TEST_F(RDMScannerTest, ASensorThatIsNotDescribedIsLeftOut) {
    auto& device = spot(a);
    device.info(16, 1, 3);
    device.sensor(2, 10, 0, 100, "Leistung");
    device.sensorValue(2, -5);
    scan();
    ASSERT_EQ(read(a).sensors.size(), 2u);
    EXPECT_EQ(read(a).sensors[1].number, 2);
    EXPECT_EQ(read(a).sensors[1].value, -5);
}

TEST_F(RDMScannerTest, RefreshingReadsTheSensorsOfAllDevicesThatHaveSome) {
    auto& device = spot(a);
    spot(b).info(1, 1, 0);
    scan();
    sent_.clear();
    device.sensorValue(0, 500);
    device.put(PID::deviceHours, {0, 0, 1, 1});
    std::vector<std::string> told;
    const auto subscription = scanner_.progress().observe([&] { told.push_back(*scanner_.progress()); });
    finish(scanner_.refreshSensors());
    EXPECT_EQ(asked(), (std::vector<std::uint16_t>{0x0400, 0x0401, 0x0201}));
    EXPECT_DOUBLE_EQ(read(a).sensors[0].value.value(), 50);
    EXPECT_EQ(read(a).deviceHours, 257u);
    EXPECT_EQ(told, (std::vector<std::string>{"Sensoren 1 von 1", ""}));
}

TEST_F(RDMScannerTest, ADeviceThatGoesAwayDoesNotRespondAndItsValuesGo) {
    auto& device = spot(a);
    scan();
    const auto heard = read(a).lastUpdate.steady;
    device.silent = true;
    finish(scanner_.refreshSensors());
    EXPECT_FALSE(read(a).responding);
    EXPECT_FALSE(read(a).sensors[0].value);
    EXPECT_EQ(read(a).deviceHours, 256u);
    EXPECT_EQ(read(a).label, "Front 1");
    EXPECT_EQ(read(a).lastUpdate.steady, heard);
    device.silent = false;
    finish(scanner_.refreshSensors());
    EXPECT_TRUE(read(a).responding);
}

TEST_F(RDMScannerTest, ClearingTheListWhileSensorsAreReadIsSafe) {
    spot(a);
    spot(b);
    scan();
    fakes_[a].instead = [this](const RDMCommand&) -> std::optional<RDMFake::Reply> {
        scanner_.clearDevices();
        return std::nullopt;
    };
    finish(scanner_.refreshSensors());
    EXPECT_TRUE(scanner_.devices()->empty());
}

TEST_F(RDMScannerTest, AHotSensorIsWarnedOfOnceAndAgainAfterItHasCooled) {
    auto& device = spot(a);
    device.sensorValue(0, 800);
    scan();
    const std::vector<std::string> once = {"Front 1 (7FF0:0000ABCD): Kopf 80 °C über 80 °C"};
    EXPECT_EQ(texts(Level::warning), once);
    for (const int value : {800, 780, 800}) {
        device.sensorValue(0, value);
        finish(scanner_.refreshSensors());
        EXPECT_EQ(texts(Level::warning), once) << value;
    }
    for (const int value : {770, 800}) {
        device.sensorValue(0, value);
        finish(scanner_.refreshSensors());
    }
    EXPECT_EQ(texts(Level::warning).size(), 2u);
}

// Settings

TEST_F(RDMScannerTest, SettingsAreReadInOrder) {
    auto& device = spot(a);
    device.put(PID::supportedParameters, {0x04, 0x03, 0x10, 0x00, 0x10});
    device.put(PID::personality, {2, 3});
    device.put(PID::personalityDescription, 1, {1, 0, 16, 'B', 'a', 's', 'i', 's'});
    device.put(PID::personalityDescription, 3, {3, 1, 0, 'V', 'o', 'l', 'l', ' ', 0});
    device.put(PID::identify, {1});
    device.put(PID::lampState, {3});
    device.put(PID::factoryDefaults, {1});
    scan();
    sent_.clear();
    finish(scanner_.loadSettings(a));
    EXPECT_EQ(asked(), (std::vector<std::uint16_t>{0x50, 0xE0, 0xE1, 0xE1, 0xE1, 0x1000, 0x403, 0x90}));
    EXPECT_EQ(commands()[3].data, Octets{2});
    const auto& read = *scanner_.device(a);
    EXPECT_EQ(read.supported, (std::set<std::uint16_t>{0x0403, 0x1000}));
    EXPECT_TRUE(read.supports(PID::lampState));
    EXPECT_FALSE(read.supports(PID::deviceLabel));
    EXPECT_EQ(read.info->personality, 2);
    EXPECT_EQ(read.info->personalityCount, 3);
    EXPECT_EQ(read.personalities, (std::vector<netcore::RDM::Personality>{{1, 16, "Basis"}, {3, 256, "Voll"}}));
    EXPECT_TRUE(read.identifying);
    EXPECT_EQ(read.lampState, 3);
    EXPECT_EQ(read.atFactoryDefaults, true);
    EXPECT_TRUE(scanner_.settingsLoaded(a));
}

TEST_F(RDMScannerTest, TheLampIsAskedForOnlyWhereItIsSupported) {
    auto& device = spot(a);
    device.put(PID::supportedParameters, {0x10, 0x00});
    device.put(PID::factoryDefaults, {0});
    scan();
    finish(scanner_.loadSettings(a));
    EXPECT_EQ(count(PID::lampState), 0u);
    EXPECT_FALSE(read(a).lampState);
    EXPECT_EQ(read(a).atFactoryDefaults, false);
    // As many as deviceInfo told of, where the device does not tell.
    EXPECT_EQ(count(PID::personalityDescription), 2u);
}

TEST_F(RDMScannerTest, TwoWhoAskForSettingsShareOneReading) {
    spot(a);
    scan();
    sent_.clear();
    fakes_[a].silent = true;
    const base::Task first("settings", scanner_.loadSettings(a)), second("settings", scanner_.loadSettings(a));
    loop_.advance(30s);
    EXPECT_FALSE(first.running());
    EXPECT_FALSE(second.running());
    EXPECT_EQ(count(PID::supportedParameters), 2u);
    EXPECT_TRUE(scanner_.settingsLoaded(a));
    EXPECT_FALSE(read(a).responding);
}

TEST_F(RDMScannerTest, WhoWaitsForAReadingThatIsCancelledReadsByItself) {
    spot(a);
    scan();
    fakes_[a].silent = true;
    base::Task first("settings", scanner_.loadSettings(a));
    loop_.advance(0.1s);
    const base::Task second("settings", scanner_.loadSettings(a));
    loop_.advance(0.1s);
    first.cancel();
    fakes_[a].silent = false;
    loop_.advance(10s);
    EXPECT_FALSE(second.running());
    EXPECT_TRUE(scanner_.settingsLoaded(a));
    EXPECT_TRUE(read(a).responding);
}

TEST_F(RDMScannerTest, SettingsOfADeviceThatIsNotThereAreNotAsked) {
    finish(scanner_.loadSettings(b));
    EXPECT_TRUE(sent_.empty());
    EXPECT_FALSE(scanner_.settingsLoaded(b));
    spot(a);
    scan();
    fakes_[a].instead = [this](const RDMCommand&) -> std::optional<RDMFake::Reply> {
        scanner_.clearDevices();
        return std::nullopt;
    };
    finish(scanner_.loadSettings(a));
    EXPECT_FALSE(scanner_.settingsLoaded(a));
    EXPECT_TRUE(scanner_.devices()->empty());
}

}  // namespace

}  // namespace kestrelyne
