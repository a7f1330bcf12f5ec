#include "Kestrelyne/App/StatusText.hpp"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace kestrelyne {
namespace {

using nlohmann::json;

const auto now = *base::wallTimeSince1970(1795258830 + 200);

TEST(StatusText, IsACalmTable) {
    const json status = {{"version", "0.1.0"},
                         {"pid", 4711},
                         {"startedAt", 1795258830.0},
                         {"web",
                          {{"enabled", true},
                           {"running", true},
                           {"urls", {"http://10.0.0.2:8470", "http://localhost:8470"}},
                           {"requests", 17},
                           {"lastClient", "10.0.0.9"}}},
                         {"meters",
                          {{{"name", "Bühne"},
                            {"status", "verbunden"},
                            {"age", 0.4},
                            {"alarms", {{{"text", "Frequenz > 50,5 Hz"}}, {{"text", "Strom"}}}}},
                           {{"name", "FOH 63 A"}, {"status", "getrennt"}, {"age", nullptr}, {"alarms", json::array()}}}},
                         {"activeAlarms", 2},
                         {"errors", {"Port belegt"}}};
    EXPECT_EQ(statusReport(status, now),
              "Kestrelyne 0.1.0, Prozess 4711, läuft seit 21.11.2026 12:00:30 (vor 3 min)\n"
              "Web-App        http://10.0.0.2:8470\n"
              "               http://localhost:8470\n"
              "Anfragen       17, zuletzt von 10.0.0.9\n"
              "\n"
              "Messgerät  Zustand    letzter Wert  Alarme\n"
              "Bühne      verbunden  gerade eben   Frequenz > 50,5 Hz; Strom\n"
              "FOH 63 A   getrennt   –             –\n"
              "\n"
              "Aktive Alarme  2\n"
              "Fehler         Port belegt\n");
}

TEST(StatusText, HasTheNetworkInFewLines) {
    const json status = {{"network", {{"running", true}, {"universes", 3}, {"nodes", 2}, {"errors", {"sACN: Port 5568 belegt"}}}}};
    EXPECT_NE(statusReport(status, now)
                  .find("Netz           läuft, 3 Universen, 2 Nodes, 0 von 0 Geräten online\n"
                        "               sACN: Port 5568 belegt\n"),
              std::string::npos)
        << statusReport(status, now);
}

TEST(StatusText, ANameMovesNothing) {
    const json status = {{"meters", {{{"name", "\x1B[2J\nA"}, {"status", "\x07"}, {"alarms", {{{"text", "\x1B"}}}}}}}};
    const auto report = statusReport(status, now);
    EXPECT_EQ(report.find('\x1B'), std::string::npos);
    EXPECT_EQ(report.find('\x07'), std::string::npos);
    EXPECT_NE(report.find("\uFFFD[2J\uFFFDA"), std::string::npos);
}

TEST(StatusText, TellsAWebAppThatIsOffFromOneThatCannotBeReached) {
    json status = {{"web", {{"enabled", false}, {"running", false}, {"urls", {"http://localhost:8470"}}}}};
    EXPECT_NE(statusReport(status, now).find("Web-App        aus\n"), std::string::npos);
    status["web"]["enabled"] = true;
    EXPECT_NE(statusReport(status, now).find("Web-App        eingeschaltet, aber nicht erreichbar:\n"), std::string::npos);
}

TEST(StatusText, WithstandsAnAnswerOfAnotherShape) {
    for (const auto& status : {json(), json(5), json::array(), json::object(),
                               json({{"web", 5}, {"meters", {1, "x", nullptr}}, {"errors", 7}, {"pid", "x"}}),
                               json({{"startedAt", 1e300}, {"meters", {{{"alarms", 5}, {"age", "x"}}}}})}) {
        EXPECT_FALSE(statusReport(status, now).empty());
        EXPECT_FALSE(webReport(status).empty());
    }
}

TEST(StatusText, ShowsEveryFieldOfTheWebSettings) {
    const json state = {
        {"fields",
         {{"enabled", true},
          {"port", 8470},
          {"allowLAN", false},
          {"publicURL", ""},
          {"control", "find"},
          {"pin", "0815"},
          {"pushSubject", ""}}},
        {"urls", {"http://localhost:8470"}},
        {"tailscale", {{"installed", true}, {"online", true}, {"dnsName", "pult.example.ts.net"}, {"serveHTTPS", true}}},
        {"errors", {"a", "b"}}};
    EXPECT_EQ(webReport(state),
              "enabled      true\n"
              "port         8470\n"
              "allowLAN     false\n"
              "publicURL    –\n"
              "control      find\n"
              "pin          0815\n"
              "pushSubject  –\n"
              "\n"
              "Adressen       http://localhost:8470\n"
              "Tailscale      verbunden, pult.example.ts.net, HTTPS ein\n"
              "Fehler         a\n"
              "               b\n");
}

}  // namespace
}  // namespace kestrelyne
