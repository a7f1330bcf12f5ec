#include "Kestrelyne/Lighting/RDMRig.hpp"

namespace kestrelyne {

namespace {

using Level = NetEvent::Level;
using Failure = RDMScanner::Failure;
using netcore::RDM::nack;
using namespace std::chrono_literals;

constexpr UID a{0x7FF0, 0x0000ABCD}, b{0x7FF0, 0x0000ABCE}, unknown{9, 9};

std::uint16_t code(PID pid) { return static_cast<std::uint16_t>(pid); }

/// Two devices that have been found, and writing allowed.
class RDMScannerWrites : public RDMRig {
protected:
    void SetUp() override {
        for (const auto& uid : {a, b}) {
            auto& device = fake(uid);
            device.info(16, 1, 0);
            device.put(PID::deviceLabel, bytesOf(uid == a ? "Front 1" : "Front 2"));
            device.put(PID::identify, {0});
            device.put(PID::lampState, {0});
            for (const auto pid :
                 {PID::startAddress, PID::personality, PID::deviceLabel, PID::lampState, PID::resetDevice, PID::identify})
                device.writable.insert(code(pid));
        }
        scan();
        sent_.clear();
        lines_.clear();
        scanner_.setWriteEnabled(true);
    }
    std::vector<RDMCommand> writes() const {
        auto all = commands();
        std::erase_if(all, [](const RDMCommand& command) { return !command.isSet; });
        return all;
    }
    void replies(const RDMFake::Reply& reply) {
        fakes_[a].instead = [reply](const RDMCommand& command) { return command.isSet ? std::optional(reply) : std::nullopt; };
    }
};

TEST_F(RDMScannerWrites, AreLockedAtFirst) { EXPECT_FALSE(*RDMScanner({}).writeEnabled()); }

TEST_F(RDMScannerWrites, SendNothingWhileTheyAreLocked) {
    scanner_.setWriteEnabled(false);
    EXPECT_EQ(result(scanner_.setAddress(a, 5, false)), "Schreiben ist gesperrt");
    EXPECT_EQ(result(scanner_.identify(unknown, true, true)), "Schreiben ist gesperrt");
    EXPECT_EQ(scanner_.lastWriteResult().get(), "Schreiben ist gesperrt");
    EXPECT_TRUE(sent_.empty());
    EXPECT_TRUE(lines_.empty());
}

TEST_F(RDMScannerWrites, GoToKnownDevicesAlone) {
    EXPECT_EQ(result(scanner_.setAddress(unknown, 5, false)), "Gerät nicht gefunden");
    EXPECT_EQ(scanner_.lastWriteResult().get(), "Gerät nicht gefunden");
    EXPECT_TRUE(sent_.empty());
}

TEST_F(RDMScannerWrites, AreSentAsTheStandardHasThem) {
    struct Row {
        std::function<base::Co<Failure>()> write;
        PID pid;
        Octets data;
        const char* line;
    };
    const std::string umlauts = "äöüäöüäöüäöüäöüä";  // 32 bytes
    const auto longLabel = "x" + umlauts, cutLabel = "x" + umlauts.substr(0, 30);
    for (const auto& [write, pid, data, line] : std::initializer_list<Row>{
             {[&] { return scanner_.setAddress(a, 300, false); }, PID::startAddress, {1, 44}, "RDM DMX-Adresse 300"},
             {[&] { return scanner_.setPersonality(a, 3, false); }, PID::personality, {3}, "RDM Modus 3"},
             {[&] { return scanner_.setLabel(a, "Küche"); }, PID::deviceLabel, bytesOf("Küche"), "RDM Gerätename → „Küche“"},
             {[&] { return scanner_.setLabel(a, umlauts); }, PID::deviceLabel, bytesOf(umlauts),
              "RDM Gerätename → „äöüäöüäöüäöüäöüä“"},
             {[&] { return scanner_.setLabel(a, longLabel); }, PID::deviceLabel, bytesOf(cutLabel),
              "RDM Gerätename → „xäöüäöüäöüäöüäöü“"},
             {[&] { return scanner_.setLabel(a, ""); }, PID::deviceLabel, {}, "RDM Gerätename → „“"},
             {[&] { return scanner_.setLamp(a, 1); }, PID::lampState, {1}, "RDM Lampe 1"},
             {[&] { return scanner_.setLamp(a, 300); }, PID::lampState, {255}, "RDM Lampe 300"},
             {[&] { return scanner_.reset(a, true, false); }, PID::resetDevice, {0xFF}, "RDM Kaltstart (Neustart)"},
             {[&] { return scanner_.reset(a, false, false); }, PID::resetDevice, {0x01}, "RDM Warmstart"},
             {[&] { return scanner_.identify(a, true, false); }, PID::identify, {1}, "RDM Identify an"},
             {[&] { return scanner_.identify(a, false, true); }, PID::identify, {0}, "RDM Identify aus"}}) {
        sent_.clear();
        lines_.clear();
        EXPECT_EQ(result(write()), std::nullopt) << line;
        ASSERT_EQ(writes().size(), 1u) << line;
        EXPECT_EQ(writes()[0].pid, code(pid)) << line;
        EXPECT_EQ(writes()[0].data, data) << line;
        EXPECT_EQ(writes()[0].to, a) << line;
        EXPECT_EQ(lines_, (std::vector<Line>{{Level::info, line}}));
        EXPECT_EQ(scanner_.lastWriteResult().get(), line);
    }
}

TEST_F(RDMScannerWrites, ReadTheDeviceAgainWhenItTookThem) {
    fakes_[a].instead = [this](const RDMCommand& command) -> std::optional<RDMFake::Reply> {
        if (command.isSet) {
            fakes_[a].info(16, 42, 0);
            fakes_[a].put(PID::deviceLabel, bytesOf("Neu"));
            fakes_[a].put(PID::identify, {1});
            fakes_[a].put(PID::lampState, {2});
        }
        return std::nullopt;
    };
    EXPECT_EQ(result(scanner_.setAddress(a, 42, true)), std::nullopt);
    EXPECT_EQ(asked(), (std::vector<std::uint16_t>{0xF0, 0x60, 0x82, 0x1000, 0x403}));
    const auto& device = *scanner_.device(a);
    EXPECT_EQ(device.info->startAddress, 42);
    EXPECT_EQ(device.label, "Neu");
    EXPECT_TRUE(device.identifying);
    EXPECT_EQ(device.lampState, 2);
    EXPECT_TRUE(device.responding);
    EXPECT_EQ(lines_, (std::vector<Line>{{Level::info, "RDM DMX-Adresse 42"}}));
}

TEST_F(RDMScannerWrites, ARefusalIsToldWithItsReason) {
    replies({.type = nack, .data = {0, 6}});
    EXPECT_EQ(result(scanner_.setAddress(a, 600, false)), "Wert außerhalb des gültigen Bereichs");
    ASSERT_EQ(commands().size(), 1u);
    EXPECT_EQ(commands()[0].data, (Octets{0x02, 0x58}));
    const std::string line = "RDM DMX-Adresse 600 fehlgeschlagen – Wert außerhalb des gültigen Bereichs";
    EXPECT_EQ(lines_, (std::vector<Line>{{Level::warning, line}}));
    EXPECT_EQ(scanner_.lastWriteResult().get(), line);
}

TEST_F(RDMScannerWrites, ASilentDeviceIsToldOfAfterTwoTries) {
    fakes_[a].silent = true;
    const auto begun = loop_.clock().steadyNow();
    EXPECT_EQ(result(scanner_.setAddress(a, 1, true)), "keine Antwort");
    EXPECT_NEAR(std::chrono::duration<double>(loop_.clock().steadyNow() - begun).count(), 1.6, 0.11);
    ASSERT_EQ(commands().size(), 2u);
    EXPECT_EQ(commands()[1].transaction, commands()[0].transaction + 1);
    const std::string line = "RDM DMX-Adresse 1 [Web-App] fehlgeschlagen – keine Antwort";
    EXPECT_EQ(lines_, (std::vector<Line>{{Level::warning, line}}));
    EXPECT_EQ(scanner_.lastWriteResult().get(), line);
}

TEST_F(RDMScannerWrites, AnythingElseIsAnUnexpectedAnswer) {
    for (const auto& reply :
         {RDMFake::Reply{.type = netcore::RDM::ackTimer, .data = {0, 5}}, RDMFake::Reply{.type = netcore::RDM::ackOverflow},
          RDMFake::Reply{.type = 9}, RDMFake::Reply{.pid = 0x00E0}}) {
        replies(reply);
        lines_.clear();
        EXPECT_EQ(result(scanner_.reset(a, true, false)), "unerwartete Antwort");
        EXPECT_EQ(lines_, (std::vector<Line>{{Level::warning, "RDM Kaltstart (Neustart) fehlgeschlagen – unerwartete Antwort"}}));
    }
    EXPECT_EQ(commands().size(), 4u);
}

TEST_F(RDMScannerWrites, LockingWhileADeviceIsSilentStopsTheSecondTry) {
    fakes_[a].silent = true;
    const base::Task task("write", [](RDMScanner& scanner) -> base::Co<> { co_await scanner.setAddress(a, 1, false); }(scanner_));
    loop_.advance(0.5s);
    scanner_.setWriteEnabled(false);
    loop_.advance(5s);
    EXPECT_FALSE(task.running());
    EXPECT_EQ(commands().size(), 1u);
}

TEST_F(RDMScannerWrites, ClearingTheListMeanwhileIsSafe) {
    fakes_[a].instead = [this](const RDMCommand& command) -> std::optional<RDMFake::Reply> {
        if (command.isSet) scanner_.clearDevices();
        return std::nullopt;
    };
    EXPECT_EQ(result(scanner_.setAddress(a, 5, false)), std::nullopt);
    EXPECT_TRUE(scanner_.devices()->empty());
    EXPECT_EQ(commands().size(), 1u);
}

TEST_F(RDMScannerWrites, AWriteDuringAScanIsNotUndoneByWhatWasReadBefore) {
    // The scan has asked for the address before the write, and enters the device after it.
    base::Task write;
    fakes_[a].instead = [&](const RDMCommand& command) -> std::optional<RDMFake::Reply> {
        if (command.isSet) fakes_[a].info(16, 77, 0);
        if (command.pid == code(PID::manufacturerLabel))
            write =
                base::Task("write", [](RDMScanner& scanner) -> base::Co<> { co_await scanner.setAddress(a, 77, false); }(scanner_));
        return std::nullopt;
    };
    scan();
    EXPECT_FALSE(write.running());
    EXPECT_EQ(scanner_.device(a)->info->startAddress, 77);
}

TEST_F(RDMScannerWrites, ASequenceIsWrittenDeviceAfterDevice) {
    EXPECT_EQ(result(scanner_.addressSequential({b, unknown, a}, 10, 2)), std::vector<std::string>{});
    ASSERT_EQ(writes().size(), 2u);
    EXPECT_EQ(writes()[0].to, b);
    EXPECT_EQ(writes()[0].data, (Octets{0, 10}));
    EXPECT_EQ(writes()[1].to, a);
    EXPECT_EQ(writes()[1].data, (Octets{0, 28}));
}

TEST_F(RDMScannerWrites, ASequenceReportsWhatItCouldNotWriteAndGoesOn) {
    fakes_[a].info(600, 1, 0);
    scan();
    sent_.clear();
    EXPECT_EQ(result(scanner_.addressSequential({a, b}, 1, 0)),
              (std::vector<std::string>{"Front 1: passt nicht mehr ins Universum", "Front 2: passt nicht mehr ins Universum"}));
    EXPECT_TRUE(sent_.empty());
    replies({.type = nack, .data = {0, 4}});
    fakes_[a].info(16, 1, 0);
    scan();
    sent_.clear();
    EXPECT_EQ(result(scanner_.addressSequential({a, b}, 1, 0)), std::vector<std::string>{"Front 1: schreibgeschützt"});
    ASSERT_EQ(writes().size(), 2u);
    EXPECT_EQ(writes()[1].data, (Octets{0, 17}));
}

}  // namespace

}  // namespace kestrelyne
