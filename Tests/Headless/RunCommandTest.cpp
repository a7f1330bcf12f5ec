#include <arpa/inet.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <nlohmann/json.hpp>
#include <regex>
#include <thread>

#include "Base/File.hpp"
#include "Base/FileDescriptor.hpp"
#include "Headless/Binary.hpp"
#include "Kestrelyne/Remote/LoopbackClient.hpp"

namespace {

using nlohmann::json;
using testing::HasSubstr;
using namespace std::chrono_literals;

using Clock = std::chrono::steady_clock;

class RunCommand : public testing::Test {
protected:
    /// Started and ready.
    std::unique_ptr<BinaryRun> start(std::vector<std::string> words = {}) {
        auto program = std::make_unique<BinaryRun>(home_, std::move(words));
        EXPECT_TRUE(program->prints(" läuft.")) << program->errors();
        // The last lines of the banner come in the same turn.
        EXPECT_EQ(runBinary(home_, {"status"}).code, 0);
        return program;
    }
    /// Asks it to end and measures how long that takes.
    void endsWithinASecond(BinaryRun& program, int signal) {
        const auto begun = Clock::now();
        program.signal(signal);
        EXPECT_EQ(program.wait(), 0) << program.errors();
        EXPECT_LT(Clock::now() - begun, 1s);
    }
    json stored(const std::string& key) {
        const auto outcome = runBinary(home_, {"settings", "get", key});
        return outcome.code == 0 ? json::parse(outcome.output) : json();
    }
    Home home_;
};

TEST_F(RunCommand, EndsWithCode0WithinASecondOfASignal) {
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        auto program = start();
        endsWithinASecond(*program, signal);
        EXPECT_EQ(program->errors(), "");
    }
    EXPECT_EQ(runBinary(home_, {"status"}).code, 4);
}

TEST_F(RunCommand, EndsWithinASecondWhileADeviceCallBlocks) {
    // Takes connections and never says a word.
    const base::FileDescriptor listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    ASSERT_EQ(bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), size), 0);
    ASSERT_EQ(listen(listener.get(), 5), 0);
    getsockname(listener.get(), reinterpret_cast<sockaddr*>(&address), &size);
    const json devices = {
        {{"name", "Stumm"}, {"host", "127.0.0.1"}, {"port", ntohs(address.sin_port)}, {"timeout", 60}, {"autoConnect", true}}};
    ASSERT_EQ(runBinary(home_, {"settings", "set", "devices.v1", devices.dump()}).code, 0);

    auto program = start();
    const base::FileDescriptor connection(accept(listener.get(), nullptr, nullptr));
    ASSERT_TRUE(connection) << "the meter is being read";
    EXPECT_THAT(runBinary(home_, {"status"}).output, HasSubstr("verbinde …"));
    endsWithinASecond(*program, SIGTERM);
}

TEST_F(RunCommand, EndsWithinASecondWhileTheStoreCannotBeWritten) {
    const auto port = unusedPort();
    auto program = start({"--web", "--port", std::to_string(port), "--pin", "1"});
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open((home_.settings() / "settings.sqlite").c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    // The new session is handed to the writer, which waits for the other program.
    const auto answer = askServer(static_cast<std::uint16_t>(port),
                                  "POST /api/login HTTP/1.1\r\nContent-Type: application/json\r\nContent-Length: 11\r\n\r\n"
                                  R"({"pin":"1"})");
    EXPECT_EQ(statusOf(answer), 200);
    endsWithinASecond(*program, SIGTERM);
    sqlite3_close(other);
}

TEST_F(RunCommand, EndsWithinASecondWhileItsStartHasToWait) {
    std::filesystem::create_directories(home_.settings());
    const base::FileDescriptor folder(open(home_.settings().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ASSERT_EQ(flock(folder.get(), LOCK_EX), 0) << "as another program that is just opening the store";
    const auto lock = home_.settings() / "kestrelyne.lock";
    BinaryRun program(home_, {});
    while (!std::filesystem::exists(lock)) std::this_thread::sleep_for(5ms);
    endsWithinASecond(program, SIGTERM);
    EXPECT_EQ(program.output(), "");

    // The second of two signals does not wait for the time that the first one grants.
    std::filesystem::remove(lock);
    BinaryRun again(home_, {});
    while (!std::filesystem::exists(lock)) std::this_thread::sleep_for(5ms);
    const auto begun = Clock::now();
    again.signal(SIGTERM);
    again.signal(SIGINT);
    EXPECT_EQ(again.wait(), 1);
    EXPECT_LT(Clock::now() - begun, 700ms);
}

TEST_F(RunCommand, ASecondSignalEndsItAtOnce) {
    auto program = start();
    program->signal(SIGSTOP);  // so that both are there before it can act on the first
    program->signal(SIGTERM);
    program->signal(SIGINT);
    program->signal(SIGCONT);
    const auto begun = Clock::now();
    const auto code = program->wait();
    ASSERT_TRUE(code);
    EXPECT_TRUE(*code == 1 || *code == 0) << *code;  // whether the orderly end was quicker
    EXPECT_LT(Clock::now() - begun, 1s);
}

TEST_F(RunCommand, ASignalDuringTheStartEndsItToo) {
    for (int i = 0; i < 10; ++i) {
        BinaryRun program(home_, {});
        std::this_thread::sleep_for(i * 5ms);
        program.signal(SIGTERM);
        const auto code = program.wait(5s);
        ASSERT_TRUE(code);
        EXPECT_TRUE(*code == 0 || *code == 128 + SIGTERM) << *code;  // the latter before its first instructions
    }
}

TEST_F(RunCommand, ASecondProgramIsToldAndEndsWithCode3) {
    auto program = start();
    for (const auto& words : std::vector<std::vector<std::string>>{{}, {"run"}, {"run", "--port", "1"}}) {
        const auto second = runBinary(home_, words);
        EXPECT_EQ(second.code, 3);
        EXPECT_EQ(second.output, "");
        EXPECT_EQ(second.errors, "kestrelyne: Kestrelyne läuft schon (Prozess " + std::to_string(program->pid()) +
                                     ") mit dem Ordner „" + home_.settings().string() + "“.\n");
    }
    EXPECT_EQ(stored("web.v1"), json()) << "the refused one changed nothing";
    // Another settings folder, the same data.
    home_.environment["XDG_CONFIG_HOME"] = home_ / "other";
    EXPECT_EQ(runBinary(home_, {}).code, 3);
    home_.environment["XDG_DATA_HOME"] = home_ / "other.data";
    const auto beside = start();
    endsWithinASecond(*beside, SIGTERM);
}

TEST_F(RunCommand, OptionsChangeTheStoredWebSettingsBeforeTheStart) {
    const auto port = std::to_string(unusedPort());
    auto program = start({"--web", "--port", port, "--pin", "4711", "--no-lan"});
    EXPECT_THAT(program->output(), HasSubstr("http://localhost:" + port + "\n"));
    EXPECT_THAT(program->output() + program->errors(), testing::Not(HasSubstr("4711")));
    endsWithinASecond(*program, SIGTERM);
    auto web = stored("web.v1");
    EXPECT_EQ(web["enabled"], true);
    EXPECT_EQ(web["port"], std::stoi(port));
    EXPECT_EQ(web["pin"], "4711");
    EXPECT_EQ(web["allowLAN"], false);

    program = start({"run", "--no-web", "--lan"});
    EXPECT_THAT(program->output(), HasSubstr("Die Web-App ist aus"));
    endsWithinASecond(*program, SIGTERM);
    web = stored("web.v1");
    EXPECT_EQ(web["enabled"], false);
    EXPECT_EQ(web["allowLAN"], true);
    EXPECT_EQ(web["pin"], "4711") << "what was not named stays";
}

TEST_F(RunCommand, ANewPINEndsTheSessionsAndTheSameDoesNot) {
    const json sessions = {"a", "b"};
    ASSERT_EQ(runBinary(home_, {"settings", "set", "web.v1", R"({"pin":"1"})"}).code, 0);
    ASSERT_EQ(runBinary(home_, {"settings", "set", "web.sessions", sessions.dump()}).code, 0);
    auto program = start({"--pin", "1"});
    endsWithinASecond(*program, SIGTERM);
    EXPECT_EQ(stored("web.sessions"), sessions);
    program = start({"--pin", "2"});
    endsWithinASecond(*program, SIGTERM);
    EXPECT_EQ(stored("web.sessions"), json::array());
}

TEST_F(RunCommand, APINMayComeFromStandardInput) {
    BinaryRun program(home_, {"run", "--pin", "-"}, "geheim 1\r\nrest\n");
    ASSERT_TRUE(program.prints(" läuft."));
    EXPECT_EQ(stored("web.v1")["pin"], "geheim 1");
    endsWithinASecond(program, SIGTERM);
}

TEST_F(RunCommand, ATakenPortIsToldAndTheProgramGoesOn) {
    const base::FileDescriptor holder(socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    socklen_t size = sizeof address;
    ASSERT_EQ(bind(holder.get(), reinterpret_cast<const sockaddr*>(&address), size), 0);
    ASSERT_EQ(listen(holder.get(), 1), 0);
    getsockname(holder.get(), reinterpret_cast<sockaddr*>(&address), &size);
    const auto port = std::to_string(ntohs(address.sin6_port));
    auto program = start({"--web", "--port", port});
    EXPECT_THAT(program->errors(), HasSubstr(port));
    EXPECT_THAT(runBinary(home_, {"status"}).output, HasSubstr("eingeschaltet, aber nicht erreichbar"));
    endsWithinASecond(*program, SIGTERM);

    // The demo takes the next one instead.
    BinaryRun demo(home_, {"--demo", "--port", port});
    ASSERT_TRUE(demo.prints(" läuft."));
    EXPECT_EQ(linesOf(demo.errors()), 1) << demo.errors();
    EXPECT_THAT(demo.errors(), HasSubstr("Port " + port + " ist belegt"));
    EXPECT_THAT(demo.output(), testing::Not(HasSubstr(":" + port + "\n")));
}

TEST_F(RunCommand, KeysRemovedByHandAreTheDefaultsAtTheNextStart) {
    ASSERT_EQ(runBinary(home_, {"settings", "set", "devices.v1", R"([{"name":"Bühne","kind":"Demo-Gerät"}])"}).code, 0);
    ASSERT_EQ(runBinary(home_, {"settings", "set", "web.v1", R"({"port":9000,"pin":"1"})"}).code, 0);
    auto program = start();
    EXPECT_THAT(runBinary(home_, {"status"}).output, HasSubstr("Bühne"));
    EXPECT_THAT(runBinary(home_, {"web", "show"}).output, HasSubstr("http://localhost:9000\n"));
    endsWithinASecond(*program, SIGTERM);
    for (const auto* key : {"devices.v1", "web.v1"}) ASSERT_EQ(runBinary(home_, {"settings", "delete", key}).code, 0);
    program = start();
    EXPECT_THAT(runBinary(home_, {"status"}).output, HasSubstr("Demo UMG 96RM"));
    EXPECT_THAT(runBinary(home_, {"web", "show"}).output, HasSubstr("http://localhost:8470\n"));
    endsWithinASecond(*program, SIGTERM);
}

TEST_F(RunCommand, TenThousandIdleConnectionsStopNeitherPollingNorAnswers) {
    constexpr rlim_t idle = 10000, own = 200;
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = std::max(limit.rlim_cur, std::min(limit.rlim_max, idle + own));
    if (limit.rlim_cur < idle + own) GTEST_SKIP() << "this computer allows " << limit.rlim_cur << " open files only";
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    ASSERT_EQ(runBinary(home_, {"settings", "set", "devices.v1",
                                R"([{"name":"Demo","kind":"Demo-Gerät","pollInterval":0.1,"autoConnect":true}])"})
                  .code,
              0);
    const auto port = static_cast<std::uint16_t>(unusedPort());
    auto program = start({"--web", "--port", std::to_string(port)});
    const auto readings = [this] {
        return json::parse(runBinary(home_, {"status", "--json"}).output)["meters"][0]["readings"].get<int>();
    };
    std::vector<LoopbackClient> clients;
    clients.reserve(idle);
    for (rlim_t i = 0; i < idle; ++i) {
        clients.emplace_back(port);
        if (i % 1000 == 999) EXPECT_EQ(statusOf(askServer(port, "GET /api/power HTTP/1.1\r\n\r\n")), 200) << i;
    }
    EXPECT_TRUE(clients.front().ended()) << "the oldest made room";
    const auto before = readings();
    const auto end = Clock::now() + 10s;
    while (readings() < before + 10 && Clock::now() < end) {}
    EXPECT_GE(readings(), before + 10);
    const auto status = json::parse(runBinary(home_, {"status", "--json"}).output);
    EXPECT_EQ(status["meters"][0]["failures"], 0);
    endsWithinASecond(*program, SIGTERM);
    EXPECT_EQ(program->errors(), "");
}

TEST_F(RunCommand, ADamagedStoreIsToldOnStandardErrorAndReplacedByDefaults) {
    std::filesystem::create_directories(home_.settings());
    base::replaceFile(home_.settings() / "settings.sqlite", std::string(5000, 'x'));
    auto program = start();
    EXPECT_EQ(linesOf(program->errors()), 1) << program->errors();
    EXPECT_THAT(program->errors(), HasSubstr("settings.sqlite.beschädigt-"));
    endsWithinASecond(*program, SIGTERM);
}

TEST_F(RunCommand, AFolderThatCannotBeUsedIsOneLineAndCode1) {
    base::replaceFile(home_ / "file", "");
    const auto outcome = runBinary(home_, {"--data", home_ / "file"});
    EXPECT_EQ(outcome.code, 1);
    EXPECT_EQ(linesOf(outcome.errors), 1) << outcome.errors;
}

TEST_F(RunCommand, TheDemoPrintsPINAndAddressAndLeavesNothingBehind) {
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        BinaryRun demo(home_, {"run", "--demo", "--port", std::to_string(unusedPort())});
        ASSERT_TRUE(demo.prints("http://localhost:"));
        ASSERT_TRUE(std::regex_search(demo.output(), std::regex("PIN: [0-9]{4,6}\n"))) << demo.output();
        const auto last = demo.output().substr(demo.output().rfind('\n', demo.output().size() - 2) + 1);
        EXPECT_TRUE(std::regex_match(last, std::regex("http://localhost:[0-9]+\n"))) << last;
        EXPECT_FALSE(std::filesystem::is_empty(home_ / "tmp"));
        endsWithinASecond(demo, signal);
        EXPECT_TRUE(std::filesystem::is_empty(home_ / "tmp"));
        EXPECT_TRUE(std::filesystem::is_empty(home_ / "home")) << "the user's own folders are not touched";
    }
}

TEST_F(RunCommand, TheDemoLeavesNothingAfterTwoSignalsOrAnError) {
    BinaryRun demo(home_, {"run", "--demo", "--port", std::to_string(unusedPort())});
    ASSERT_TRUE(demo.prints("http://localhost:"));
    demo.signal(SIGSTOP);
    demo.signal(SIGTERM);
    demo.signal(SIGINT);
    demo.signal(SIGCONT);
    ASSERT_TRUE(demo.wait());
    EXPECT_TRUE(std::filesystem::is_empty(home_ / "tmp"));

    // The control socket fits nowhere below the folder for temporary files, and its other place is in the way.
    home_.environment["TMPDIR"] = home_ / ("tmp/" + std::string(100, 'x'));
    home_.environment["XDG_RUNTIME_DIR"] = home_ / "file";
    std::filesystem::create_directory(home_.environment["TMPDIR"]);
    base::replaceFile(home_ / "file", "");
    const auto outcome = runBinary(home_, {"--demo", "--port", std::to_string(unusedPort())});
    EXPECT_EQ(outcome.code, 1);
    EXPECT_THAT(outcome.errors, HasSubstr("Der Steueranschluss"));
    EXPECT_TRUE(std::filesystem::is_empty(home_.environment["TMPDIR"]));
}

/// A stand-in for the service manager: the datagrams of sd_notify(3).
class Notices {
public:
    explicit Notices(const std::filesystem::path& path) : socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.native().copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        const timeval limit{.tv_sec = 20, .tv_usec = 0};
        setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    }
    std::string next() {
        char text[500];
        const auto size = recv(socket_.get(), text, sizeof text, 0);
        return size > 0 ? std::string(text, std::size_t(size)) : "";
    }

private:
    base::FileDescriptor socket_;
};

TEST_F(RunCommand, TellsTheServiceManagerWhenItIsReadyAndWhenItStops) {
    const TemporaryFolder shallow;  // a socket address is short
    Notices notices(shallow / "notify");
    home_.environment["NOTIFY_SOCKET"] = shallow / "notify";
    BinaryRun program(home_, {});
    EXPECT_EQ(notices.next(), "READY=1");
    EXPECT_EQ(runBinary(home_, {"status"}).code, 0) << "ready means that it answers";
    program.signal(SIGTERM);
    EXPECT_EQ(notices.next(), "STOPPING=1");
    EXPECT_EQ(program.wait(), 0);
}

TEST_F(RunCommand, AsASystemServiceItsSocketIsForTheGroup) {
    const TemporaryFolder shallow;
    home_.environment["STATE_DIRECTORY"] = home_ / "state";
    home_.environment["RUNTIME_DIRECTORY"] = shallow.path();
    auto program = start();
    const auto socket = shallow / "control.sock";
    EXPECT_EQ(std::filesystem::status(socket).permissions(), std::filesystem::perms(0660));
    EXPECT_TRUE(std::filesystem::exists(home_ / "state/config/settings.sqlite"));
    EXPECT_EQ(runBinary(home_, {"status", "--socket", socket}).code, 0);
    endsWithinASecond(*program, SIGTERM);
    EXPECT_FALSE(std::filesystem::exists(socket));
    const auto gone = runBinary(home_, {"status", "--socket", socket});
    EXPECT_EQ(gone.code, 4);
    EXPECT_THAT(gone.errors, HasSubstr(socket.string()));
}

}  // namespace
