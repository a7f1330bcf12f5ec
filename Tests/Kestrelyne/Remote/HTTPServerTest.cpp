#include "Kestrelyne/Remote/HTTPServer.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <thread>

#include "Base/Mutex.hpp"
#include "Base/SerialQueue.hpp"
#include "Kestrelyne/Remote/PeerAddress.hpp"
#include "LoopbackClient.hpp"
#include "Support/TestLoop.hpp"

using kestrelyne::HTTPReply;
using kestrelyne::HTTPRequest;
using kestrelyne::HTTPResponse;
using kestrelyne::HTTPServer;
using namespace std::chrono_literals;

namespace {

#if defined(__has_feature)
constexpr bool addressSanitizer = __has_feature(address_sanitizer), threadSanitizer = __has_feature(thread_sanitizer);
#else
constexpr bool addressSanitizer = false, threadSanitizer = false;
#endif

constexpr std::string_view plainGet = "GET / HTTP/1.1\r\nHost: localhost\r\n\r\n";

// Answers at once: the body is the request's body, or its path when there is none.
void echo(HTTPRequest request, HTTPReply reply) {
    reply(HTTPResponse{.status = 200, .headers = {}, .body = request.body.empty() ? request.path : request.body});
}

// Replies that are given later, from the test's thread.
class Held {
public:
    kestrelyne::HTTPHandler handler() {
        return [this](HTTPRequest, HTTPReply reply) {
            base::Lock lock(mutex_);
            replies_.push_back(std::move(reply));
            condition_.notify_all();
        };
    }
    std::vector<HTTPReply> wait(std::size_t count) {
        base::Lock lock(mutex_);
        while (replies_.size() < count) condition_.wait(mutex_);
        return std::move(replies_);
    }

private:
    base::Mutex mutex_;
    base::Condition condition_;
    std::vector<HTTPReply> replies_ KESTRELYNE_GUARDED_BY(mutex_);
};

class HTTPServerTest : public testing::Test {
protected:
    // A server on the loopback address and a free port.
    std::uint16_t serve(kestrelyne::HTTPHandler handler, HTTPServer::Options options = {}) {
        server_.emplace(std::move(handler), options);
        return listen(0);
    }
    std::uint16_t listen(std::uint16_t port) {
        EXPECT_EQ(server_->start(port, std::vector<std::string>{"127.0.0.1"}, remember()), 1U);
        return server_->ports().empty() ? std::uint16_t{} : server_->ports().front();
    }
    std::function<void(std::string)> remember() {
        return [this](std::string text) { errors_.push_back(std::move(text)); };
    }
    // The server's own figure; nothing wakes the loop when it changes.
    [[nodiscard]] bool waitForOpen(std::size_t count) {
        const auto end = std::chrono::steady_clock::now() + 10s;
        while (server_->openConnections() != count && std::chrono::steady_clock::now() < end) std::this_thread::sleep_for(1ms);
        return server_->openConnections() == count;
    }

    TestLoop loop_{base::SystemClock::shared()};
    std::vector<std::string> errors_;
    std::optional<HTTPServer> server_;
};

TEST_F(HTTPServerTest, AnswersOneRequestAndCloses) {
    const auto port = serve(echo);
    EXPECT_EQ(askServer(port, "GET /hello HTTP/1.1\r\n\r\nGET /second HTTP/1.1\r\n\r\n"),
              "HTTP/1.1 200 OK\r\nContent-Length: 6\r\nConnection: close\r\nX-Content-Type-Options: nosniff\r\n"
              "Referrer-Policy: no-referrer\r\n\r\n/hello");
    EXPECT_TRUE(waitForOpen(0));
}

TEST_F(HTTPServerTest, WaitsForEverySegmentOfARequest) {
    const auto port = serve(echo);
    LoopbackClient client(port);
    for (const char* piece : {"POST / HT", "TP/1.1\r\nContent-Le", "ngth: 6\r\n\r", "\n", "abc", "de"}) {
        client.send(piece);
        EXPECT_FALSE(client.readable(10ms)) << piece;
    }
    client.send("f");
    EXPECT_EQ(bodyOf(client.readToEnd()), "abcdef");
}

TEST_F(HTTPServerTest, AnswersAClientThatHasEndedItsSide) {
    const auto port = serve(echo);
    LoopbackClient client(port);
    client.send("GET /a HTTP/1.1\r\n\r\n");
    client.endSending();
    EXPECT_EQ(bodyOf(client.readToEnd()), "/a");
}

TEST_F(HTTPServerTest, EndsSilentlyWhenThePeerEndsBeforeItsRequestIsWhole) {
    const auto port = serve(echo);
    for (const char* part : {"", "GET / HTTP/1.1\r\n", "GET\r\n\r\n", "POST / HTTP/1.1\r\nContent-Length: 5\r\n\r\n1234"}) {
        LoopbackClient client(port);
        client.send(part);
        client.endSending();
        EXPECT_EQ(client.readToEnd(), "") << part;
    }
}

TEST_F(HTTPServerTest, AMalformedRequestWaitsForThePeersEnd) {
    const auto port = serve(echo);
    LoopbackClient client(port);
    client.send("GET\r\n\r\n");
    EXPECT_FALSE(client.readable(50ms));
    client.close();
    EXPECT_TRUE(waitForOpen(0));
}

TEST_F(HTTPServerTest, TakesTwoMillionBytes) {
    const auto port = serve(echo);
    const std::string head = "POST / HTTP/1.1\r\nContent-Length: 1999956\r\n\r\n";
    const std::string body(1'999'956, 'x');
    const auto whole = head + body;
    ASSERT_EQ(whole.size(), 2'000'000U);
    EXPECT_EQ(bodyOf(askServer(port, whole)).size(), body.size());
}

TEST_F(HTTPServerTest, RefusesMoreAndTheClientGetsToReadIt) {
    const auto port = serve(echo);
    for (const std::size_t size : {2'000'001UL, 3'000'000UL}) {
        const std::string head = "POST / HTTP/1.1\r\nContent-Length: 1\r\nX: ";
        LoopbackClient client(port);
        client.send(head + std::string(size - head.size(), 'x'));
        const auto answer = client.readToEnd();
        EXPECT_EQ(statusOf(answer), 413) << size;
        EXPECT_EQ(bodyOf(answer), R"({"error":"zu groß"})");
    }
}

TEST_F(HTTPServerTest, AClientThatSendsMoreThanItAnnouncedGetsItsAnswer) {
    const auto port = serve(echo);
    LoopbackClient client(port);
    client.send("POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n");
    std::this_thread::sleep_for(20ms);  // the answer is on its way by now
    client.send("400\r\n" + std::string(1024, 'x') + "\r\n0\r\n\r\n");
    EXPECT_EQ(bodyOf(client.readToEnd()), "/");
    EXPECT_TRUE(waitForOpen(0)) << "and it is not listened to for ever";
}

TEST_F(HTTPServerTest, ClosesAClientThatNeverStopsSendingAfterItsAnswer) {
    const auto port = serve(echo, {.lingerLimit = base::Seconds(0.05)});
    LoopbackClient client(port);
    client.send("POST / HTTP/1.1\r\n\r\n");
    EXPECT_EQ(bodyOf(client.readToEnd()), "/");
    EXPECT_TRUE(waitForOpen(0));
}

TEST_F(HTTPServerTest, AnswersGivenLaterArriveFromAnyThread) {
    Held held;
    const auto port = serve(held.handler());
    LoopbackClient first(port), second(port);
    first.send(plainGet);
    auto replies = held.wait(1);
    second.send(plainGet);
    for (auto& reply : held.wait(1)) reply(HTTPResponse{.status = 200, .headers = {}, .body = "second"});
    EXPECT_EQ(bodyOf(second.readToEnd()), "second") << "a slow request does not hold the others";
    EXPECT_FALSE(first.readable(10ms));
    replies[0](HTTPResponse{.status = 200, .headers = {}, .body = "first"});
    EXPECT_EQ(bodyOf(first.readToEnd()), "first");
}

TEST_F(HTTPServerTest, AReplyThatIsDroppedClosesSilently) {
    Held held;
    const auto port = serve(held.handler());
    LoopbackClient client(port);
    client.send(plainGet);
    held.wait(1).clear();
    EXPECT_EQ(client.readToEnd(), "");
    EXPECT_TRUE(waitForOpen(0));
}

TEST_F(HTTPServerTest, AReplyForAClientThatIsGoneIsDropped) {
    Held held;
    const auto port = serve(held.handler());
    LoopbackClient client(port);
    client.send(plainGet);
    auto replies = held.wait(1);
    client.close();
    replies[0](HTTPResponse{.status = 200, .headers = {}, .body = std::string(5'000'000, 'x')});
    EXPECT_TRUE(waitForOpen(0));
}

TEST_F(HTTPServerTest, GivesThePeersAddress) {
    const auto port = serve(
        [](HTTPRequest request, HTTPReply reply) { reply(HTTPResponse{.status = 200, .headers = {}, .body = request.remoteIP}); });
    EXPECT_EQ(bodyOf(askServer(port, plainGet)), "127.0.0.1");
}

TEST_F(HTTPServerTest, AllAddressesTakeIPv4AndIPv6) {
    server_.emplace(
        [](HTTPRequest request, HTTPReply reply) { reply(HTTPResponse{.status = 200, .headers = {}, .body = request.remoteIP}); });
    ASSERT_EQ(server_->start(0, std::nullopt, remember()), 1U);
    const auto port = server_->ports().at(0);
    EXPECT_EQ(bodyOf(askServer(port, plainGet)), "127.0.0.1");

    const base::FileDescriptor socket(::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const auto address = *kestrelyne::numericAddress("::1", port);
    if (!socket || connect(socket.get(), reinterpret_cast<const sockaddr*>(&address.storage), address.length) != 0)
        GTEST_SKIP() << "this computer has no IPv6 loopback";
    ASSERT_EQ(::send(socket.get(), plainGet.data(), plainGet.size(), 0), static_cast<ssize_t>(plainGet.size()));
    std::string answer;
    char buffer[1000];
    for (ssize_t count; (count = recv(socket.get(), buffer, sizeof buffer, 0)) > 0;)
        answer.append(buffer, static_cast<std::size_t>(count));
    EXPECT_EQ(bodyOf(answer), "::1");
}

TEST_F(HTTPServerTest, ListensOnExactlyTheHostsGiven) {
    server_.emplace(echo);
    EXPECT_EQ(server_->start(0, std::vector<std::string>{"127.0.0.1", "127.0.0.2"}, remember()), 2U);
    EXPECT_EQ(server_->listening(), 2U);
    EXPECT_EQ(server_->ports().size(), 2U);
    EXPECT_EQ(bodyOf(askServer(server_->ports()[0], "GET /a HTTP/1.1\r\n\r\n")), "/a");
    EXPECT_TRUE(errors_.empty());
}

TEST_F(HTTPServerTest, TellsWhichListenerCannotBeMadeAndWhy) {
    const auto port = serve(echo);
    HTTPServer second(echo);
    EXPECT_EQ(second.start(port, std::vector<std::string>{"127.0.0.1", "192.0.2.1", "name"}, remember()), 0U);
    EXPECT_EQ(second.start(port, std::nullopt, remember()), 0U);
    const auto text = std::to_string(port);
    ASSERT_EQ(errors_.size(), 4U);
    EXPECT_EQ(errors_[0].substr(0, errors_[0].find(" – ")), "127.0.0.1:" + text);
    EXPECT_GT(errors_[0].size(), ("127.0.0.1:" + text + " – ").size());
    EXPECT_TRUE(errors_[1].starts_with("192.0.2.1:" + text + " – ")) << errors_[1];
    EXPECT_TRUE(errors_[2].starts_with("name:" + text + " – ")) << errors_[2];
    EXPECT_TRUE(errors_[3].starts_with("alle Adressen:" + text + " – ")) << errors_[3];
}

TEST_F(HTTPServerTest, OneListenerThatFailsLeavesTheOthers) {
    server_.emplace(echo);
    EXPECT_EQ(server_->start(0, std::vector<std::string>{"192.0.2.1", "127.0.0.1"}, remember()), 1U);
    EXPECT_EQ(errors_.size(), 1U);
    EXPECT_EQ(bodyOf(askServer(server_->ports()[0], "GET /a HTTP/1.1\r\n\r\n")), "/a");
}

TEST_F(HTTPServerTest, AListenerThatFailsLaterIsToldAndTheOthersGoOn) {
    server_.emplace(echo);
    ASSERT_EQ(server_->start(0, std::vector<std::string>{"127.0.0.1", "127.0.0.2"}, remember()), 2U);
    const auto ports = server_->ports();
    ASSERT_TRUE(breakListener(ports[1]));
    ASSERT_TRUE(loop_.runUntil([&] { return server_->listening() == 1; }));
    ASSERT_EQ(errors_.size(), 1U);
    EXPECT_TRUE(errors_[0].starts_with("127.0.0.2:0 – ")) << errors_[0];
    EXPECT_EQ(server_->ports(), std::vector<std::uint16_t>{ports[0]});
    EXPECT_EQ(bodyOf(askServer(ports[0], "GET /a HTTP/1.1\r\n\r\n")), "/a");
}

TEST_F(HTTPServerTest, StartingAnewOnTheSamePortIsPossibleAtOnce) {
    const auto port = serve(echo);
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(bodyOf(askServer(port, "GET /a HTTP/1.1\r\n\r\n")), "/a") << i;
        listen(port);
    }
    loop_.runTurns();
    EXPECT_TRUE(errors_.empty()) << errors_.front();
}

TEST_F(HTTPServerTest, StoppingLeavesConnectionsInFlight) {
    Held held;
    const auto port = serve(held.handler());
    LoopbackClient answering(port), receiving(port);
    answering.send(plainGet);
    receiving.send("GET / HT");
    auto replies = held.wait(1);
    ASSERT_TRUE(waitForOpen(2));
    server_->stop();
    EXPECT_EQ(server_->listening(), 0U);

    replies[0](HTTPResponse{.status = 200, .headers = {}, .body = "late"});
    EXPECT_EQ(bodyOf(answering.readToEnd()), "late");
    receiving.send("TP/1.1\r\n\r\n");
    held.wait(1)[0](HTTPResponse{.status = 200, .headers = {}, .body = "later"});
    EXPECT_EQ(bodyOf(receiving.readToEnd()), "later");

    const base::FileDescriptor refused(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const auto address = *kestrelyne::numericAddress("127.0.0.1", port);
    EXPECT_NE(connect(refused.get(), reinterpret_cast<const sockaddr*>(&address.storage), address.length), 0);
}

TEST_F(HTTPServerTest, TheServersEndFinishesAnswersAndClosesTheRest) {
    Held held;
    const auto port = serve(held.handler());
    LoopbackClient answering(port), receiving(port);
    answering.send(plainGet);
    receiving.send("GET / HT");
    auto replies = held.wait(1);
    ASSERT_TRUE(waitForOpen(2));
    server_.reset();
    EXPECT_TRUE(receiving.ended());
    replies[0](HTTPResponse{.status = 200, .headers = {}, .body = "late"});
    EXPECT_EQ(bodyOf(answering.readToEnd()), "late");
}

// Clients that take without giving.

TEST_F(HTTPServerTest, ALargeAnswerReachesASlowReader) {
    const std::string body(8'000'000, 'x');
    const auto port = serve([&](HTTPRequest, HTTPReply reply) { reply(HTTPResponse{.status = 200, .headers = {}, .body = body}); });
    LoopbackClient client(port, 4096);
    client.send(plainGet);
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(bodyOf(client.readToEnd()).size(), body.size());
}

TEST_F(HTTPServerTest, AClientThatNeverReadsIsGivenUpAndHoldsNobody) {
    const std::string large(20'000'000, 'x');
    const auto port = serve(
        [&](HTTPRequest request, HTTPReply reply) {
            reply(HTTPResponse{.status = 200, .headers = {}, .body = request.path == "/large" ? large : "small"});
        },
        {.stalledLimit = base::Seconds(0.3)});
    LoopbackClient client(port, 4096);
    client.send("GET /large HTTP/1.1\r\n\r\n");
    ASSERT_TRUE(waitForOpen(1));
    EXPECT_EQ(bodyOf(askServer(port, plainGet)), "small");
    EXPECT_TRUE(waitForOpen(0));
}

TEST_F(HTTPServerTest, TheOldestIdleConnectionMakesRoomForANewOne) {
    const auto port = serve(echo, {.mostConnections = 3});
    LoopbackClient first(port);
    ASSERT_TRUE(waitForOpen(1));
    LoopbackClient second(port);
    ASSERT_TRUE(waitForOpen(2));
    LoopbackClient third(port);
    ASSERT_TRUE(waitForOpen(3));
    EXPECT_EQ(bodyOf(askServer(port, "GET /a HTTP/1.1\r\n\r\n")), "/a");
    EXPECT_TRUE(first.ended());
    EXPECT_FALSE(second.readable(10ms));
    third.send("GET /b HTTP/1.1\r\n\r\n");
    EXPECT_EQ(bodyOf(third.readToEnd()), "/b");
}

TEST_F(HTTPServerTest, RequestsBeingAnsweredAreNeverGivenUpForNewOnes) {
    Held held;
    const auto port = serve(held.handler(), {.mostConnections = 2});
    LoopbackClient first(port), second(port);
    first.send(plainGet);
    second.send(plainGet);
    auto replies = held.wait(1);
    while (replies.size() < 2)
        for (auto& reply : held.wait(1)) replies.push_back(std::move(reply));
    EXPECT_EQ(askServer(port, plainGet).value_or(""), "") << "nobody can make room";
    for (auto& reply : replies) reply(HTTPResponse{.status = 200, .headers = {}, .body = "ok"});
    EXPECT_EQ(bodyOf(first.readToEnd()), "ok");
    EXPECT_EQ(bodyOf(second.readToEnd()), "ok");
}

TEST_F(HTTPServerTest, MemoryForUnfinishedRequestsIsBounded) {
    const auto port = serve(echo, {.mostRequestBytes = 300'000});
    const std::string part = "POST / HTTP/1.1\r\nContent-Length: 1000000\r\n\r\n" + std::string(200'000, 'x');
    LoopbackClient idle(port), first(port), second(port);
    first.send(part);
    std::this_thread::sleep_for(50ms);
    second.send(part);
    EXPECT_TRUE(first.ended()) << "the oldest one with bytes goes";
    EXPECT_FALSE(idle.readable(10ms)) << "who holds nothing stays";
    EXPECT_FALSE(second.readable(10ms));
    LoopbackClient alone(port);
    alone.send("POST / HTTP/1.1\r\nContent-Length: 1000000\r\n\r\n" + std::string(400'000, 'x'));
    EXPECT_TRUE(alone.ended());
}

// Sets the limit of open files and gives it back.
class FileLimit {
public:
    explicit FileLimit(rlim_t limit) {
        getrlimit(RLIMIT_NOFILE, &old_);
        const rlimit wanted{std::min(limit, old_.rlim_max), old_.rlim_max};
        setrlimit(RLIMIT_NOFILE, &wanted);
    }
    ~FileLimit() { setrlimit(RLIMIT_NOFILE, &old_); }

private:
    rlimit old_{};
};

TEST_F(HTTPServerTest, TenThousandIdleConnectionsDoNotStopNewOnes) {
    // The sanitizers make each connection so dear that fewer must do.
    constexpr bool sanitized = addressSanitizer || threadSanitizer;
    constexpr std::size_t idle = sanitized ? 1000 : 10000, most = sanitized ? 300 : 4096;
    // Client and server stand in one process here: each connection takes two descriptors.
    const FileLimit limit(idle + most + 1000);
    rlimit now{};
    getrlimit(RLIMIT_NOFILE, &now);
    if (now.rlim_cur < idle + most + 1000) GTEST_SKIP() << "this computer allows " << now.rlim_cur << " open files only";
    const auto port = serve(echo, {.mostConnections = most});
    std::vector<LoopbackClient> clients;
    clients.reserve(idle);
    for (std::size_t i = 0; i < idle; ++i) {
        clients.emplace_back(port);
        if (i % 1000 == 999) EXPECT_EQ(bodyOf(askServer(port, "GET /a HTTP/1.1\r\n\r\n")), "/a") << i;
    }
    EXPECT_TRUE(waitForOpen(most - 1)) << "all but the place of the last answer";
    EXPECT_EQ(bodyOf(askServer(port, "GET /a HTTP/1.1\r\n\r\n")), "/a");
    EXPECT_LE(server_->openConnections(), most);
    EXPECT_TRUE(clients.front().ended());
    EXPECT_FALSE(clients.back().readable(0ms));
}

int highestDescriptor() {
    const base::FileDescriptor probe(fcntl(0, F_DUPFD_CLOEXEC, 0));
    return probe.get();
}

TEST_F(HTTPServerTest, SurvivesRunningOutOfDescriptors) {
    if (addressSanitizer) GTEST_SKIP() << "the checker of object types opens a pipe to look at memory, which cannot be had here";
    base::SerialQueue::joinEnded();  // what earlier tests left gives no descriptor back meanwhile
    const auto port = serve(echo);
    EXPECT_EQ(bodyOf(askServer(port, "GET /a HTTP/1.1\r\n\r\n")), "/a");
    ASSERT_TRUE(waitForOpen(0));
    // The client's descriptor is made before, the server's finds none left.
    const base::FileDescriptor client(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const auto address = *kestrelyne::numericAddress("127.0.0.1", port);
    std::vector<base::FileDescriptor> hogs;
    rusage before{}, after{};
    {
        const FileLimit limit(static_cast<rlim_t>(highestDescriptor() + 20));
        for (;;) {
            base::FileDescriptor hog(fcntl(0, F_DUPFD_CLOEXEC, 0));
            if (!hog) break;
            hogs.push_back(std::move(hog));
        }
        ASSERT_EQ(errno, EMFILE);
        ASSERT_EQ(connect(client.get(), reinterpret_cast<const sockaddr*>(&address.storage), address.length), 0);
        ASSERT_EQ(::send(client.get(), plainGet.data(), plainGet.size(), 0), static_cast<ssize_t>(plainGet.size()));
        getrusage(RUSAGE_SELF, &before);
        pollfd wanted{client.get(), POLLIN, 0};
        EXPECT_EQ(poll(&wanted, 1, 400), 0) << "nobody can answer yet";
        getrusage(RUSAGE_SELF, &after);
        hogs.clear();
    }
    const auto microseconds = [](const rusage& usage) {
        return (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1'000'000L + usage.ru_utime.tv_usec + usage.ru_stime.tv_usec;
    };
    EXPECT_LT(microseconds(after) - microseconds(before), 200'000) << "it must not spin meanwhile";
    pollfd wanted{client.get(), POLLIN, 0};
    EXPECT_EQ(poll(&wanted, 1, 5000), 1) << "the one that waited is answered when there is room again";
    EXPECT_EQ(bodyOf(askServer(port, "GET /b HTTP/1.1\r\n\r\n")), "/b");
}

TEST_F(HTTPServerTest, WithoutDescriptorsAnIdleConnectionMakesRoom) {
    if (addressSanitizer) GTEST_SKIP() << "the checker of object types opens a pipe to look at memory, which cannot be had here";
    base::SerialQueue::joinEnded();  // what earlier tests left gives no descriptor back meanwhile
    const auto port = serve(echo);
    LoopbackClient idle(port);
    ASSERT_TRUE(waitForOpen(1));
    const base::FileDescriptor client(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const auto address = *kestrelyne::numericAddress("127.0.0.1", port);
    std::vector<base::FileDescriptor> hogs;
    const FileLimit limit(static_cast<rlim_t>(highestDescriptor() + 20));
    for (;;) {
        base::FileDescriptor hog(fcntl(0, F_DUPFD_CLOEXEC, 0));
        if (!hog) break;
        hogs.push_back(std::move(hog));
    }
    ASSERT_EQ(connect(client.get(), reinterpret_cast<const sockaddr*>(&address.storage), address.length), 0);
    ASSERT_EQ(::send(client.get(), plainGet.data(), plainGet.size(), 0), static_cast<ssize_t>(plainGet.size()));
    pollfd wanted{client.get(), POLLIN, 0};
    EXPECT_EQ(poll(&wanted, 1, 5000), 1);
    EXPECT_TRUE(idle.ended());
    hogs.clear();
}

}  // namespace
