#include "Kestrelyne/App/ControlServer.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <future>
#include <nlohmann/json.hpp>
#include <thread>

#include "Base/Completion.hpp"
#include "Base/File.hpp"
#include "Base/SerialQueue.hpp"
#include "Kestrelyne/App/ControlClient.hpp"
#include "Kestrelyne/App/ControlMessage.hpp"
#include "Support/TemporaryFolder.hpp"
#include "Support/TestLoop.hpp"

namespace kestrelyne {
namespace {

using nlohmann::json;
using namespace std::chrono_literals;

/// A client that sends what no honest one would.
class RawClient {
public:
    explicit RawClient(const std::filesystem::path& path) : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.native().copy(address.sun_path, longestSocketPath);
        EXPECT_EQ(connect(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0) << strerror(errno);
    }
    void send(std::string_view bytes) {
        while (!bytes.empty()) {
            const auto sent = ::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (sent <= 0) return;
            bytes.remove_prefix(static_cast<std::size_t>(sent));
        }
    }
    /// Without waiting: what has come so far.
    const std::string& received() {
        char piece[65536];
        for (;;) {
            const auto got = recv(socket_.get(), piece, sizeof piece, MSG_DONTWAIT);
            if (got <= 0) {
                closed_ = closed_ || got == 0 || (got < 0 && errno != EAGAIN);
                return received_;
            }
            received_.append(piece, static_cast<std::size_t>(got));
        }
    }
    bool closed() {
        received();
        return closed_;
    }
    int get() const { return socket_.get(); }

private:
    base::FileDescriptor socket_;
    std::string received_;
    bool closed_ = false;
};

class ControlServerTest : public testing::Test {
protected:
    static base::Co<json> echo(json request) { co_return request["text"]; }

    /// Looks every few milliseconds, as nothing in this process tells what a socket has received.
    [[nodiscard]] bool turnUntil(const std::function<bool()>& predicate, base::Seconds limit = 5s) {
        const auto end = std::chrono::steady_clock::now() + limit;
        while (!loop_.runUntilSeen(predicate, 2ms))
            if (std::chrono::steady_clock::now() > end) return false;
        return true;
    }
    void start(ControlServer::Limits limits = {}) {
        server_ = std::make_unique<ControlServer>(limits);
        server_->add("echo", echo);
        server_->add("refuse", [](json) -> base::Co<json> {
            throw ControlError("So nicht.", ExitCode::wrongWords);
            co_return json();
        });
        server_->add("break", [](json) -> base::Co<json> {
            throw std::runtime_error("kaputt");
            co_return json();
        });
        server_->add("wait", [this](json) -> base::Co<json> { return waiting(); });
        server_->add("large",
                     [](json request) -> base::Co<json> { co_return std::string(request["size"].get<std::size_t>(), 'x'); });
        server_->start(path_);
    }
    base::Co<json> waiting() {
        ++waitingNow_;
        co_await release_.wait();
        co_return "fertig";
    }
    /// Asks from another thread, as another process would, while the loop turns.
    json ask(const json& request) {
        auto answer = std::async(std::launch::async, [this, request] { return ControlClient(path_.path).request(request, 5s); });
        EXPECT_TRUE(turnUntil([&] { return answer.wait_for(0s) == std::future_status::ready; }));
        return answer.get();
    }
    [[nodiscard]] bool receives(RawClient& client, const std::string& text) {
        return turnUntil([&] { return client.received().find(text) != std::string::npos; });
    }
    void stop() {
        server_.reset();
        base::SerialQueue::joinEnded();
    }
    void TearDown() override { stop(); }

    TemporaryFolder folder_;
    ControlPath path_{.path = folder_ / "run" / "control.sock"};
    TestLoop loop_{base::SystemClock::shared()};
    base::Completion<base::Done> release_;
    int waitingNow_ = 0;
    std::unique_ptr<ControlServer> server_;
};

TEST_F(ControlServerTest, AnswersARequestWithTheResultOfItsVerb) {
    start();
    EXPECT_EQ(ask({{"verb", "echo"}, {"text", "Bühne\n2"}}), "Bühne\n2");
}

TEST_F(ControlServerTest, TellsWhatAVerbThrowsWithItsCode) {
    start();
    const std::pair<json, std::pair<std::string, ExitCode>> rows[] = {
        {{{"verb", "refuse"}}, {"So nicht.", ExitCode::wrongWords}},
        {{{"verb", "break"}}, {"kaputt", ExitCode::failed}},
        {{{"verb", "unknown"}}, {"Das laufende Programm kennt diesen Befehl nicht.", ExitCode::wrongWords}},
        {{{"noverb", 1}}, {"Die Anfrage ist kein JSON-Objekt mit einem Text „verb“.", ExitCode::wrongWords}},
    };
    for (const auto& [request, expected] : rows) {
        try {
            ask(request);
            ADD_FAILURE() << request;
        } catch (const ControlError& error) {
            EXPECT_EQ(error.what(), expected.first);
            EXPECT_EQ(error.code(), expected.second);
        }
    }
}

TEST_F(ControlServerTest, OneConnectionAsksOneAfterTheOther) {
    start();
    RawClient client(path_.path);
    client.send("{\"verb\":\"echo\",\"text\":1}\r\n\n{\"verb\":\"wait\"}\nrubbish\n{\"verb\":\"echo\",\"text\":2}\n");
    ASSERT_TRUE(turnUntil([&] { return waitingNow_ == 1; }));
    EXPECT_EQ(client.received(), "{\"result\":1}\n") << "the second is not answered yet, so no later one is";
    release_.complete({});
    ASSERT_TRUE(receives(client, "{\"result\":2}\n"));
    EXPECT_TRUE(client.received().starts_with("{\"result\":1}\n{\"result\":\"fertig\"}\n{\"code\":2,\"error\":"))
        << client.received();
}

TEST_F(ControlServerTest, AVerbThatWaitsHoldsUpNobodyElse) {
    start();
    RawClient client(path_.path);
    client.send("{\"verb\":\"wait\"}\n");
    ASSERT_TRUE(turnUntil([&] { return waitingNow_ == 1; }));
    EXPECT_EQ(ask({{"verb", "echo"}, {"text", "x"}}), "x");
    release_.complete({});
    EXPECT_TRUE(receives(client, "fertig"));
}

TEST_F(ControlServerTest, AnswersAClientThatHasFinishedSending) {
    start();
    RawClient client(path_.path);
    client.send("{\"verb\":\"echo\",\"text\":1}\n{\"verb\":\"echo\",\"text\":2}\n");
    shutdown(client.get(), SHUT_WR);
    ASSERT_TRUE(turnUntil([&] { return client.closed(); }));
    EXPECT_EQ(client.received(), "{\"result\":1}\n{\"result\":2}\n");
}

TEST_F(ControlServerTest, AClientThatLeavesInTheMiddleDoesNoHarm) {
    start();
    {
        RawClient half(path_.path);
        half.send("{\"verb\":\"ec");
        RawClient waiting(path_.path);
        waiting.send("{\"verb\":\"wait\"}\n");
        ASSERT_TRUE(turnUntil([&] { return waitingNow_ == 1; }));
    }
    release_.complete({});
    EXPECT_EQ(ask({{"verb", "echo"}, {"text", "x"}}), "x");
}

TEST_F(ControlServerTest, ALineBeyondTheLimitEndsItsConnection) {
    start({.lineBytes = 100});
    RawClient client(path_.path);
    client.send("{\"verb\":\"echo\",\"text\":\"" + std::string(100, 'x') + "\"}\n");
    ASSERT_TRUE(turnUntil([&] { return client.closed(); }));
    EXPECT_NE(client.received().find("zu lang"), std::string::npos) << client.received();
    EXPECT_EQ(ask({{"verb", "echo"}, {"text", "x"}}), "x");
}

TEST_F(ControlServerTest, ALongRequestUpToTheLimitIsAnswered) {
    constexpr std::size_t limit = 1 << 20;
    start({.lineBytes = limit});
    const std::string text(limit - 30, 'x');
    EXPECT_EQ(ask({{"verb", "echo"}, {"text", text}}), "x" + text.substr(1));
}

TEST_F(ControlServerTest, AnAnswerBeyondTheLimitBecomesAnError) {
    start({.answerBytes = 1000});
    EXPECT_EQ(ask({{"verb", "large"}, {"size", 900}}).get<std::string>().size(), 900u);
    EXPECT_THROW(ask({{"verb", "large"}, {"size", 1000}}), ControlError);
}

TEST_F(ControlServerTest, AClientThatNeverReadsIsClosedAndReachesNobodyElse) {
    start({.silence = 1s});
    RawClient client(path_.path);
    client.send("{\"verb\":\"large\",\"size\":4000000}\n");
    EXPECT_EQ(ask({{"verb", "echo"}, {"text", "x"}}), "x");
    // Its socket is full and stays so; after the silence the server hangs up.
    ASSERT_TRUE(turnUntil([&] {
        pollfd entry{.fd = client.get(), .events = 0, .revents = 0};
        return poll(&entry, 1, 10) == 1 && (entry.revents & POLLHUP) != 0;
    }));
    EXPECT_LT(client.received().size(), 4000000u);
}

TEST_F(ControlServerTest, ASlowReaderGetsTheWholeOfALargeAnswer) {
    start();
    EXPECT_EQ(ask({{"verb", "large"}, {"size", 8000000}}).get<std::string>().size(), 8000000u);
}

TEST_F(ControlServerTest, ASilentClientIsClosedButNotOneThatWaits) {
    start({.silence = 0.1s});
    RawClient waiting(path_.path), silent(path_.path);
    waiting.send("{\"verb\":\"wait\"}\n");
    ASSERT_TRUE(turnUntil([&] { return silent.closed() && waitingNow_ == 1; }));
    std::this_thread::sleep_for(200ms);  // twice the silence
    loop_.runTurns();
    EXPECT_FALSE(waiting.closed());
    release_.complete({});
    EXPECT_TRUE(receives(waiting, "fertig"));
}

TEST_F(ControlServerTest, OneClientTooManyIsToldSo) {
    start({.clients = 3});
    RawClient first(path_.path), second(path_.path), third(path_.path), fourth(path_.path);
    ASSERT_TRUE(turnUntil([&] { return fourth.closed(); }));
    EXPECT_NE(fourth.received().find("Zu viele Verbindungen"), std::string::npos);
    EXPECT_FALSE(first.closed());
    shutdown(first.get(), SHUT_RDWR);
    ASSERT_TRUE(turnUntil([&] { return first.closed(); }));
    EXPECT_TRUE(turnUntil([&] {
        RawClient next(path_.path);
        next.send("{\"verb\":\"echo\",\"text\":7}\n");
        return turnUntil([&] { return next.closed() || next.received() == "{\"result\":7}\n"; }) &&
               next.received() == "{\"result\":7}\n";
    }));
}

TEST_F(ControlServerTest, SurvivesRunningOutOfDescriptors) {
    start();
    RawClient early(path_.path);
    early.send("{\"verb\":\"echo\",\"text\":1}\n");
    ASSERT_TRUE(receives(early, "result"));
    base::FileDescriptor late(socket(AF_UNIX, SOCK_STREAM, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path_.path.native().copy(address.sun_path, longestSocketPath);
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    auto none = limit;
    none.rlim_cur = 3;
    setrlimit(RLIMIT_NOFILE, &none);
    ASSERT_EQ(connect(late.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    const timespec before = [] {
        timespec t;
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
        return t;
    }();
    std::this_thread::sleep_for(300ms);
    const timespec after = [] {
        timespec t;
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
        return t;
    }();
    setrlimit(RLIMIT_NOFILE, &limit);
    const double used = double(after.tv_sec - before.tv_sec) + double(after.tv_nsec - before.tv_nsec) / 1e9;
    EXPECT_LT(used, 0.1) << "it waits instead of spinning";
    const std::string_view request = "{\"verb\":\"echo\",\"text\":2}\n";
    ASSERT_EQ(send(late.get(), request.data(), request.size(), 0), ssize_t(request.size()));
    char piece[100];
    ASSERT_TRUE(turnUntil([&] { return recv(late.get(), piece, sizeof piece, MSG_DONTWAIT) > 0; }));
}

TEST_F(ControlServerTest, TheSocketIsPrivateOrForTheGroupWhateverTheUmask) {
    struct stat status {};
    const auto old = umask(0);
    start();
    stat(path_.path.c_str(), &status);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
    stat(path_.path.parent_path().c_str(), &status);
    EXPECT_EQ(status.st_mode & 0777, 0700u);
    server_->stop();
    umask(077);
    path_.forGroup = true;
    server_->start(path_);
    umask(old);
    stat(path_.path.c_str(), &status);
    EXPECT_EQ(status.st_mode & 0777, 0660u);
    EXPECT_EQ(ask({{"verb", "echo"}, {"text", "x"}}), "x");
}

TEST_F(ControlServerTest, RemovesItsSocketAtTheEndAndReplacesALeftOne) {
    start();
    ASSERT_TRUE(std::filesystem::exists(path_.path));
    stop();
    EXPECT_FALSE(std::filesystem::exists(path_.path));
    {
        // What a killed program leaves.
        base::FileDescriptor left(socket(AF_UNIX, SOCK_STREAM, 0));
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path_.path.native().copy(address.sun_path, longestSocketPath);
        ASSERT_EQ(bind(left.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        ASSERT_EQ(listen(left.get(), 1), 0);
    }
    ASSERT_TRUE(std::filesystem::exists(path_.path));
    start();
    EXPECT_EQ(ask({{"verb", "echo"}, {"text", "x"}}), "x");
}

TEST_F(ControlServerTest, LeavesASocketInUseAndAFileAlone) {
    start();
    ControlServer second;
    EXPECT_THROW(second.start(path_), std::runtime_error);
    EXPECT_EQ(ask({{"verb", "echo"}, {"text", "x"}}), "x");
    base::replaceFile(folder_ / "file", "mine");
    EXPECT_THROW(second.start({.path = folder_ / "file"}), std::runtime_error);
    EXPECT_EQ(base::readFile(folder_ / "file"), "mine");
    EXPECT_THROW(second.start({.path = folder_ / std::string(200, 'x')}), std::runtime_error);
}

TEST_F(ControlServerTest, EndsWithRequestsUnderWay) {
    start();
    RawClient client(path_.path);
    client.send("{\"verb\":\"wait\"}\n");
    ASSERT_TRUE(turnUntil([&] { return waitingNow_ == 1; }));
    stop();
    release_.complete({});
    loop_.runTurns();
    EXPECT_TRUE(client.closed());
    EXPECT_EQ(client.received(), "");
}

TEST_F(ControlServerTest, ManyClientsAtOnceGetTheirOwnAnswers) {
    start();
    constexpr int clients = 8, requests = 20;
    std::atomic<int> right = 0, ended = 0;
    std::vector<std::thread> threads;
    for (int c = 0; c < clients; ++c)
        threads.emplace_back([&, c] {
            ControlClient client(path_.path);
            for (int i = 0; i < requests; ++i)
                if (client.request({{"verb", "echo"}, {"text", c * 1000 + i}}, 10s) == c * 1000 + i) ++right;
            ++ended;
        });
    EXPECT_TRUE(turnUntil([&] { return ended == clients; }, 10s));
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(right, clients * requests);
}

TEST_F(ControlServerTest, TheClientTellsWhenNobodyListens) {
    for (const auto& path : {folder_ / "none.sock", folder_ / "none" / "x.sock"}) {
        try {
            ControlClient client(path);
            ADD_FAILURE() << path;
        } catch (const ControlError& error) {
            EXPECT_EQ(error.code(), ExitCode::notRunning);
        }
    }
}

/// Answers one request with what a test says, then hangs up.
std::string whatTheClientMakesOf(const std::filesystem::path& path, const std::string& answer) {
    base::FileDescriptor listener(socket(AF_UNIX, SOCK_STREAM, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.native().copy(address.sun_path, longestSocketPath);
    unlink(path.c_str());
    EXPECT_EQ(bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(listen(listener.get(), 1), 0);
    std::thread peer([&] {
        base::FileDescriptor client(accept(listener.get(), nullptr, nullptr));
        char piece[1000];
        [[maybe_unused]] const auto got = recv(client.get(), piece, sizeof piece, 0);
        [[maybe_unused]] const auto sent = send(client.get(), answer.data(), answer.size(), MSG_NOSIGNAL);
    });
    std::string outcome;
    try {
        outcome = ControlClient(path).request({{"verb", "x"}}, 5s).dump();
    } catch (const ControlError& error) {
        outcome = std::to_string(static_cast<int>(error.code())) + " " + error.what();
    }
    peer.join();
    return outcome;
}

TEST(ControlClient, PassesOverProgressAndWithstandsAnyAnswer) {
    const TemporaryFolder folder;
    const auto outcome = [&](const std::string& answer) { return whatTheClientMakesOf(folder / "x.sock", answer); };
    EXPECT_EQ(outcome("{\"progress\":0.5}\n{\"progress\":{\"step\":2}}\n{\"result\":[1]}\n"), "[1]");
    EXPECT_EQ(outcome("{\"result\":null}\n"), "null");
    EXPECT_EQ(outcome("{\"error\":\"nein\",\"code\":2}\n"), "2 nein");
    EXPECT_EQ(outcome("{\"error\":\"nein\",\"code\":77}\n"), "1 nein");
    EXPECT_EQ(outcome("{\"error\":\"nein\"}\n"), "1 nein");
    const auto lost = "1 Das laufende Programm hat die Verbindung beendet.";
    EXPECT_EQ(outcome(""), lost);
    EXPECT_EQ(outcome("{\"result\":1}"), lost);
    EXPECT_EQ(outcome("{\"progress\":1}\n"), lost);
    const auto unclear = "1 Die Antwort des laufenden Programms ist unverständlich.";
    for (const auto* answer : {"rubbish\n", "{}\n", "[]\n", "{\"error\":5}\n", "\n"}) EXPECT_EQ(outcome(answer), unclear) << answer;
}

}  // namespace
}  // namespace kestrelyne
