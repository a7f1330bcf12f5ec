#include "Kestrelyne/Lighting/PatchFixture.hpp"

#include <gtest/gtest.h>

#include <limits>

#include "Base/JSONFields.hpp"

using namespace kestrelyne;
using base::JSON;

namespace {

PatchFixture at(int universe, int address, int footprint = 1) {
    PatchFixture fixture;
    fixture.universe = universe;
    fixture.address = address;
    fixture.footprint = footprint;
    return fixture;
}

}  // namespace

TEST(PatchFixture, WritesItsAddressWithThreeDigits) {
    struct Row {
        int universe, address;
        const char* text;
    };
    for (const auto& [universe, address, text] :
         {Row{2, 41, "2.041"}, Row{1, 1, "1.001"}, Row{12, 512, "12.512"}, Row{1, 0, "–"}, Row{1, -3, "–"}, Row{0, 7, "0.007"},
          Row{3, 1234, "3.1234"}, Row{-2147483647 - 1, 2147483647, "-2147483648.2147483647"}}) {
        EXPECT_EQ(at(universe, address).addressText(), text);
        EXPECT_EQ(PatchAddressText(at(universe, address)).view(), text);
    }
}

TEST(PatchFixture, JoinsManufacturerAndModel) {
    PatchFixture fixture;
    EXPECT_EQ(fixture.typeText(), "");
    fixture.model = "Aura";
    EXPECT_EQ(fixture.typeText(), "Aura");
    fixture.manufacturer = "Maker";
    EXPECT_EQ(fixture.typeText(), "Maker Aura");
    fixture.model.clear();
    EXPECT_EQ(fixture.typeText(), "Maker");
}

TEST(PatchFixture, ShowsItsNameElseItsTypeBehindItsNumber) {
    PatchFixture fixture;
    fixture.model = "Aura";
    EXPECT_EQ(fixture.displayName(), "Aura");
    fixture.name = "Spot links";
    EXPECT_EQ(fixture.displayName(), "Spot links");
    fixture.fixtureID = "101";
    EXPECT_EQ(fixture.displayName(), "101 · Spot links");
    fixture.name.clear();
    EXPECT_EQ(fixture.displayName(), "101 · Aura");
}

TEST(PatchFixture, TakesAtLeastOneChannel) {
    EXPECT_EQ(at(1, 5, 0).lastAddress(), 5);
    EXPECT_EQ(at(1, 5, -4).lastAddress(), 5);
    EXPECT_EQ(at(1, 5, 3).lastAddress(), 7);
    constexpr int most = std::numeric_limits<int>::max();
    EXPECT_EQ(at(1, most, most).lastAddress(), most);
    EXPECT_EQ(at(1, 1, most).lastAddress(), most);
}

TEST(PatchFixture, OnlyAFullLevelThatIsNotFixedIsIntensity) {
    EXPECT_TRUE((PatchFixture::DMXValue{.offset = 0, .value = 255}.isIntensity()));
    EXPECT_FALSE((PatchFixture::DMXValue{.offset = 0, .value = 255, .fixed = true}.isIntensity()));
    EXPECT_FALSE((PatchFixture::DMXValue{.offset = 0, .value = 254}.isIntensity()));
}

TEST(PatchFixture, HasItsKeysInOrderAndLeavesOutWhatIsUnset) {
    PatchFixture fixture = at(2, 41, 16);
    fixture.id = *base::UUID::parse("E621E1F8-C36C-495A-93FC-0C247A3E6E5F");
    fixture.name = "Spot";
    fixture.highlight = {{.offset = 0, .value = 255}, {.offset = 3, .value = 255, .fixed = true}};
    EXPECT_EQ(base::dump(base::OrderedJSON(fixture)),
              R"({"id":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F","fixtureID":"","name":"Spot","manufacturer":"","model":"","mode":"",)"
              R"("universe":2,"address":41,"footprint":16,"layer":"","position":"","distributor":"","plugbox":"","socket":"",)"
              R"("breaker":"","phase":"","notes":"","highlight":[{"offset":0,"value":255},{"offset":3,"value":255,"fixed":true}],)"
              R"("footprintEstimated":false})");
    fixture.powerW = 350.5;
    fixture.rdmUID = "4D41:00001234";
    EXPECT_EQ(JSON(fixture)["powerW"], 350.5);
    EXPECT_EQ(JSON(fixture)["rdmUID"], "4D41:00001234");
    EXPECT_EQ(JSON(fixture).get<PatchFixture>(), fixture);
}

TEST(PatchFixture, EveryKeyIsOptional) {
    const auto fixture = JSON::object().get<PatchFixture>();
    auto empty = PatchFixture();
    EXPECT_NE(fixture.id, empty.id) << "a fresh one";
    EXPECT_NE(fixture.id, base::UUID());
    empty.id = fixture.id;
    EXPECT_EQ(fixture, empty);
}

TEST(PatchFixture, AValueOfAWrongTypeCountsAsMissing) {
    const auto fixture = JSON::parse(R"({"id":"x","fixtureID":101,"name":"Spot","universe":"2","address":5.5,"footprint":3.0,
        "powerW":"viel","notes":null,"rdmUID":7,"footprintEstimated":1,"unknown":[],"universe2":99999999999,
        "highlight":[5,{"offset":1,"value":255},{"offset":-1,"value":3},{"value":3},{"offset":2,"value":256},{"offset":2}]})")
                             .get<PatchFixture>();
    EXPECT_EQ(fixture.fixtureID, "");
    EXPECT_EQ(fixture.name, "Spot");
    EXPECT_EQ(fixture.universe, 0);
    EXPECT_EQ(fixture.address, 0);
    EXPECT_EQ(fixture.footprint, 3);
    EXPECT_EQ(fixture.powerW, std::nullopt);
    EXPECT_EQ(fixture.rdmUID, std::nullopt);
    EXPECT_FALSE(fixture.footprintEstimated);
    EXPECT_EQ(fixture.highlight, (std::vector<PatchFixture::DMXValue>{{.offset = 1, .value = 255}}));
    EXPECT_EQ(JSON::parse(R"({"address":99999999999})").get<PatchFixture>().address, 0) << "beyond what fits";
    EXPECT_EQ(JSON::parse(R"({"address":600})").get<PatchFixture>().address, 600) << "kept as it is";
    EXPECT_THROW(JSON::array().get<PatchFixture>(), base::DecodeError);
}

TEST(PatchFixture, NumbersComeFirstAndByValue) {
    const char* order[] = {"-1", "2", "9", "10", "12.3", "12.30", "100", "", "A2", "A10", "b1", "Truss 9", "Truss 10"};
    for (std::size_t i = 0; i < std::size(order); ++i)
        for (std::size_t j = 0; j < std::size(order); ++j) {
            PatchFixture left, right;
            left.fixtureID = order[i];
            right.fixtureID = order[j];
            EXPECT_EQ(patchLess(left, right), i < j) << order[i] << " and " << order[j];
        }
}

TEST(PatchFixture, EqualNumbersGoByUniverseThenAddress) {
    EXPECT_TRUE(patchLess(at(1, 500), at(2, 1)));
    EXPECT_TRUE(patchLess(at(2, 1), at(2, 2)));
    EXPECT_FALSE(patchLess(at(2, 2), at(2, 2)));
}
