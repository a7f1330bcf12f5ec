#include "Kestrelyne/Remote/WebServer.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <nlohmann/json.hpp>

#include "LoopbackClient.hpp"
#include "Support/TemporaryFolder.hpp"
#include "Support/TestLoop.hpp"

using namespace kestrelyne;
using namespace std::chrono_literals;
using Texts = std::vector<std::string>;

namespace {

constexpr const char* onlyTailscale =
    "Nur Tailscale-Zugang gewählt, Tailscale ist aber nicht verbunden – die Web-App ist nur auf diesem Rechner (localhost) "
    "erreichbar. "
    "„Im lokalen Netz erreichbar“ einschalten oder Tailscale verbinden.";
constexpr const char* noCertificates =
    "HTTPS-Zertifikate sind in deinem Tailnet nicht aktiviert. Im Tailscale-Admin unter DNS → „HTTPS Certificates“ auf „Enable "
    "HTTPS“ "
    "klicken, dann hier erneut einschalten.";

base::Co<HTTPResponse> okRoute(HTTPRequest request) { co_return HTTPResponse::json({{"path", request.path}}); }

HTTPRequest withCookie(const std::string& token) {
    HTTPRequest request;
    request.headers["cookie"] = "kestrelyne_session=" + token;
    return request;
}

// What the Tailscale program would say; runs on the pool's threads.
struct FakeTailscale {
    base::Mutex mutex;
    std::string status KESTRELYNE_GUARDED_BY(mutex) = "{}";
    std::string serveStatus KESTRELYNE_GUARDED_BY(mutex) = "{}";
    std::optional<base::ChildResult> serveResult KESTRELYNE_GUARDED_BY(mutex) = base::ChildResult{.output = "", .exitCode = 0};
    Texts calls KESTRELYNE_GUARDED_BY(mutex);

    base::ChildRunner runner() {
        return [this](const std::string&, const Texts& arguments, base::Seconds) -> std::optional<base::ChildResult> {
            std::string words;
            for (const auto& word : arguments) words += (words.empty() ? "" : " ") + word;
            base::Lock lock(mutex);
            calls.push_back(words);
            if (words == "status --json") return base::ChildResult{.output = status, .exitCode = 0};
            if (words == "serve status --json") return base::ChildResult{.output = serveStatus, .exitCode = 0};
            return serveResult;
        };
    }
    void set(std::string statusText, std::string serveText = "{}") {
        base::Lock lock(mutex);
        status = std::move(statusText);
        serveStatus = std::move(serveText);
    }
    bool called(const std::string& words) {
        base::Lock lock(mutex);
        return std::ranges::find(calls, words) != calls.end();
    }
};

class WebServerTest : public testing::Test {
protected:
    WebServerTest() {
        std::filesystem::create_directories(folder_ / "web");
        std::ofstream(folder_ / "web" / "index.html") << "<p>start</p>";
        std::ofstream(folder_ / "tailscale") << "#!/bin/sh\n";
        std::filesystem::permissions(folder_ / "tailscale", std::filesystem::perms::owner_all);
    }
    void TearDown() override {
        web_.reset();
        loop_.runTurns();
        // What still runs on the pool reads what the members below hold.
        pool_.reset();
        base::SerialQueue::joinEnded();
    }

    void make(const Texts& tailscalePaths = {}) {
        web_ = std::make_unique<WebServer>(WebServer::Dependencies{.settings = settings_,
                                                                   .pool = *pool_,
                                                                   .hostAddresses =
                                                                       [this] {
                                                                           base::Lock lock(addressesMutex_);
                                                                           return addresses_;
                                                                       },
                                                                   .child = tailscale_.runner(),
                                                                   .webRoot = folder_ / "web",
                                                                   .tailscalePaths = tailscalePaths});
        web_->setRoute(okRoute);
    }
    // Listens on the loopback address and a free port.
    std::uint16_t makeListening() {
        settings_.setBlob("web.v1", R"({"enabled":true,"port":0,"allowLAN":false})");
        make();
        web_->attach();
        return web_->boundPort().value_or(0);
    }
    void setAddresses(std::vector<base::HostAddress> addresses) {
        base::Lock lock(addressesMutex_);
        addresses_ = std::move(addresses);
    }
    void change(auto change) {
        auto config = *web_->config();
        change(config);
        web_->setConfig(std::move(config));
    }
    // A request and its answer while the main thread works.
    std::optional<std::string> ask(std::uint16_t port, std::string_view request) {
        LoopbackClient client(port);
        client.send(request);
        const auto end = std::chrono::steady_clock::now() + 10s;
        while (!client.readable(1ms) && std::chrono::steady_clock::now() < end) loop_.runTurns();
        return client.readToEnd();
    }

    TemporaryFolder folder_;
    base::Mutex addressesMutex_;
    std::vector<base::HostAddress> addresses_ KESTRELYNE_GUARDED_BY(addressesMutex_){{"eth0", "192.168.1.20"}};
    FakeTailscale tailscale_;
    TestLoop loop_;
    SettingsStore settings_;
    std::optional<base::BackgroundPool> pool_{std::in_place, "web.test", 4};
    std::unique_ptr<WebServer> web_;
};

// Settings

TEST_F(WebServerTest, StartsFromTheStoredSettings) {
    settings_.setBlob("web.v1", R"({"port":9000,"pin":"12"})");
    make();
    EXPECT_EQ(web_->config()->port, 9000);
    EXPECT_EQ(web_->config()->pin, "12");
    EXPECT_FALSE(*web_->running());
}

TEST_F(WebServerTest, SettingsStoredAsTextCountAndRemovedOnesAreTheDefaults) {
    settings_.setText("web.v1", R"({"port":9000})");
    make();
    EXPECT_EQ(web_->config()->port, 9000);
    settings_.remove("web.v1");
    make();
    EXPECT_EQ(*web_->config(), WebConfig());
}

TEST_F(WebServerTest, DamagedSettingsAreTheDefaults) {
    settings_.setBlob("web.v1", R"({"port":"x","pin":"12"})");
    settings_.setBlob("web.sessions", R"(["a",5])");
    make();
    EXPECT_EQ(*web_->config(), WebConfig());
    change([](WebConfig& config) { config.pin = "12"; });
    EXPECT_FALSE(web_->isAuthed(withCookie("a")));
}

TEST_F(WebServerTest, EveryChangeIsSavedAndToldOnce) {
    make();
    int told = 0;
    const auto subscription = web_->config().observe([&] {
        ++told;
        EXPECT_EQ(settings_.blob("web.v1"), web_->config()->toJSON().dump()) << "saved before anybody is told";
    });
    change([](WebConfig& config) { config.pushSubject = "mailto:x"; });
    EXPECT_EQ(told, 1);
    EXPECT_EQ(WebConfig::fromStored(*settings_.blob("web.v1")).pushSubject, "mailto:x");
}

TEST_F(WebServerTest, NothingListensBeforeAttach) {
    settings_.setBlob("web.v1", R"({"enabled":true,"port":0})");
    make();
    EXPECT_FALSE(*web_->running());
    EXPECT_FALSE(web_->boundPort());
    change([](WebConfig& config) { config.allowLAN = false; });
    web_->restart();
    EXPECT_FALSE(*web_->running());
    EXPECT_FALSE(web_->boundPort());
    EXPECT_TRUE(web_->errors()->empty());
    web_->attach();
    EXPECT_TRUE(*web_->running());
    EXPECT_TRUE(web_->boundPort());
}

TEST_F(WebServerTest, ChangesBeforeAttachAreSavedAndCount) {
    settings_.setBlob("web.sessions", R"(["t"])");
    make();
    change([](WebConfig& config) {
        config.pin = "12";
        config.publicURL = "https://show.example";
        config.enabled = true;
        config.allowLAN = false;
        config.port = 0;
    });
    EXPECT_EQ(settings_.blob("web.sessions"), "[]");
    EXPECT_EQ(WebConfig::fromStored(*settings_.blob("web.v1")), *web_->config());
    web_->attach();
    EXPECT_EQ(statusOf(askServer(web_->boundPort().value_or(0), "GET / HTTP/1.1\r\nHost: show.example\r\n\r\n")), 200);
}

TEST_F(WebServerTest, OnlyEnabledPortAndLANListenAnew) {
    const auto port = makeListening();
    change([](WebConfig& config) {
        config.publicURL = "https://show.example";
        config.control = WebConfig::Control::full;
        config.pin = "1";
        config.pushSubject = "x";
    });
    EXPECT_EQ(web_->boundPort(), port) << "the same listener";
    change([](WebConfig& config) { config.allowLAN = true; });
    EXPECT_NE(web_->boundPort(), port) << "a free port again, another one";
    change([](WebConfig& config) { config.enabled = false; });
    EXPECT_FALSE(web_->boundPort());
    EXPECT_FALSE(*web_->running());
}

TEST_F(WebServerTest, ATakenPortIsToldAndNothingRuns) {
    const auto port = makeListening();
    const auto taken = std::make_unique<HTTPServer>([](HTTPRequest, HTTPReply) {});
    ASSERT_EQ(taken->start(0, Texts{"127.0.0.1"}, [](const std::string&) {}), 1U);
    const auto takenPort = taken->ports().at(0);
    ASSERT_NE(takenPort, port);
    setAddresses({{"ts0", "100.64.0.1"}});  // not an address of this computer: its listener fails as well
    change([&](WebConfig& config) { config.port = takenPort; });
    EXPECT_FALSE(*web_->running());
    ASSERT_EQ(web_->errors()->size(), 2U);
    EXPECT_TRUE(web_->errors()->at(0).starts_with("127.0.0.1:" + std::to_string(takenPort) + " – ")) << web_->errors()->at(0);
    EXPECT_TRUE(web_->errors()->at(1).starts_with("100.64.0.1:" + std::to_string(takenPort) + " – ")) << web_->errors()->at(1);
    change([](WebConfig& config) { config.port = 0; });
    EXPECT_TRUE(*web_->running()) << "the loopback listener stands";
    EXPECT_EQ(web_->errors()->size(), 1U) << "old errors are gone";
}

TEST_F(WebServerTest, NothingRunsWhenTheLastListenerHasFailed) {
    const auto port = makeListening();
    ASSERT_TRUE(breakListener(port));
    ASSERT_TRUE(loop_.runUntil([&] { return !*web_->running(); }));
    EXPECT_TRUE(web_->errors()->back().starts_with("127.0.0.1:0 – ")) << web_->errors()->back();
    EXPECT_FALSE(web_->boundPort());
    web_->restart();
    EXPECT_TRUE(*web_->running());
}

TEST_F(WebServerTest, WithoutLANAndTailscaleItSaysSo) {
    makeListening();
    EXPECT_TRUE(*web_->running());
    EXPECT_EQ(*web_->errors(), Texts{onlyTailscale});
    change([](WebConfig& config) { config.allowLAN = true; });
    EXPECT_TRUE(web_->errors()->empty());
}

TEST_F(WebServerTest, ARestartLeavesConnectionsInFlight) {
    const auto port = makeListening();
    LoopbackClient client(port);
    client.send("GET / HTTP/1.1\r\nHo");
    EXPECT_FALSE(client.readable(20ms));
    web_->restart();
    client.send("st: localhost\r\n\r\n");
    EXPECT_EQ(bodyOf(client.readToEnd()), "<p>start</p>");
}

// Addresses

TEST_F(WebServerTest, AddressesComeInTheirOrder) {
    settings_.setBlob("web.v1", R"({"port":8470,"publicURL":"http://show.example/"})");
    tailscale_.set(R"({"Self":{"DNSName":"foh.tail.ts.net.","Online":true,"TailscaleIPs":["100.64.0.9"]}})",
                   "http://localhost:8470");
    setAddresses({{"eth0", "192.168.1.20"}, {"ts0", "100.64.0.9"}, {"eth1", "10.0.0.5"}});
    make({folder_ / "tailscale"});
    EXPECT_EQ(web_->urls(), (Texts{"http://show.example", "http://localhost:8470"})) << "before it is attached";
    web_->attach();
    ASSERT_TRUE(loop_.runUntil([&] { return web_->tailscale()->online.has_value(); }));
    EXPECT_EQ(web_->urls(),
              (Texts{"http://show.example", "https://foh.tail.ts.net", "http://foh.tail.ts.net:8470", "http://100.64.0.9:8470",
                     "http://192.168.1.20:8470", "http://10.0.0.5:8470", "http://localhost:8470"}));
    EXPECT_EQ(web_->httpsURL(), "https://foh.tail.ts.net") << "the public address has no HTTPS";
    change([](WebConfig& config) {
        config.publicURL = "https://show.example/";
        config.allowLAN = false;
    });
    EXPECT_EQ(web_->httpsURL(), "https://show.example");
    EXPECT_EQ(web_->urls(), (Texts{"https://show.example", "https://foh.tail.ts.net", "http://foh.tail.ts.net:8470",
                                   "http://100.64.0.9:8470", "http://localhost:8470"}));
}

TEST_F(WebServerTest, WithoutAnythingThereIsLocalhostAndNoHTTPS) {
    make();
    setAddresses({});
    web_->attach();
    EXPECT_EQ(web_->urls(), Texts{"http://localhost:8470"});
    EXPECT_FALSE(web_->httpsURL());
    EXPECT_FALSE(web_->publicURL());
    change([](WebConfig& config) { config.publicURL = "http://show.example"; });
    EXPECT_FALSE(web_->httpsURL());
    EXPECT_EQ(web_->urls().front(), "http://show.example");
}

// Sessions

TEST_F(WebServerTest, SessionsAreStoredAndCountAfterARestartOfTheProgram) {
    settings_.setBlob("web.v1", R"({"pin":"12"})");
    make();
    EXPECT_FALSE(web_->login("13", "a"));
    const auto token = web_->login("12", "a");
    ASSERT_TRUE(token);
    EXPECT_TRUE(web_->isAuthed(withCookie(*token)));
    EXPECT_FALSE(web_->isAuthed(HTTPRequest()));
    EXPECT_FALSE(web_->isAuthed(withCookie(token->substr(1))));
    EXPECT_EQ(settings_.blob("web.sessions"), nlohmann::json(Texts{*token}).dump());
    make();
    EXPECT_TRUE(web_->isAuthed(withCookie(*token)));
}

TEST_F(WebServerTest, ANewPINEndsAllSessions) {
    settings_.setBlob("web.v1", R"({"pin":"12"})");
    make();
    const auto token = web_->login("12", "a");
    change([](WebConfig& config) { config.port = 8471; });
    EXPECT_TRUE(web_->isAuthed(withCookie(*token))) << "another setting leaves them";
    change([](WebConfig& config) { config.pin = "13"; });
    EXPECT_FALSE(web_->isAuthed(withCookie(*token)));
    EXPECT_EQ(settings_.blob("web.sessions"), "[]");
}

TEST_F(WebServerTest, WithoutAPINNoStoredSessionCounts) {
    settings_.setBlob("web.sessions", R"(["t"])");
    make();
    EXPECT_FALSE(web_->isAuthed(withCookie("t")));
    settings_.setBlob("web.v1", R"({"pin":"12"})");
    make();
    EXPECT_TRUE(web_->isAuthed(withCookie("t")));
}

TEST_F(WebServerTest, LogoutAllEndsAllSessions) {
    settings_.setBlob("web.v1", R"({"pin":"12"})");
    settings_.setBlob("web.sessions", R"(["t"])");
    make();
    web_->logoutAll();
    EXPECT_FALSE(web_->isAuthed(withCookie("t")));
    EXPECT_EQ(settings_.blob("web.sessions"), "[]");
}

TEST_F(WebServerTest, AttemptsAgeOnTheSteadyClock) {
    settings_.setBlob("web.v1", R"({"pin":"12"})");
    make();
    for (int i = 0; i < 5; ++i) web_->login("x", "a");
    EXPECT_TRUE(web_->tooManyAttempts("a"));
    loop_.clock().jumpWall(base::Seconds(3600));
    EXPECT_TRUE(web_->tooManyAttempts("a"));
    loop_.clock().advance(base::Seconds(60));
    EXPECT_FALSE(web_->tooManyAttempts("a"));
}

// Requests

TEST_F(WebServerTest, AForeignHostIsRefusedForFilesAndAPI) {
    const auto port = makeListening();
    for (const char* path : {"/", "/api/info", "/a/../b"}) {
        const auto answer = askServer(port, std::string("GET ") + path + " HTTP/1.1\r\nHost: evil.example\r\n\r\n");
        EXPECT_EQ(statusOf(answer), 403) << path;
        EXPECT_EQ(bodyOf(answer), R"({"error":"Host nicht erlaubt"})");
    }
    EXPECT_EQ(*web_->requestCount(), 0U);
    for (const char* host : {"Host: localhost\r\n", "Host: 192.168.1.20:8470\r\n", "Host: 999.999.999.999\r\n", ""})
        EXPECT_EQ(statusOf(askServer(port, std::string("GET / HTTP/1.1\r\n") + host + "\r\n")), 200) << host;
}

TEST_F(WebServerTest, ThePublicHostIsAllowedAsSoonAsItIsSet) {
    const auto port = makeListening();
    const std::string request = "GET / HTTP/1.1\r\nHost: show.example\r\n\r\n";
    EXPECT_EQ(statusOf(askServer(port, request)), 403);
    change([](WebConfig& config) { config.publicURL = "show.example/"; });
    EXPECT_EQ(statusOf(askServer(port, request)), 403) << "without a scheme it is no address";
    change([](WebConfig& config) { config.publicURL = "https://Show.Example:443/"; });
    EXPECT_EQ(statusOf(askServer(port, request)), 200);
    change([](WebConfig& config) { config.publicURL = ""; });
    EXPECT_EQ(statusOf(askServer(port, request)), 403);
}

TEST_F(WebServerTest, FilesNeedNoMainThreadAndTakeAnyMethod) {
    const auto port = makeListening();
    for (const char* method : {"GET", "HEAD", "POST", "BREW"}) {
        const auto answer = askServer(port, std::string(method) + " /foh HTTP/1.1\r\n\r\n");
        EXPECT_EQ(statusOf(answer), 200) << method;
        EXPECT_EQ(bodyOf(answer), "<p>start</p>") << method;
    }
    EXPECT_EQ(bodyOf(askServer(port, "GET /a/../b HTTP/1.1\r\n\r\n")), R"({"error":"ungültiger Pfad"})");
    EXPECT_EQ(bodyOf(askServer(port, "GET /%2e%2e/x HTTP/1.1\r\n\r\n")), R"({"error":"ungültiger Pfad"})");
    EXPECT_EQ(statusOf(askServer(port, "GET /api HTTP/1.1\r\n\r\n")), 404);
    EXPECT_EQ(bodyOf(askServer(port, "GET /api HTTP/1.1\r\n\r\n")), R"({"error":"nicht gefunden"})");
    EXPECT_EQ(*web_->requestCount(), 0U);
}

TEST_F(WebServerTest, RequestsOfTheAPIAreCountedAndAnsweredOnTheMainThread) {
    const auto port = makeListening();
    EXPECT_EQ(bodyOf(ask(port, "GET /api/x?y HTTP/1.1\r\n\r\n")), R"({"path":"/api/x"})");
    EXPECT_EQ(bodyOf(ask(port, "GET /api/ HTTP/1.1\r\n\r\n")), R"({"path":"/api/"})");
    EXPECT_EQ(*web_->requestCount(), 2U);
    EXPECT_EQ(*web_->lastClient(), "127.0.0.1");
}

TEST_F(WebServerTest, ARouteThatThrowsAnswers500AndTheWatchGoesOn) {
    const auto port = makeListening();
    struct Failing {
        static base::Co<HTTPResponse> route(HTTPRequest) {
            co_await base::sleepFor(base::Seconds(0));
            throw std::runtime_error("as the test wants");
        }
    };
    web_->setRoute(Failing::route);
    EXPECT_EQ(statusOf(ask(port, "GET /api/x HTTP/1.1\r\n\r\n")), 500);
    web_->setRoute(okRoute);
    EXPECT_EQ(statusOf(ask(port, "GET /api/x HTTP/1.1\r\n\r\n")), 200);
}

TEST_F(WebServerTest, ARequestUnderWayEndsWithTheServer) {
    const auto port = makeListening();
    struct Waiting {
        static base::Co<HTTPResponse> route(HTTPRequest) {
            co_await base::sleepFor(base::Seconds(1e6));
            co_return HTTPResponse();
        }
    };
    web_->setRoute(Waiting::route);
    LoopbackClient client(port);
    client.send("GET /api/x HTTP/1.1\r\n\r\n");
    ASSERT_TRUE(loop_.runUntil([&] { return *web_->requestCount() == 1; }));
    loop_.runTurns();
    web_.reset();
    EXPECT_EQ(client.readToEnd(), "");
}

// Tailscale

TEST_F(WebServerTest, TheWatchFollowsTheTailscaleAddress) {
    makeListening();
    EXPECT_EQ(*web_->errors(), Texts{onlyTailscale});
    setAddresses({{"ts0", "100.64.0.1"}});
    loop_.advance(base::Seconds(29));
    EXPECT_EQ(*web_->errors(), Texts{onlyTailscale});
    loop_.advance(base::Seconds(1));
    ASSERT_EQ(web_->errors()->size(), 1U);
    EXPECT_TRUE(web_->errors()->front().starts_with("100.64.0.1:0 – ")) << "it was listened to, and is no address of this computer";

    const auto port = web_->boundPort();
    loop_.advance(base::Seconds(30));
    EXPECT_EQ(web_->boundPort(), port) << "the same address leaves the listeners";
    setAddresses({});
    loop_.advance(base::Seconds(30));
    EXPECT_EQ(*web_->errors(), Texts{onlyTailscale});
}

TEST_F(WebServerTest, TheWatchAsksTailscaleEveryHalfMinute) {
    make({folder_ / "tailscale"});
    tailscale_.set(R"({"Self":{"DNSName":"one.ts.net."}})");
    web_->attach();
    ASSERT_TRUE(loop_.runUntil([&] { return web_->tailscale()->dnsName == "one.ts.net"; }));
    tailscale_.set(R"({"Self":{"DNSName":"two.ts.net."}})");
    loop_.advance(base::Seconds(30));
    EXPECT_TRUE(loop_.runUntil([&] { return web_->tailscale()->dnsName == "two.ts.net"; }));
}

TEST_F(WebServerTest, WithLANTheAddressIsNotFollowed) {
    settings_.setBlob("web.v1", R"({"enabled":true,"port":0,"allowLAN":true})");
    make();
    web_->attach();
    const auto port = web_->boundPort();
    setAddresses({{"ts0", "100.64.0.1"}});
    loop_.advance(base::Seconds(60));
    EXPECT_EQ(web_->boundPort(), port);
    EXPECT_TRUE(web_->errors()->empty());
}

TEST_F(WebServerTest, SwitchingServeWithoutTheProgramDoesNothing) {
    make();
    web_->setTailscaleServe(true);
    EXPECT_FALSE(*web_->busy());
    EXPECT_TRUE(web_->errors()->empty());
}

class WebServerWithTailscale : public WebServerTest {
protected:
    void attach(std::string status) {
        tailscale_.set(std::move(status));
        make({folder_ / "tailscale"});
        web_->attach();
        ASSERT_TRUE(loop_.runUntil([&] { return web_->tailscale()->cliPath.has_value(); }));
    }
    [[nodiscard]] bool waitUntilDone() {
        return loop_.runUntil([&] { return !*web_->busy(); });
    }
};

TEST_F(WebServerWithTailscale, ServeIsSwitchedOnAndOff) {
    attach(R"({"Self":{"Online":true},"CertDomains":["foh.ts.net"]})");
    tailscale_.set(R"({"Self":{"Online":true},"CertDomains":["foh.ts.net"]})", "http://127.0.0.1:8470");
    web_->setTailscaleServe(true);
    EXPECT_TRUE(*web_->busy());
    ASSERT_TRUE(waitUntilDone());
    EXPECT_TRUE(tailscale_.called("serve --bg http://127.0.0.1:8470"));
    EXPECT_TRUE(web_->tailscale()->serveHTTPS) << "asked anew behind it";
    EXPECT_TRUE(web_->errors()->empty());

    web_->setTailscaleServe(false);
    ASSERT_TRUE(waitUntilDone());
    EXPECT_TRUE(tailscale_.called("serve --https=443 off"));
}

TEST_F(WebServerWithTailscale, MissingCertificatesAreToldOnceAndNothingRuns) {
    attach(R"({"Self":{"Online":true}})");
    web_->setTailscaleServe(true);
    web_->setTailscaleServe(true);
    EXPECT_FALSE(*web_->busy());
    EXPECT_EQ(*web_->errors(), Texts{noCertificates});
    web_->setTailscaleServe(false);
    EXPECT_TRUE(web_->errors()->empty());
    EXPECT_TRUE(*web_->busy());
    ASSERT_TRUE(waitUntilDone());
}

TEST_F(WebServerWithTailscale, OfflineItTriesWithoutCertificates) {
    attach(R"({"Self":{"Online":false}})");
    web_->setTailscaleServe(true);
    EXPECT_TRUE(*web_->busy());
    ASSERT_TRUE(waitUntilDone());
}

TEST_F(WebServerWithTailscale, AFailureIsToldWithTheBeginningOfItsOutput) {
    attach(R"({"Self":{"Online":false}})");
    std::string output;
    for (int i = 0; i < 400; ++i) output += "ä";
    {
        base::Lock lock(tailscale_.mutex);
        tailscale_.serveResult = base::ChildResult{.output = output, .exitCode = 1};
    }
    web_->setTailscaleServe(false);
    ASSERT_TRUE(waitUntilDone());
    EXPECT_EQ(*web_->errors(), Texts{"tailscale serve: " + output.substr(0, 600)}) << "300 characters of two bytes";
    {
        base::Lock lock(tailscale_.mutex);
        tailscale_.serveResult = std::nullopt;
    }
    web_->setTailscaleServe(false);
    ASSERT_TRUE(waitUntilDone());
    EXPECT_EQ(web_->errors()->size(), 2U);
    {
        base::Lock lock(tailscale_.mutex);
        tailscale_.serveResult = base::ChildResult{.output = "half", .exitCode = -1, .timedOut = true};
    }
    web_->setTailscaleServe(false);
    ASSERT_TRUE(waitUntilDone());
    EXPECT_EQ(web_->errors()->back(), "tailscale serve: half\n(abgebrochen nach 15 s)");
}

TEST(WebServerShared, IsTheRegisteredOneWhileItLives) {
    TestLoop loop;
    SettingsStore settings;
    base::BackgroundPool pool("web.test", 1);
    WebServer web({.settings = settings, .pool = pool, .webRoot = "/nowhere"});
    web.registerShared();
    EXPECT_EQ(&WebServer::shared(), &web);
}

}  // namespace
