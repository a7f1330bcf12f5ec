#include "Kestrelyne/Lighting/DMXRequest.hpp"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace kestrelyne {

namespace {

class DMXRequestTest : public testing::Test {
protected:
    DMXRequestTest() {
        patch.fixtures.resize(3);
        patch.fixtures[0].fixtureID = "101";
        patch.fixtures[1].fixtureID = "12.3";
        patch.fixtures[2].fixtureID = "101";
    }
    DMXRequest read(const std::string& text, DMXOutput::Options options = {}) {
        return dmxRequest(nlohmann::json::parse(text), patch, options);
    }
    std::string refusal(const std::string& text) {
        try {
            read(text);
        } catch (const DMXRequestError& error) {
            return error.what();
        }
        return "taken";
    }
    Patch patch;
};

}  // namespace

TEST_F(DMXRequestTest, ReadsTheModes) {
    EXPECT_EQ(read(R"({"mode":"all"})").mode, DMXOutput::Mode(DMXOutput::All{}));
    EXPECT_EQ(read(R"({"mode":"chase"})").mode, DMXOutput::Mode(DMXOutput::Chase{}));
    EXPECT_EQ(read(R"({"mode":"raw","universe":3,"channel":512,"value":255})").mode,
              DMXOutput::Mode(DMXOutput::Raw{.universe = 3, .channel = 512, .value = 255}));
}

TEST_F(DMXRequestTest, FindsLampsByNumberAndById) {
    const auto& lamps = patch.fixtures;
    EXPECT_EQ(read(R"({"mode":"fixtures","fixtures":["101"]})").mode,
              DMXOutput::Mode(DMXOutput::Fixtures{{lamps[0].id, lamps[2].id}}))
        << "all that have the number";
    EXPECT_EQ(read(R"({"mode":"fixtures","fixtures":["12.3",")" + lamps[1].id.text() + "\"]}").mode,
              DMXOutput::Mode(DMXOutput::Fixtures{{lamps[1].id}}))
        << "named twice";
    EXPECT_EQ(refusal(R"({"mode":"fixtures","fixtures":["101","7"]})"), "Es gibt keine Lampe „7“.");
    EXPECT_EQ(refusal(R"({"mode":"fixtures","fixtures":[""]})"), "Es gibt keine Lampe „“.");
    EXPECT_EQ(refusal(R"({"mode":"fixtures"})"), "Es ist keine Lampe genannt.");
    EXPECT_EQ(refusal(R"({"mode":"fixtures","fixtures":[]})"), "Es ist keine Lampe genannt.");
}

TEST_F(DMXRequestTest, KeepsWhatIsNotGiven) {
    const DMXOutput::Options before{
        .level = 0.3, .proto = DMXOutput::Proto::sacn, .sacnPriority = 80, .chaseStep = 2, .universeFilter = {4}};
    EXPECT_EQ(read(R"({"mode":"all"})", before).options, before);
    const DMXOutput::Options after{
        .level = 0.5, .proto = DMXOutput::Proto::artnet, .sacnPriority = 200, .chaseStep = 0.5, .universeFilter = {1, 7}};
    EXPECT_EQ(read(R"({"mode":"all","level":0.5,"proto":"artnet","priority":200,"step":0.5,"universes":[7,1]})", before).options,
              after);
    EXPECT_EQ(read(R"({"mode":"all","universes":[]})", before).options.universeFilter, std::set<int>());
}

TEST_F(DMXRequestTest, RefusesWhatCannotBeMeant) {
    EXPECT_EQ(refusal("{}"), "Die Art muss fixtures, all, chase oder raw sein.");
    EXPECT_EQ(refusal(R"({"mode":"off"})"), "Die Art muss fixtures, all, chase oder raw sein.");
    EXPECT_EQ(refusal(R"({"mode":"raw","universe":0,"channel":1,"value":1})"), "Das Universum muss von 1 bis 63999 sein.");
    EXPECT_EQ(refusal(R"({"mode":"raw","universe":1,"channel":513,"value":1})"), "Der Kanal muss von 1 bis 512 sein.");
    EXPECT_EQ(refusal(R"({"mode":"raw","universe":1,"channel":1,"value":256})"), "Der Wert muss von 0 bis 255 sein.");
    EXPECT_EQ(refusal(R"({"mode":"raw","universe":1,"channel":1})"), "Der Wert muss von 0 bis 255 sein.");
    EXPECT_EQ(refusal(R"({"mode":"raw","universe":"1","channel":1,"value":1})"), "„universe“ muss eine ganze Zahl sein.");
    EXPECT_EQ(refusal(R"({"mode":"all","level":1.5})"), "Die Helligkeit muss von 0 bis 1 sein.");
    EXPECT_EQ(refusal(R"({"mode":"all","level":"hell"})"), "Die Helligkeit muss von 0 bis 1 sein.");
    EXPECT_EQ(refusal(R"({"mode":"all","priority":201})"), "Die Priorität muss von 0 bis 200 sein.");
    EXPECT_EQ(refusal(R"({"mode":"all","step":-1})"), "Die Zeit je Lampe in Sekunden muss von 0 bis 3600 sein.");
    EXPECT_EQ(refusal(R"({"mode":"all","proto":"dmx"})"), "Das Protokoll muss artnet oder sacn sein.");
    EXPECT_EQ(refusal(R"({"mode":"all","universes":[1,"x"]})"), "Universen sind Zahlen von 0 bis 63999.");
    EXPECT_EQ(refusal(R"({"mode":"all","universes":3})"), "„universes“ muss eine Liste von Universen sein.");
}

}  // namespace kestrelyne
