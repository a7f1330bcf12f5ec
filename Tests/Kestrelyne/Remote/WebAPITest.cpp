#include "Kestrelyne/Remote/WebAPI.hpp"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "Kestrelyne/App/AppInfo.hpp"
#include "Kestrelyne/Remote/WebServer.hpp"
#include "Support/TestLoop.hpp"

using namespace kestrelyne;
using Texts = std::map<std::string, std::string>;

namespace {

base::Co<> storeAnswer(base::Co<HTTPResponse> asked, std::optional<HTTPResponse>* answer) {
    auto given = co_await asked;
    *answer = std::move(given);
}

base::Co<HTTPResponse> slowRoute(APICall call) {
    co_await base::sleepFor(base::Seconds(0));
    co_return HTTPResponse::json({{"slow", call.pieces.at(2)}});
}

class WebAPITest : public testing::Test {
protected:
    WebAPITest()
        : web_({.settings = settings_,
                .pool = pool_,
                .hostAddresses = [] { return std::vector<base::HostAddress>(); },
                .webRoot = "/nowhere",
                .tailscalePaths = {}}) {
        WebConfig config;
        config.pin = "1234";
        web_.setConfig(config);
    }

    HTTPResponse ask(std::string method, std::string path, Texts headers = {}, std::string body = "") {
        HTTPRequest request{.method = std::move(method),
                            .path = std::move(path),
                            .query = {},
                            .headers = std::move(headers),
                            .body = std::move(body),
                            .remoteIP = "192.0.2.7"};
        std::optional<HTTPResponse> answer;
        const base::Task task("a call", storeAnswer(api_.route(std::move(request)), &answer));
        loop_.runTurns();
        EXPECT_TRUE(answer);
        return answer.value_or(HTTPResponse{});
    }
    HTTPResponse post(std::string path, std::string body, Texts more = {}) {
        more["content-type"] = "application/json";
        return ask("POST", std::move(path), std::move(more), std::move(body));
    }
    static std::string errorOf(const HTTPResponse& response) {
        return nlohmann::json::parse(response.body).value("error", "(none)");
    }

    TestLoop loop_;
    SettingsStore settings_;
    base::BackgroundPool pool_{"web.test", 1};
    WebServer web_;
    WebAPI api_{web_,
                {quickRoute("GET", {"events"},
                            [](const APICall& call) {
                                return HTTPResponse::json({{"authed", call.authed}});
                            }),
                 {"GET", {"device", "*"}, slowRoute},
                 quickRoute("POST", {"echo"},
                            [](const APICall& call) { return HTTPResponse::json(nlohmann::ordered_json(call.body())); })}};
};

TEST_F(WebAPITest, TriesMethodAndPiecesOfEachRoute) {
    EXPECT_EQ(ask("GET", "/api/events").body, R"({"authed":false})");
    EXPECT_EQ(ask("GET", "//api///events/").body, R"({"authed":false})");
    EXPECT_EQ(ask("GET", "/api/device/abc").body, R"({"slow":"abc"})");
}

TEST_F(WebAPITest, AnswersUnknownToWhatFitsNoRoute) {
    for (const auto& [method, path] : std::initializer_list<std::pair<const char*, const char*>>{{"GET", "/api/"},
                                                                                                 {"GET", "/api/nothing"},
                                                                                                 {"GET", "/api/device"},
                                                                                                 {"GET", "/api/device/a/b"},
                                                                                                 {"GET", "/api/login"},
                                                                                                 {"get", "/api/info"},
                                                                                                 {"HEAD", "/api/info"},
                                                                                                 {"DELETE", "/api/info"}}) {
        const auto response = ask(method, path);
        EXPECT_EQ(response.status, 404) << method << path;
        EXPECT_EQ(response.body, R"({"error":"unbekannt"})");
    }
    EXPECT_EQ(post("/api/info", "{}").status, 404);
    EXPECT_EQ(ask("POST", "/api/").status, 404) << "before the content type is looked at";
}

TEST_F(WebAPITest, APostThatIsNotJSONIsRefusedBeforeAnyRoute) {
    for (const char* path : {"/api/login", "/api/logout", "/api/nothing", "/api/echo"}) {
        for (const Texts& headers :
             {Texts{}, Texts{{"content-type", "text/plain"}}, Texts{{"content-type", "application/x-www-form-urlencoded"}}}) {
            const auto response = ask("POST", path, headers, "{}");
            EXPECT_EQ(response.status, 400) << path;
            EXPECT_EQ(response.body, R"({"error":"JSON erwartet"})");
        }
    }
    EXPECT_EQ(ask("POST", "/api/echo", {{"content-type", "application/json; charset=utf-8"}}, "{}").status, 200);
}

TEST_F(WebAPITest, ABodyThatIsNoObjectCountsAsAnEmptyOne) {
    EXPECT_EQ(post("/api/echo", R"({"a":1})").body, R"({"a":1})");
    for (const auto& body : {std::string(), std::string("{"), std::string("[1]"), std::string("5"), std::string(100000, '[')})
        EXPECT_EQ(post("/api/echo", body).body, "{}") << body.substr(0, 5);
}

TEST_F(WebAPITest, InfoHasItsKeysInTheirOrder) {
    const auto response = ask("GET", "/api/info");
    EXPECT_EQ(response.status, 200);
    const auto info = nlohmann::ordered_json::parse(response.body);
    std::vector<std::string> keys;
    for (const auto& [key, value] : info.items()) keys.push_back(key);
    EXPECT_EQ(keys, (std::vector<std::string>{"name", "control", "authed", "pinSet", "https", "httpsURL", "vapidKey", "user",
                                              "time", "version", "build", "copyright", "platform"}));
    EXPECT_EQ(info["name"], machineName());
    EXPECT_EQ(info["control"], "find");
    EXPECT_EQ(info["authed"], false);
    EXPECT_EQ(info["pinSet"], true);
    EXPECT_EQ(info["https"], false);
    EXPECT_TRUE(info["httpsURL"].is_null());
    EXPECT_EQ(info["vapidKey"], "");
    EXPECT_EQ(info["user"], "");
    EXPECT_EQ(info["time"], base::secondsSince1970(loop_.clock().now()));
    EXPECT_EQ(info["version"], AppInfo::version());
    EXPECT_EQ(info["build"], "0");
    EXPECT_EQ(info["copyright"], AppInfo::copyright());
    EXPECT_EQ(info["platform"], "macOS");
}

TEST_F(WebAPITest, InfoFollowsSettingsAndHeaders) {
    WebConfig config;
    config.control = WebConfig::Control::full;
    config.publicURL = "https://show.example/";
    web_.setConfig(config);
    auto info = nlohmann::json::parse(
        ask("GET", "/api/info", {{"tailscale-user-login", "ada@example"}, {"tailscale-user-name", "Ada"}}).body);
    EXPECT_EQ(info["control"], "full");
    EXPECT_EQ(info["pinSet"], false);
    EXPECT_EQ(info["httpsURL"], "https://show.example");
    EXPECT_EQ(info["user"], "Ada");
    EXPECT_EQ(info["https"], true);
    EXPECT_EQ(info["authed"], false) << "the identity logs nobody in";
    info = nlohmann::json::parse(ask("GET", "/api/info", {{"tailscale-user-login", "ada@example"}}).body);
    EXPECT_EQ(info["user"], "ada@example");
}

std::string tokenOf(const HTTPResponse& response) {
    const std::string cookie = response.headers.at("Set-Cookie");
    const auto begin = cookie.find('=') + 1;
    return cookie.substr(begin, cookie.find(';') - begin);
}

TEST_F(WebAPITest, LoginGivesACookieThatCounts) {
    const auto response = post("/api/login", R"({"pin":"1234"})");
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.body, R"({"ok":true})");
    const auto token = tokenOf(response);
    EXPECT_EQ(token.size(), 64U);
    EXPECT_EQ(response.headers.at("Set-Cookie"),
              "kestrelyne_session=" + token + "; Path=/; Max-Age=2592000; HttpOnly; SameSite=Strict");
    EXPECT_EQ(ask("GET", "/api/events", {{"cookie", "a=b; kestrelyne_session=" + token}}).body, R"({"authed":true})");
    EXPECT_EQ(ask("GET", "/api/events", {{"cookie", "kestrelyne_session=x"}}).body, R"({"authed":false})");
}

TEST_F(WebAPITest, TheCookieIsSecureOnlyBehindHTTPS) {
    const auto cookie = [&](const Texts& headers) {
        return post("/api/login", R"({"pin":"1234"})", headers).headers.at("Set-Cookie");
    };
    EXPECT_TRUE(cookie({{"x-forwarded-proto", "https"}}).ends_with("; SameSite=Strict; Secure"));
    EXPECT_TRUE(cookie({{"tailscale-user-login", "ada@example"}}).ends_with("; SameSite=Strict; Secure"));
    EXPECT_TRUE(cookie({{"x-forwarded-proto", "http"}}).ends_with("; SameSite=Strict"));
    EXPECT_TRUE(cookie({{"tailscale-user-name", "Ada"}}).ends_with("; SameSite=Strict"));
}

TEST_F(WebAPITest, AWrongPINIsRefusedAndTheSixthGuessTooSoon) {
    for (int i = 0; i < 5; ++i) {
        const auto response = post("/api/login", R"({"pin":"0"})");
        EXPECT_EQ(response.status, 401) << i;
        EXPECT_EQ(errorOf(response), "PIN falsch");
    }
    const auto response = post("/api/login", R"({"pin":"1234"})");
    EXPECT_EQ(response.status, 429);
    EXPECT_EQ(errorOf(response), "Zu viele Versuche – eine Minute warten");
    EXPECT_FALSE(response.headers.contains("Set-Cookie"));
    loop_.clock().advance(base::Seconds(60));
    EXPECT_EQ(post("/api/login", R"({"pin":"1234"})").status, 200);
}

TEST_F(WebAPITest, APINThatIsNoTextCountsAsEmpty) {
    for (const char* body : {R"({"pin":1234})", R"({"pin":null})", R"({"pin":["1234"]})", "{}"})
        EXPECT_EQ(post("/api/login", body).status, 401) << body;
}

TEST_F(WebAPITest, WithoutAPINEveryLoginFails) {
    web_.setConfig({});
    EXPECT_EQ(errorOf(post("/api/login", R"({"pin":""})")), "PIN falsch");
    EXPECT_EQ(errorOf(post("/api/login", R"({"pin":"1234"})")), "PIN falsch");
}

TEST_F(WebAPITest, LogoutClearsTheCookieAndLeavesTheSession) {
    const auto token = tokenOf(post("/api/login", R"({"pin":"1234"})"));
    const auto response = post("/api/logout", "");
    EXPECT_EQ(response.body, R"({"ok":true})");
    EXPECT_EQ(response.headers.at("Set-Cookie"), "kestrelyne_session=; Path=/; Max-Age=0");
    EXPECT_EQ(ask("GET", "/api/events", {{"cookie", "kestrelyne_session=" + token}}).body, R"({"authed":true})");
}

TEST(MachineName, IsThePrettyNameWithoutItsQuotes) {
    for (const auto& [text, name] : std::initializer_list<std::pair<const char*, const char*>>{
             {"", ""},
             {"CHASSIS=desktop\n", ""},
             {"PRETTY_HOSTNAME=\"Ton & Licht\"\nCHASSIS=laptop\n", "Ton & Licht"},
             {"# PRETTY_HOSTNAME=no\n  PRETTY_HOSTNAME=FOH  \n", "FOH"},
             {"PRETTY_HOSTNAME='Ada\"s'\n", "Ada\"s"},
             {"PRETTY_HOSTNAME=\"Ada \\\"Pult\\\" \\$1\"\n", "Ada \"Pult\" $1"},
             {"PRETTY_HOSTNAME=\"\"\n", ""},
             {"PRETTY_HOSTNAME=\"\n", "\""},
             {"PRETTY_HOSTNAME=a\nPRETTY_HOSTNAME=b\n", "b"}})
        EXPECT_EQ(prettyHostName(text), name) << text;
    EXPECT_FALSE(machineName().empty());
}

TEST(AppInfo, FullTextHasVersionAndBuild) {
    EXPECT_EQ(AppInfo::full(), "Brantholme " + AppInfo::version() + " (0)");
    EXPECT_FALSE(AppInfo::version().empty());
}

}  // namespace
