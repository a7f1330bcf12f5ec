#include "Kestrelyne/App/DMXVerbs.hpp"

#include <gtest/gtest.h>

#include "Base/JSONFields.hpp"
#include "Support/TemporaryFolder.hpp"
#include "Support/TestLoop.hpp"

namespace kestrelyne {

namespace {

/// A test light whose frames go to the discard port of the loopback address.
class DMXVerbs : public testing::Test {
protected:
    static constexpr std::uint16_t discardPort = 9;

    base::UUID add(const std::string& number, int universe) {
        PatchFixture fixture;
        fixture.fixtureID = number;
        fixture.name = "Lampe";
        fixture.universe = universe;
        fixture.address = 41;
        patch_.update(fixture);
        return fixture.id;
    }

    TestLoop loop_;
    TemporaryFolder folder_;
    base::StoreWriter writer_;
    PatchStore patch_{folder_.path(), writer_};
    DMXOutput output_{
        patch_,
        {.running = [] { return true; },
         .sources = [](const UniverseKey&) { return std::vector<DMXSourceView>(); },
         .nodes = [](int universe) { return universe < 4 ? std::vector<std::string>{"127.0.0.1"} : std::vector<std::string>(); },
         .adapters = [] { return std::vector<std::uint32_t>(); },
         .loopbackOnly = true,
         .log = [](NetEvent::Level, const std::string&) {},
         .now = [] { return base::SteadyTime(); }},
        {.artnet = discardPort, .sacn = discardPort}};
};

TEST_F(DMXVerbs, TheStateOfRest) {
    EXPECT_EQ(dmxState(output_), base::parseJSON(R"({"sending":false,"mode":"off","level":1.0,"proto":"artnet","priority":100.0,)"
                                                 R"("step":1.0,"universes":[],"blockedBy":null,"currentFixture":null,)"
                                                 R"("chaseIndex":0,"sent":[],"withoutNode":[]})"));
    EXPECT_EQ(dmxReport(dmxState(output_)),
              "Testausgabe    aus\n"
              "Helligkeit     100 %\n"
              "Protokoll      Art-Net\n"
              "Zeit je Lampe  1,00 s\n"
              "Nur            –\n");
}

TEST_F(DMXVerbs, TheStateOfEachMode) {
    const auto first = add("1", 1), second = add("2", 9);
    ASSERT_TRUE(output_.start(DMXOutput::Fixtures{{first}}, {.level = 0.5}));
    auto state = dmxState(output_);
    EXPECT_EQ(state["mode"], "fixtures");
    EXPECT_EQ(state["fixtures"], base::JSON::array({first.text()}));
    EXPECT_EQ(state["sent"], base::JSON::array({1}));

    ASSERT_TRUE(output_.start(DMXOutput::Raw{.universe = 2, .channel = 3, .value = 4}));
    state = dmxState(output_);
    EXPECT_EQ(state["mode"], "raw");
    EXPECT_EQ((std::array<int, 3>{state["universe"], state["channel"], state["value"]}), (std::array<int, 3>{2, 3, 4}));

    ASSERT_TRUE(output_.start(DMXOutput::All{}));
    state = dmxState(output_);
    EXPECT_EQ(state["mode"], "all");
    EXPECT_EQ(state["withoutNode"], base::JSON::array({9}));

    ASSERT_TRUE(output_.start(DMXOutput::Chase{}, {.proto = DMXOutput::Proto::sacn, .chaseStep = 0.5, .universeFilter = {9, 10}}));
    EXPECT_FALSE(output_.start(DMXOutput::Raw{.universe = 20, .channel = 3, .value = 4}, {.proto = DMXOutput::Proto::artnet}));
    state = dmxState(output_);
    EXPECT_EQ(state["currentFixture"], (base::JSON{{"id", second.text()}, {"name", "2 · Lampe"}, {"address", "9.041"}}));
    EXPECT_EQ(dmxReport(state),
              "Testausgabe    Lauflicht\n"
              "Helligkeit     100 %\n"
              "Protokoll      sACN, Priorität 100\n"
              "Zeit je Lampe  0,50 s\n"
              "Nur            Universum 9, 10\n"
              "Gesendet       Universum 9\n"
              "Lampe          2 · Lampe (9.041)\n"
              "Hinweis        Kein Art-Net-Node gibt Universum 20 (0:1:3) aus – Testausgabe nicht gestartet.\n");
}

}  // namespace

}  // namespace kestrelyne
