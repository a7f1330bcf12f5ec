#include "NetCore/LocalUPS.hpp"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <functional>
#include <thread>

#include "Base/FileDescriptor.hpp"
#include "Base/SerialQueue.hpp"
#include "NetCore/LocalUPSFinding.hpp"
#include "Support/ScriptedPeer.hpp"
#include "Support/TemporaryFolder.hpp"

namespace netcore {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

const std::string noBus = "unix:path=/nonexistent/bus";
constexpr auto patience = 10s;

std::span<const std::uint8_t> bytesOf(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// A server with one UPS.
ScriptedPeer::Script answering(const std::string& status) {
    return [status](ScriptedPeer::Connection& connection) {
        connection.read(std::string_view("LIST UPS\n").size());
        connection.send(bytesOf("BEGIN LIST UPS\nUPS rack \"\"\nEND LIST UPS\n"));
        connection.read(std::string_view("LIST VAR rack\n").size());
        connection.send(bytesOf("BEGIN LIST VAR rack\nVAR rack ups.model \"Eins\"\nVAR rack ups.status \"" + status +
                                "\"\nEND LIST VAR rack\n"));
        connection.waitForClose();
    };
}

bool waitUntil(const std::function<bool()>& holds) {
    for (const auto end = Clock::now() + patience; Clock::now() < end; std::this_thread::sleep_for(5ms))
        if (holds()) return true;
    return false;
}

class LocalUPSTest : public testing::Test {
protected:
    ~LocalUPSTest() override { base::SerialQueue::joinEnded(); }

    static LocalUPS::Sources sources(std::uint16_t port) {
        return {.busAddress = noBus, .nutPort = port, .limit = 5s, .retry = base::Seconds(0.02)};
    }
};

std::string toldOf(const std::vector<LocalUPS::Entry>& entries) {
    std::string told;
    for (const auto& [id, name, status] : entries)
        told += id + " " + name + " " + status.protocolName + " " + std::string(text(status.source)) + " " +
                std::string(text(status.battery));
    return told;
}

LocalUPSFinding findingOf(const std::string& key) { return {key, key, {}}; }

std::vector<std::string> idsOf(const std::vector<LocalUPS::Entry>& entries) {
    std::vector<std::string> ids;
    for (const auto& entry : entries) ids.push_back(entry.id + " " + entry.name);
    return ids;
}

}  // namespace

TEST_F(LocalUPSTest, TellsTheLastResultAndAsksForTheNext) {
    ScriptedPeer server({answering("OL"), answering("OB LB")});
    {
        LocalUPS local(sources(server.port()));
        // Each result is told before the next is asked for. A service that has gone has no devices; the device keeps its number.
        const std::vector<std::string> expected{"", "usb-0 Eins NUT Netzbetrieb normal", "usb-0 Eins NUT Batteriebetrieb schwach",
                                                ""};
        std::vector<std::string> seen;
        waitUntil([&] {
            const auto told = toldOf(local.read());
            if (seen.empty() || seen.back() != told) seen.push_back(told);
            return seen.size() == expected.size();
        });
        EXPECT_EQ(seen, expected);
    }
    server.join();
}

TEST_F(LocalUPSTest, AServiceThatIsNotThereIsLookedForAgain) {
    std::uint16_t port = 0;
    {
        const ScriptedPeer probe({});
        port = probe.port();
    }
    LocalUPS local(sources(port));
    for (int i = 0; i < 20; ++i) {
        EXPECT_TRUE(local.read().empty());
        std::this_thread::sleep_for(5ms);
    }
}

TEST_F(LocalUPSTest, AServerOfAnotherKindHasNoDevices) {
    ScriptedPeer server({[](ScriptedPeer::Connection& connection) {
        connection.send(bytesOf("HTTP/1.1 400 Bad Request\r\n\r\n"));
        connection.waitForClose();
    }});
    {
        LocalUPS local(sources(server.port()));
        local.read();
        ASSERT_TRUE(waitUntil([&] { return server.connections() == 1; }));
        EXPECT_TRUE(local.read().empty());
    }
    server.join();
}

TEST_F(LocalUPSTest, DestroyingItDoesNotWaitForAnAsking) {
    ScriptedPeer server({[](ScriptedPeer::Connection& connection) { connection.waitForClose(); }});
    {
        auto patient = sources(server.port());
        patient.limit = base::Seconds(1.5);
        auto local = std::make_unique<LocalUPS>(patient);
        local->read();
        ASSERT_TRUE(waitUntil([&] { return server.connections() == 1; }));
        const auto begun = Clock::now();
        EXPECT_TRUE(local->read().empty());
        local.reset();
        EXPECT_LT(Clock::now() - begun, 1s);
    }
    server.join();
}

TEST_F(LocalUPSTest, ABusThatIsSilentDoesNotHideTheOtherService) {
    const TemporaryFolder folder;
    const auto path = (folder / "bus").string();
    const base::FileDescriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ASSERT_LT(path.size(), sizeof address.sun_path);
    path.copy(address.sun_path, path.size());
    ASSERT_EQ(bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener.get(), 4), 0);

    ScriptedPeer server({answering("OL")});
    {
        auto patient = sources(server.port());
        patient.busAddress = "unix:path=" + path;
        patient.limit = base::Seconds(0.3);
        LocalUPS local(patient);
        const auto begun = Clock::now();
        EXPECT_TRUE(local.read().empty());
        EXPECT_LT(Clock::now() - begun, 200ms) << "reading never waits";
        EXPECT_TRUE(waitUntil([&] { return !local.read().empty(); }));
    }
    server.join();
}

TEST(LocalUPSNumbers, AKeyKeepsItsNumber) {
    LocalUPSNumbers numbers;
    EXPECT_EQ(idsOf(numbers.entries({findingOf("nut b"), findingOf("nut a")})),
              (std::vector<std::string>{"usb-0 nut a", "usb-1 nut b"}));
    EXPECT_EQ(idsOf(numbers.entries({findingOf("nut b")})), std::vector<std::string>{"usb-1 nut b"});
    EXPECT_EQ(idsOf(numbers.entries({findingOf("upower x"), findingOf("nut a")})),
              (std::vector<std::string>{"usb-0 nut a", "usb-2 upower x"}));
    EXPECT_TRUE(numbers.entries({}).empty());
}

TEST(LocalUPSNumbers, NamesThatNeverStayTheSameAreNotFollowedForEver) {
    LocalUPSNumbers numbers;
    for (std::size_t i = 0; i < LocalUPSNumbers::mostKeys; ++i)
        EXPECT_EQ(numbers.entries({findingOf(std::to_string(i))}).size(), 1U);
    EXPECT_TRUE(numbers.entries({findingOf("more")}).empty());
    EXPECT_EQ(numbers.entries({findingOf("0")}).size(), 1U);
}

TEST(ServiceRetry, WaitsForWhatIsNotThereAndNotForWhatHasJustAnswered) {
    ServiceRetry retry(30s);
    const base::SteadyTime start{1000s};
    EXPECT_TRUE(retry.due(start)) << "never asked";
    retry.note(false, start);
    EXPECT_FALSE(retry.due(start));
    EXPECT_FALSE(retry.due(start + 29999ms));
    EXPECT_TRUE(retry.due(start + 30s));
    retry.note(true, start + 30s);
    EXPECT_TRUE(retry.due(start + 30s));
    retry.note(false, start + 40s);
    EXPECT_TRUE(retry.due(start + 40s)) << "a service that was started anew";
    retry.note(false, start + 45s);
    EXPECT_FALSE(retry.due(start + 46s));
    EXPECT_TRUE(retry.due(start + 75s));
}

}  // namespace netcore
