#include "Kestrelyne/App/SettingKind.hpp"

#include <gtest/gtest.h>

namespace kestrelyne {
namespace {

TEST(SettingKind, NamesRoundTripAndOthersAreUnknown) {
    for (const auto kind : {SettingKind::json, SettingKind::text, SettingKind::number, SettingKind::boolean})
        EXPECT_EQ(settingKind(kindName(kind)), kind);
    for (const auto* name : {"", "blob", "JSON", "boolean"}) EXPECT_EQ(settingKind(name), std::nullopt) << name;
}

TEST(SettingKind, KnowsTheProgramsOwnKeys) {
    EXPECT_EQ(kindOfKnownKey("devices.v1"), SettingKind::json);
    EXPECT_EQ(kindOfKnownKey("alarms.E621E1F8-C36C-495A-93FC-0C247A3E6E5F"), SettingKind::json);
    EXPECT_EQ(kindOfKnownKey("discovery.onLaunch"), SettingKind::boolean);
    EXPECT_EQ(kindOfKnownKey("dmx.universe"), SettingKind::number);
    EXPECT_EQ(kindOfKnownKey("ss.selected"), SettingKind::text);
    EXPECT_EQ(kindOfKnownKey("my.key"), std::nullopt);
}

TEST(SettingKind, GuessesByTheLookOfTheWord) {
    const std::pair<const char*, SettingKind> rows[] = {
        {"{}", SettingKind::json},      {" [1,2]\n", SettingKind::json}, {"[abc", SettingKind::text},
        {"true", SettingKind::boolean}, {"True", SettingKind::text},     {"5", SettingKind::number},
        {"-1e3", SettingKind::number},  {"5 V", SettingKind::text},      {"\"a\"", SettingKind::text},
        {"", SettingKind::text},        {"null", SettingKind::text},     {"nan", SettingKind::text},
    };
    for (const auto& [word, kind] : rows) EXPECT_EQ(guessedKind(word), kind) << word;
}

TEST(SettingKind, KeepsJSONByteForByte) {
    const std::string word = " { \"b\" : 1.50, \"a\" : [ ] }\n";
    EXPECT_EQ(settingFromWord(SettingKind::json, word), SettingValue(SettingBlob{word}));
}

TEST(SettingKind, RefusesAWordThatDoesNotFit) {
    const std::pair<SettingKind, std::string> rows[] = {
        {SettingKind::json, "{"},
        {SettingKind::json, ""},
        {SettingKind::json, "{} x"},
        {SettingKind::number, "1,5"},
        {SettingKind::number, "inf"},
        {SettingKind::number, ""},
        {SettingKind::boolean, "1"},
        {SettingKind::boolean, "TRUE"},
        {SettingKind::text, "a\xFF"},
        {SettingKind::json, "\"\xFF\""},
        {SettingKind::json, std::string(100, '[') + std::string(100, ']')},
    };
    for (const auto& [kind, word] : rows) EXPECT_THROW(settingFromWord(kind, word), WrongKind) << kindName(kind) << " " << word;
}

TEST(SettingKind, WordsRoundTrip) {
    for (const SettingValue& value : {SettingValue(SettingBlob{"[1]"}), SettingValue(std::string("ä\n")), SettingValue(0.1),
                                      SettingValue(-5.0), SettingValue(1e300), SettingValue(true), SettingValue(false)})
        EXPECT_EQ(settingFromWord(kindOf(value), wordOf(value)), value) << wordOf(value);
    EXPECT_EQ(wordOf(8470.0), "8470");
}

}  // namespace
}  // namespace kestrelyne
