#include "Kestrelyne/Remote/WebConfig.hpp"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "Base/JSONFields.hpp"

using kestrelyne::WebConfig;

namespace {

TEST(WebConfig, HasItsDefaults) {
    const WebConfig config;
    EXPECT_FALSE(config.enabled);
    EXPECT_EQ(config.port, 8470);
    EXPECT_TRUE(config.allowLAN);
    EXPECT_EQ(config.publicURL, "");
    EXPECT_EQ(config.control, WebConfig::Control::find);
    EXPECT_EQ(config.pin, "");
    EXPECT_EQ(config.pushSubject, "");
}

TEST(WebConfig, IsStoredWithAllFieldsInTheirOrder) {
    EXPECT_EQ(
        WebConfig().toJSON().dump(),
        R"({"enabled":false,"port":8470,"allowLAN":true,"publicURL":"","control":"Suchen & Identify / Hellmachen","pin":"","pushSubject":""})");
}

TEST(WebConfig, ComesBackAsItWasStored) {
    WebConfig config{.enabled = true,
                     .port = 90000,
                     .allowLAN = false,
                     .publicURL = " https://show.example/ ",
                     .control = WebConfig::Control::full,
                     .pin = "größer 12",
                     .pushSubject = "mailto:foh@show.example"};
    EXPECT_EQ(WebConfig::fromStored(config.toJSON().dump()), config);
    config.control = WebConfig::Control::view;
    EXPECT_EQ(WebConfig::fromStored(config.toJSON().dump()), config);
}

TEST(WebConfig, EveryFieldMayBeMissingOrNull) {
    EXPECT_EQ(WebConfig::fromStored("{}"), WebConfig());
    EXPECT_EQ(WebConfig::fromStored(R"({"enabled":null,"port":null,"control":null,"other":5})"), WebConfig());
    WebConfig expected;
    expected.pin = "1";
    EXPECT_EQ(WebConfig::fromStored(R"({"pin":"1"})"), expected);
}

TEST(WebConfig, OneWrongFieldMakesTheWholeTheDefaults) {
    for (const char* wrong :
         {R"({"pin":"1","enabled":1})", R"({"pin":"1","port":"8470"})", R"({"pin":"1","port":1.5})",
          R"({"pin":"1","allowLAN":"ja"})", R"({"pin":"1","publicURL":5})", R"({"pin":"1","control":"full"})",
          R"({"pin":"1","control":2})", R"({"pin":1})", R"({"pin":"1","pushSubject":[]})", R"([])", R"("x")", "", "{", "null"})
        EXPECT_EQ(WebConfig::fromStored(wrong), WebConfig()) << wrong;
}

TEST(WebConfig, LevelsHaveALabelAndAWord) {
    struct Row {
        WebConfig::Control control;
        const char *label, *word;
    };
    for (const auto& [control, text, wordText] : std::initializer_list<Row>{
             {WebConfig::Control::view, "Nur ansehen", "view"},
             {WebConfig::Control::find, "Suchen & Identify / Hellmachen", "find"},
             {WebConfig::Control::full, "Voller RDM-Zugriff", "full"},
         }) {
        EXPECT_EQ(label(control), text);
        EXPECT_EQ(word(control), wordText);
        EXPECT_EQ(kestrelyne::controlOfLabel(text), control);
        EXPECT_EQ(kestrelyne::controlOfWord(wordText), control);
    }
    EXPECT_FALSE(kestrelyne::controlOfLabel("view"));
    EXPECT_FALSE(kestrelyne::controlOfWord("Nur ansehen"));
}

TEST(WebConfig, PortIsClampedWhereItIsUsed) {
    for (const auto& [stored, listening] : std::initializer_list<std::pair<long long, int>>{
             {8470, 8470}, {0, 0}, {-1, 0}, {65535, 65535}, {65536, 65535}, {99999999999LL, 65535}}) {
        WebConfig config;
        config.port = stored;
        EXPECT_EQ(config.listeningPort(), listening) << stored;
    }
}

TEST(WebConfig, PublicURLIsTrimmedAndNeedsItsScheme) {
    struct Row {
        const char* typed;
        std::optional<std::string> url;
        const char* host;
    };
    for (const auto& [typed, url, host] : std::initializer_list<Row>{
             {"", std::nullopt, ""},
             {"show.example/", std::nullopt, ""},
             {"  https://Show.Example:8443//  ", "https://Show.Example:8443", "show.example"},
             {"http://show.example/a/b/", "http://show.example/a/b", "show.example"},
             {"/https://show.example", "https://show.example", "show.example"},
             {"https://", std::nullopt, ""},
             {"ftp://show.example", std::nullopt, ""},
             {"HTTPS://show.example", std::nullopt, ""},
             {"https://user@show.example?x#y", "https://user@show.example?x#y", "show.example"},
         }) {
        WebConfig config;
        config.publicURL = typed;
        EXPECT_EQ(config.usablePublicURL(), url) << typed;
        EXPECT_EQ(config.publicHost(), host) << typed;
    }
}

}  // namespace
