#include "Kestrelyne/App/SettingsPlist.hpp"

#include <gtest/gtest.h>

namespace kestrelyne {
namespace {

using Values = std::map<std::string, SettingValue>;

std::string plist(const std::string& body) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\">" +
           body + "</plist>";
}

TEST(SettingsPlist, EveryKindRoundTripsExactly) {
    const Values values = {{"blob", SettingBlob{std::string("{\"a\":1}\0\xFF", 9)}},
                           {"blob.empty", SettingBlob{}},
                           {"text <&>\"'", std::string("  <a> & „b“\n\t ]]> ")},
                           {"text.empty", std::string()},
                           {"text.true", std::string("true")},
                           {"tenth", 0.1},
                           {"tiny", 5e-324},
                           {"huge", 1.7976931348623157e308},
                           {"negative", -5.0},
                           {"negative zero", -0.0},
                           {"whole", 9007199254740992.0},
                           {"beyond", 9007199254740994.0},
                           {"zero", 0.0},
                           {"yes", true},
                           {"no", false}};
    EXPECT_EQ(settingsFromPlist(settingsToPlist(values)), values);
}

TEST(SettingsPlist, WritesEachKindAsItsElement) {
    const auto text =
        settingsToPlist({{"a", SettingBlob{"abc"}}, {"b", std::string("x")}, {"c", 5.0}, {"d", 0.5}, {"e", true}, {"f", false}});
    for (const auto* element :
         {"<data>\n\tYWJj\n\t</data>", "<string>x</string>", "<integer>5</integer>", "<real>0.5</real>", "<true/>", "<false/>"})
        EXPECT_NE(text.find(element), std::string::npos) << element << "\n" << text;
}

TEST(SettingsPlist, AnEmptyStoreIsAnEmptyDictionary) { EXPECT_EQ(settingsFromPlist(settingsToPlist({})), Values{}); }

TEST(SettingsPlist, ReadsWhatOtherToolsWrite) {
    EXPECT_EQ(settingsFromPlist(
                  plist("<dict><key>n</key><integer>-5</integer><key>d</key><data>\n  W10=\n</data><key>s</key><string/></dict>")),
              (Values{{"n", -5.0}, {"d", SettingBlob{"[]"}}, {"s", std::string()}}));
}

TEST(SettingsPlist, RefusesWhatXMLCannotCarry) {
    for (const auto& text :
         {std::string("a\x01"), std::string("a\0b", 3), std::string("a\rb"), std::string("\xFF"), std::string("\xEF\xBF\xBF")}) {
        EXPECT_THROW(settingsToPlist({{"key", text}}), PlistError);
        EXPECT_THROW(settingsToPlist({{text, true}}), PlistError);
    }
}

TEST(SettingsPlist, RefusesWhatIsNoListOfSettings) {
    for (const auto& text :
         {std::string(), std::string("hello"), std::string("<plist"), plist(""), plist("<array/>"), plist("<string>x</string>"),
          plist("<dict><key>a</key><array/></dict>"), plist("<dict><key>a</key><dict/></dict>"),
          plist("<dict><key>a</key><date>2026-01-01T00:00:00Z</date></dict>"),
          plist("<dict><key>ok</key><true/><key>a</key><real>nan</real></dict>"),
          plist("<dict><key>a</key><string>\xFF</string></dict>")})
        EXPECT_THROW(settingsFromPlist(text), PlistError) << text;
}

}  // namespace
}  // namespace kestrelyne
