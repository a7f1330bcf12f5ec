#include "Kestrelyne/Remote/TailscaleInfo.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <fstream>

#include "Support/TemporaryFolder.hpp"

using kestrelyne::TailscaleInfo;
using Addresses = std::vector<base::HostAddress>;

namespace {

constexpr const char* statusText = R"({
  "BackendState": "Running",
  "Self": {"DNSName": "foh.tail1234.ts.net.", "Online": true, "TailscaleIPs": ["fd7a::1", "100.101.102.103"]},
  "CertDomains": ["foh.tail1234.ts.net"],
  "Peer": {"b": {"HostName": "phone", "Online": true}, "a": {"HostName": "desk", "Online": true}, "c": {"HostName": "off", "Online": false},
           "d": {"Online": true}, "e": 5}
})";

TEST(TailscaleAddress, IsTheFirstOfTheSharedRange) {
    EXPECT_EQ(TailscaleInfo::currentIP({{"eth0", "192.168.1.20"}, {"ts0", "100.101.102.103"}, {"ts1", "100.64.0.1"}}),
              "100.101.102.103");
    for (const char* inside : {"100.64.0.0", "100.127.255.255"}) EXPECT_EQ(TailscaleInfo::currentIP({{"x", inside}}), inside);
    for (const char* outside :
         {"100.63.255.255", "100.128.0.0", "101.64.0.1", "10.100.64.1", "100.64.0", "100.64.0.1.2", "100.x.0.1", ""})
        EXPECT_FALSE(TailscaleInfo::currentIP({{"x", outside}})) << outside;
    EXPECT_FALSE(TailscaleInfo::currentIP({}));
}

TEST(TailscaleStatus, IsReadInFull) {
    TailscaleInfo info;
    ASSERT_TRUE(info.readStatus(statusText));
    EXPECT_EQ(info.dnsName, "foh.tail1234.ts.net");
    EXPECT_EQ(info.online, true);
    EXPECT_EQ(info.certDomains, std::vector<std::string>{"foh.tail1234.ts.net"});
    EXPECT_EQ(info.peersOnline, (std::vector<std::string>{"desk", "phone"}));
    EXPECT_EQ(info.ip, "100.101.102.103");
}

TEST(TailscaleStatus, AnAddressOfAnAdapterGoesFirst) {
    TailscaleInfo info;
    info.ip = "100.64.0.9";
    ASSERT_TRUE(info.readStatus(statusText));
    EXPECT_EQ(info.ip, "100.64.0.9");
}

TEST(TailscaleStatus, OnlineByTheMachineOrByTheService) {
    const auto online = [](const char* text) {
        TailscaleInfo info;
        EXPECT_TRUE(info.readStatus(text));
        return info.online;
    };
    EXPECT_EQ(online(R"({"Self":{"Online":true},"BackendState":"Stopped"})"), true);
    EXPECT_EQ(online(R"({"Self":{"Online":false},"BackendState":"Running"})"), true);
    EXPECT_EQ(online(R"({"Self":{"Online":false},"BackendState":"NeedsLogin"})"), false);
    EXPECT_EQ(online("{}"), false);
}

TEST(TailscaleStatus, WrongTypesAndEmptyNamesCountAsMissing) {
    TailscaleInfo info;
    ASSERT_TRUE(info.readStatus(R"({"Self":[],"Peer":[1],"CertDomains":"x","BackendState":5})"));
    EXPECT_EQ(info.online, false);
    EXPECT_FALSE(info.dnsName);
    EXPECT_FALSE(info.ip);
    ASSERT_TRUE(info.readStatus(R"({"Self":{"DNSName":".","TailscaleIPs":["fd7a::1",5]},"CertDomains":null,"Peer":null})"));
    EXPECT_FALSE(info.dnsName);
    EXPECT_FALSE(info.ip);
}

TEST(TailscaleStatus, StandsBetweenWarnings) {
    TailscaleInfo info;
    EXPECT_TRUE(info.readStatus("Warning: client version differs\n{\"BackendState\":\"Running\"}\n"));
    EXPECT_EQ(info.online, true);
}

TEST(TailscaleStatus, TextThatIsNoObjectChangesNothing) {
    for (const char* text : {"", "failed to connect", "{", "}{", "[1]", "{\"a\":}", "5"}) {
        TailscaleInfo info;
        EXPECT_FALSE(info.readStatus(text)) << text;
        EXPECT_EQ(info, TailscaleInfo()) << text;
    }
}

TEST(TailscaleServe, IsOursWhenItNamesOurPort) {
    EXPECT_TRUE(TailscaleInfo::servesPort(R"({"Proxy":"http://127.0.0.1:8470"})", 8470));
    EXPECT_TRUE(TailscaleInfo::servesPort("http://localhost:8470", 8470));
    EXPECT_FALSE(TailscaleInfo::servesPort(R"({"Proxy":"http://127.0.0.1:84701"})", 8470));
    EXPECT_TRUE(TailscaleInfo::servesPort("127.0.0.1:84701 127.0.0.1:8470/", 8470));
    EXPECT_FALSE(TailscaleInfo::servesPort("http://127.0.0.1:3000", 8470));
    EXPECT_FALSE(TailscaleInfo::servesPort("{}", 8470));
}

TEST(TailscaleRun, MarksAnEndByTheTimeLimit) {
    const auto runner = [](const std::string&, const std::vector<std::string>&, base::Seconds) {
        return std::optional(base::ChildResult{.output = "half", .exitCode = -1, .timedOut = true});
    };
    EXPECT_EQ(TailscaleInfo::run(runner, "x", {}, base::Seconds(15))->output, "half\n(abgebrochen nach 15 s)");
}

// A script stands in for the program.
class TailscaleProgram : public testing::Test {
protected:
    // Answers `status --json` and `serve status --json`; writes its words to the file "calls".
    void install(const std::string& status, const std::string& serve) {
        std::ofstream(folder_ / "status") << status;
        std::ofstream(folder_ / "serve") << serve;
        std::ofstream script(path());
        script << "#!/bin/sh\necho \"$*\" >> '" << (folder_ / "calls").string() << "'\ncase \"$1\" in\nstatus) cat '"
               << (folder_ / "status").string() << "' ;;\nserve) cat '" << (folder_ / "serve").string() << "' ;;\nesac\n";
        script.close();
        chmod(path().c_str(), 0755);
    }
    std::string path() const { return (folder_ / "tailscale").string(); }
    std::string calls() const {
        std::ifstream file(folder_ / "calls");
        return {std::istreambuf_iterator<char>(file), {}};
    }
    TailscaleInfo detect(const Addresses& addresses = {}) const {
        return TailscaleInfo::detect(8470, addresses, {(folder_ / "missing").string(), path()}, base::runChild);
    }
    TemporaryFolder folder_;
};

TEST_F(TailscaleProgram, IsAskedForStatusAndForwarding) {
    install(statusText, R"({"TCP":{},"Proxy":"http://127.0.0.1:8470"})");
    const auto info = detect();
    EXPECT_EQ(calls(), "status --json\nserve status --json\n");
    EXPECT_EQ(info.cliPath, path());
    EXPECT_EQ(info.ip, "100.101.102.103");
    EXPECT_EQ(info.dnsName, "foh.tail1234.ts.net");
    EXPECT_TRUE(info.serveHTTPS);
    EXPECT_EQ(info.online, true);
}

TEST_F(TailscaleProgram, WithoutItOnlyTheAddressIsKnown) {
    const auto info = detect({{"ts0", "100.64.0.9"}});
    EXPECT_EQ(info.ip, "100.64.0.9");
    EXPECT_FALSE(info.cliPath);
    EXPECT_FALSE(info.online);
}

TEST_F(TailscaleProgram, AFileThatCannotRunOrAFolderIsNoProgram) {
    install(statusText, "");
    chmod(path().c_str(), 0644);
    EXPECT_FALSE(TailscaleInfo::detect(8470, {}, {path(), folder_.path().string()}, base::runChild).cliPath);
}

TEST_F(TailscaleProgram, AStatusThatIsNoJSONEndsTheQuestions) {
    install("failed to connect to local tailscaled", "http://127.0.0.1:8470");
    const auto info = detect({{"ts0", "100.64.0.9"}});
    EXPECT_EQ(calls(), "status --json\n");
    EXPECT_EQ(info.cliPath, path());
    EXPECT_EQ(info.ip, "100.64.0.9");
    EXPECT_FALSE(info.online);
    EXPECT_FALSE(info.serveHTTPS);
}

TEST(TailscalePaths, ANamedProgramGoesFirst) {
    unsetenv("KESTRELYNE_TAILSCALE");
    const auto usual = TailscaleInfo::programPaths();
    EXPECT_EQ(usual.front(), "/usr/local/bin/tailscale");
    EXPECT_EQ(usual.back(), "/usr/bin/tailscale");
    setenv("KESTRELYNE_TAILSCALE", "/opt/own/tailscale", 1);
    EXPECT_EQ(TailscaleInfo::programPaths().front(), "/opt/own/tailscale");
    EXPECT_EQ(TailscaleInfo::programPaths().size(), usual.size() + 1);
    unsetenv("KESTRELYNE_TAILSCALE");
}

}  // namespace
