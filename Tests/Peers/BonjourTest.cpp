// Our search for services against Avahi's daemon and publisher, with a bus, a network and a place for their files of their own.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include "Base/ChildProcess.hpp"
#include "Base/SerialQueue.hpp"
#include "Kestrelyne/Network/BonjourBrowser.hpp"
#include "Support/TemporaryFolder.hpp"
#include "Support/TestLoop.hpp"

using kestrelyne::BonjourBrowser;

namespace {

constexpr const char *busProgram = "/usr/bin/dbus-daemon", *daemonProgram = "/usr/sbin/avahi-daemon",
                     *publishProgram = "/usr/bin/avahi-publish";
constexpr const char* servicesFolder = "/etc/avahi/services";
// In a file system that only this process sees. The bus library reads the address once in its life.
constexpr const char* busPath = "/run/bus";
constexpr base::Seconds patience{25};

/// A program of somebody else; ended by its number, hard when it does not listen.
class Program {
public:
    Program(const std::string& path, const std::vector<std::string>& words) {
        std::vector<char*> arguments{const_cast<char*>(path.c_str())};
        for (const auto& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
        arguments.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_adddup2(&actions, STDERR_FILENO, STDOUT_FILENO);
        if (posix_spawn(&number_, path.c_str(), &actions, nullptr, arguments.data(), environ) != 0) number_ = -1;
        posix_spawn_file_actions_destroy(&actions);
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;
    ~Program() {
        if (number_ <= 0) return;
        kill(number_, SIGTERM);
        for (int i = 0; i < 300; ++i) {
            if (waitpid(number_, nullptr, WNOHANG) == number_) return;
            usleep(10'000);
        }
        kill(number_, SIGKILL);
        waitpid(number_, nullptr, 0);
    }

private:
    pid_t number_ = -1;
};

bool ip(const std::vector<std::string>& words) {
    const auto result = base::runChild("/usr/sbin/ip", words, base::Seconds(10));
    return result && result->exitCode == 0;
}

/// Once a process: a network with a pair of adapters, and an empty folder where the daemon leaves its number.
bool ownSurroundings() {
    static const bool made = [] {
        if (unshare(CLONE_NEWNET | CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
            return false;
        if (mount("none", "/run", "tmpfs", 0, nullptr) != 0) return false;
        // What other packages of this computer would announce.
        if (access(servicesFolder, F_OK) == 0 && mount("none", servicesFolder, "tmpfs", 0, nullptr) != 0) return false;
        return ip({"link", "set", "lo", "up"}) && ip({"link", "add", "left", "type", "veth", "peer", "name", "right"}) &&
               ip({"addr", "add", "10.71.1.2/24", "dev", "left"}) && ip({"link", "set", "left", "up"}) &&
               ip({"link", "set", "right", "up"}) && ip({"route", "add", "224.0.0.0/4", "dev", "left"});
    }();
    return made;
}

class BonjourPeer : public testing::Test {
protected:
    void SetUp() override {
        for (const char* program : {busProgram, daemonProgram, publishProgram})
            if (access(program, X_OK) != 0) GTEST_SKIP() << program << " is not installed";
        if (!ownSurroundings()) GTEST_SKIP() << "a network of its own needs root";
        write("bus.conf",
              "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\" "
              "\"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\"><busconfig><type>system</type><listen>unix:path=" +
                  std::string(busPath) +
                  "</listen><auth>EXTERNAL</auth><policy context=\"default\"><allow send_destination=\"*\"/>"
                  "<allow receive_sender=\"*\"/><allow own=\"*\"/></policy></busconfig>");
        write("avahi.conf",
              "[server]\nhost-name=probe\nuse-ipv4=yes\nuse-ipv6=no\nallow-interfaces=left\nenable-dbus=yes\n"
              "[wide-area]\nenable-wide-area=no\n[publish]\npublish-hinfo=no\npublish-workstation=no\n");
        setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + std::string(busPath)).c_str(), 1);
    }
    ~BonjourPeer() override {
        browser.stop();
        base::SerialQueue::joinEnded();
    }
    void write(const std::string& name, const std::string& text) const { std::ofstream(folder / name) << text; }

    std::unique_ptr<Program> startBus() {
        std::filesystem::remove(busPath);
        auto bus = std::make_unique<Program>(
            busProgram, std::vector<std::string>{"--config-file=" + (folder / "bus.conf").string(), "--nofork"});
        EXPECT_TRUE(loop.runUntilSeen([&] { return access(busPath, F_OK) == 0; }, patience));
        return bus;
    }
    std::unique_ptr<Program> startDaemon() const {
        return std::make_unique<Program>(daemonProgram, std::vector<std::string>{"-f", (folder / "avahi.conf").string(),
                                                                                 "--no-drop-root", "--no-chroot", "--no-rlimits"});
    }
    static std::unique_ptr<Program> publish(const std::string& name, const std::string& type) {
        return std::make_unique<Program>(publishProgram,
                                         std::vector<std::string>{"-s", name, type, "8000", "model=Probe", "version=1.2.3"});
    }
    /// Publishers give up without a daemon: one is started until its service is there.
    std::unique_ptr<Program> publishUntilHeard(const std::string& name, const std::string& type) {
        for (int i = 0; i < 8; ++i) {
            auto publisher = publish(name, type);
            if (waitUntilListed(name, base::Seconds(4))) return publisher;
        }
        ADD_FAILURE() << name << " was not heard";
        return nullptr;
    }
    bool waitUntilListed(const std::string& name, base::Seconds limit = patience) {
        return loop.runUntil([&] { return find(name) != nullptr && !find(name)->ips.empty(); }, limit);
    }
    const BonjourBrowser::Service* find(const std::string& name) const {
        for (const auto& service : *browser.services())
            if (service.name == name) return &service;
        return nullptr;
    }

    TestLoop loop{base::SystemClock::shared()};
    TemporaryFolder folder;
    BonjourBrowser browser{base::Seconds(0.2)};
};

}  // namespace

TEST_F(BonjourPeer, AServiceAppearsWithAddressAndTextAndVanishesWithItsPublisher) {
    const auto bus = startBus();
    const auto daemon = startDaemon();
    browser.start();
    auto desk = publishUntilHeard("Desk \xC3\xBC.1", "_osc._udp");
    ASSERT_NE(find("Desk \xC3\xBC.1"), nullptr);
    EXPECT_EQ(*find("Desk \xC3\xBC.1"), (BonjourBrowser::Service{.type = "_osc._udp.",
                                                                 .name = "Desk \xC3\xBC.1",
                                                                 .host = "probe.local",
                                                                 .ips = {"10.71.1.2"},
                                                                 .txt = {{"model", "Probe"}, {"version", "1.2.3"}}}));
    EXPECT_THAT(*browser.discoveredTypes(), testing::Contains("_osc._udp."));
    desk.reset();
    EXPECT_TRUE(loop.runUntil([&] { return browser.services()->empty(); }, patience));
}

TEST_F(BonjourPeer, TypesThatOthersAnnounceAreSearchedToo) {
    const auto bus = startBus();
    const auto daemon = startDaemon();
    browser.start();
    const auto probe = publishUntilHeard("Probe", "_kestrelyne._tcp");
    EXPECT_THAT(*browser.discoveredTypes(), testing::ElementsAre("_kestrelyne._tcp."));
    EXPECT_EQ(browser.refused(), 0u);
}

TEST_F(BonjourPeer, ABusAndADaemonThatComeLaterAreNoticed) {
    browser.start();
    EXPECT_FALSE(loop.runUntil([&] { return !browser.services()->empty(); }, base::Seconds(0.5)));
    const auto bus = startBus();
    EXPECT_FALSE(loop.runUntil([&] { return !browser.services()->empty(); }, base::Seconds(0.5)));
    const auto daemon = startDaemon();
    const auto desk = publishUntilHeard("Desk", "_osc._udp");
}

TEST_F(BonjourPeer, WhenTheDaemonEndsTheListIsEmptyAndWhenItComesAgainItIsFilled) {
    const auto bus = startBus();
    auto daemon = startDaemon();
    browser.start();
    auto desk = publishUntilHeard("Desk", "_osc._udp");
    daemon.reset();
    EXPECT_TRUE(loop.runUntil([&] { return browser.services()->empty() && browser.discoveredTypes()->empty(); }, patience));
    desk.reset();
    daemon = startDaemon();
    desk = publishUntilHeard("Desk again", "_osc._udp");
}

TEST_F(BonjourPeer, WhenTheBusEndsTheListIsEmptyAndALaterBusIsFound) {
    auto bus = startBus();
    auto daemon = startDaemon();
    browser.start();
    auto desk = publishUntilHeard("Desk", "_osc._udp");
    bus.reset();
    EXPECT_TRUE(loop.runUntil([&] { return browser.services()->empty(); }, patience));
    desk.reset();
    daemon.reset();
    bus = startBus();
    daemon = startDaemon();
    desk = publishUntilHeard("Desk again", "_osc._udp");
}

TEST_F(BonjourPeer, ASearchBegunByOneWhoHeardOfTypesKnowsNothingOfTheFormer) {
    const auto bus = startBus();
    const auto daemon = startDaemon();
    browser.start();
    const auto desk = publishUntilHeard("Desk", "_osc._udp");
    browser.stop();
    bool begunAnew = false, oldServices = false;
    const auto types = browser.discoveredTypes().observe([&] {
        if (begunAnew || browser.discoveredTypes()->empty()) return;
        begunAnew = true;
        browser.stop();
        browser.start();
        // Runs in the next turn; the new search needs longer.
        base::MainLoop::current().inbox()->post([&] { oldServices = !browser.services()->empty(); });
    });
    browser.start();
    EXPECT_TRUE(loop.runUntil([&] { return begunAnew; }, patience));
    EXPECT_TRUE(waitUntilListed("Desk"));
    EXPECT_FALSE(oldServices);
}

TEST_F(BonjourPeer, StopEmptiesTheListAtOnceAndItCanBeStartedAgain) {
    const auto bus = startBus();
    const auto daemon = startDaemon();
    browser.start();
    const auto desk = publishUntilHeard("Desk", "_osc._udp");
    browser.stop();
    EXPECT_TRUE(browser.services()->empty());
    EXPECT_FALSE(loop.runUntil([&] { return !browser.services()->empty(); }, base::Seconds(0.5)));
    browser.start();
    EXPECT_TRUE(waitUntilListed("Desk"));
}
