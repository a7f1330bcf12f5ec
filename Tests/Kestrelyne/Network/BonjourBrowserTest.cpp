#include "Kestrelyne/Network/BonjourBrowser.hpp"

#include <gtest/gtest.h>

#include <cstdlib>

#include "Base/SerialQueue.hpp"
#include "Support/TestLoop.hpp"

namespace kestrelyne {

using Values = std::map<std::string, std::string>;

TEST(BonjourTXT, StringsAreSplitAtTheFirstEqualsSign) {
    EXPECT_EQ(BonjourBrowser::parseTXT({"txtvers=1", "router_vers=4.0.2", "url=http://x/?a=b", "empty="}),
              (Values{{"txtvers", "1"}, {"router_vers", "4.0.2"}, {"url", "http://x/?a=b"}, {"empty", ""}}));
}

// RFC 6763, 6.4
TEST(BonjourTXT, AStringWithoutSignIsAKeyAndOneWithoutKeyIsNothing) {
    EXPECT_EQ(BonjourBrowser::parseTXT({"passreq", "", "=value", "="}), (Values{{"passreq", ""}}));
}

TEST(BonjourTXT, OfEqualKeysTheFirstHolds) {
    EXPECT_EQ(BonjourBrowser::parseTXT({"Model=one", "model=two", "MODEL"}), (Values{{"Model", "one"}}));
}

TEST(BonjourTXT, ForeignTextIsRepairedAndControlCharactersStay) {
    EXPECT_EQ(BonjourBrowser::parseTXT({"na\xFFme=B\xFChne\x1B[2J"}), (Values{{"na\uFFFDme", "B\uFFFDhne\x1B[2J"}}));
}

TEST(BonjourTXT, AtMost64StringsAreRead) {
    BonjourBrowser::Texts strings;
    for (int i = 0; i < 100; ++i) strings.push_back("key" + std::to_string(i) + "=1");
    const auto values = BonjourBrowser::parseTXT(strings);
    EXPECT_EQ(values.size(), 64u);
    EXPECT_TRUE(values.contains("key63"));
}

TEST(BonjourLabel, IsTheProtocolWithoutItsMarks) {
    struct Row {
        const char *type, *label;
    };
    for (const auto& [type, label] : std::initializer_list<Row>{{"_netaudio-arc._udp.", "netaudio-arc"},
                                                                {"_http._tcp.", "http"},
                                                                {"_http._tcp", "http._tcp"},
                                                                {"http._tcp.", "http"},
                                                                {"__x._udp._tcp.", "_x._udp"},
                                                                {"_", ""},
                                                                {"", ""}})
        EXPECT_EQ(BonjourBrowser::label(type), label) << type;
}

namespace {

/// No bus answers there.
class WithoutBus {
public:
    WithoutBus() { setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nowhere/bus", 1); }
    WithoutBus(const WithoutBus&) = delete;
    WithoutBus& operator=(const WithoutBus&) = delete;
    ~WithoutBus() {
        base::SerialQueue::joinEnded();
        unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
    }
};

}  // namespace

TEST(BonjourBrowser, WithoutABusTheListsStayEmptyAndItCanBeStoppedAndStartedAtAnyTime) {
    const WithoutBus noBus;
    TestLoop loop;
    BonjourBrowser browser(base::Seconds(0.01));
    int told = 0;
    const auto services = browser.services().observe([&] { ++told; });
    const auto types = browser.discoveredTypes().observe([&] { ++told; });
    for (int i = 0; i < 3; ++i) {
        browser.start();
        browser.start();
        EXPECT_FALSE(loop.runUntil([&] { return told > 0; }, base::Seconds(0.15)));
        browser.stop();
        browser.stop();
    }
    EXPECT_TRUE(browser.services()->empty());
    EXPECT_TRUE(browser.discoveredTypes()->empty());
    EXPECT_EQ(browser.refused(), 0u);
}

}  // namespace kestrelyne
