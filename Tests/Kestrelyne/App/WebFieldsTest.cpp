#include "Kestrelyne/App/WebFields.hpp"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "Kestrelyne/App/ControlMessage.hpp"

namespace kestrelyne {
namespace {

TEST(WebFields, SetEveryField) {
    WebConfig config;
    setWebField(config, "enabled", "true");
    setWebField(config, "port", "8080");
    setWebField(config, "allowLAN", "off");
    setWebField(config, "publicURL", "https://show.example");
    setWebField(config, "control", "full");
    setWebField(config, "pin", "1234");
    setWebField(config, "pushSubject", "mailto:a@b.example");
    EXPECT_EQ(config, (WebConfig{.enabled = true,
                                 .port = 8080,
                                 .allowLAN = false,
                                 .publicURL = "https://show.example",
                                 .control = WebConfig::Control::full,
                                 .pin = "1234",
                                 .pushSubject = "mailto:a@b.example"}));
    EXPECT_EQ(
        webFields(config).dump(),
        R"({"enabled":true,"port":8080,"allowLAN":false,"publicURL":"https://show.example","control":"full","pin":"1234","pushSubject":"mailto:a@b.example"})");
}

TEST(WebFields, RefuseWhatDoesNotFitAndChangeNothing) {
    const std::pair<const char*, const char*> rows[] = {
        {"enabled", "1"},           {"enabled", ""}, {"port", "-1"},   {"port", "65536"}, {"port", "8470x"}, {"allowLAN", "ja"},
        {"control", "Nur ansehen"}, {"pin", "\xFF"}, {"pins", "1234"}, {"", ""}};
    for (const auto& [field, value] : rows) {
        WebConfig config;
        try {
            setWebField(config, field, value);
            ADD_FAILURE() << field << " " << value;
        } catch (const ControlError& error) {
            EXPECT_EQ(error.code(), ExitCode::wrongWords);
        }
        EXPECT_EQ(config, WebConfig{});
    }
    WebConfig config;
    setWebField(config, "port", "0");
    setWebField(config, "port", "65535");
    EXPECT_EQ(config.port, 65535);
}

}  // namespace
}  // namespace kestrelyne
