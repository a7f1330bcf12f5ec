#include "Kestrelyne/App/PatchVerbs.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <future>
#include <nlohmann/json.hpp>

#include "Kestrelyne/App/ControlClient.hpp"
#include "Kestrelyne/App/PatchState.hpp"
#include "Support/TemporaryFolder.hpp"
#include "Support/TestLoop.hpp"

using namespace kestrelyne;
using namespace std::chrono_literals;
using nlohmann::json;

namespace {

PatchFixture lamp(int number) {
    PatchFixture fixture;
    fixture.fixtureID = std::to_string(number);
    fixture.name = "Bühne Spot " + std::to_string(number);
    fixture.manufacturer = "Maker of lamps";
    fixture.model = "Aura XB LED wash";
    fixture.mode = "Extended 16 bit";
    fixture.universe = number / 32 + 1;
    fixture.address = number % 32 * 16 + 1;
    fixture.footprint = 16;
    fixture.distributor = "Verteiler links";
    fixture.breaker = "F" + std::to_string(number % 24 + 1);
    fixture.phase = "L1";
    fixture.powerW = 350;
    return fixture;
}

/// A store, asked as by another process.
class PatchVerbsTest : public testing::Test {
protected:
    PatchVerbsTest() {
        addPatchVerbs(server_, store_, pool_);
        server_.start({.path = folder_ / "control.sock"});
    }
    ~PatchVerbsTest() override { server_.stop(); }
    json ask(const json& request) {
        auto answer = std::async(std::launch::async,
                                 [this, request] { return ControlClient(folder_ / "control.sock").request(request, 60s); });
        while (answer.wait_for(0s) != std::future_status::ready)
            if (loop_.runUntil([&] { return answer.wait_for(0s) == std::future_status::ready; }, 2ms)) break;
        return answer.get();
    }

    TemporaryFolder folder_;
    TestLoop loop_{base::SystemClock::shared()};
    base::StoreWriter writer_;
    base::BackgroundPool pool_{"test.pool", 2};
    PatchStore store_{folder_.path(), writer_};
    ControlServer server_;
};

TEST_F(PatchVerbsTest, WhatIsAnsweredIsOnDisk) {
    const auto stored = [&] { return PatchStore::read(folder_.path()); };
    ask({{"verb", "patch.import"}, {"fixtures", {compactFixture(lamp(1)), compactFixture(lamp(2))}}, {"source", "a.csv"}});
    EXPECT_EQ(stored(), *store_.patch());
    EXPECT_EQ(stored().fixtures.size(), 2u);
    ask({{"verb", "patch.edit"}, {"fixtures", {"1"}}, {"notes", "x"}});
    EXPECT_EQ(stored().fixtures[0].notes, "x");
    ask({{"verb", "patch.settings"}, {"voltage", 110}});
    EXPECT_EQ(stored().settings.voltage, 110);
    ask({{"verb", "patch.delete"}, {"fixtures", {"2"}}});
    EXPECT_EQ(stored().fixtures.size(), 1u);
    EXPECT_EQ(stored(), *store_.patch());
}

TEST_F(PatchVerbsTest, ListsWhatTheQueryMeansAndTheWholeOfTheRest) {
    Patch patch;
    for (int i = 1; i <= 12; ++i) patch.fixtures.push_back(lamp(i));
    patch.fixtures[1].address = patch.fixtures[0].address;
    patch.sourceName = "show.mvr";
    store_.set(patch);
    auto answer = ask({{"verb", "patch.list"}});
    EXPECT_EQ(answer["fixtures"].size(), 12u);
    EXPECT_EQ(answer["fixtures"][0].get<PatchFixture>(), store_.fixtures()[0]);
    EXPECT_FALSE(answer["fixtures"][0].contains("notes")) << "what is empty is left out";
    EXPECT_EQ(answer["overlaps"], 1);
    EXPECT_EQ(answer["sourceName"], "show.mvr");
    EXPECT_EQ(answer["settings"]["voltage"], 230.0);
    EXPECT_EQ(answer["distributors"], json({"Verteiler links"}));
    EXPECT_EQ(answer["circuits"].size(), 12u);
    EXPECT_EQ(answer["circuits"][0], json({{"distributor", "Verteiler links"},
                                           {"breaker", "F2"},
                                           {"phase", "L1"},
                                           {"fixtures", 1},
                                           {"powerW", 350.0},
                                           {"missingPower", 0}}));
    answer = ask({{"verb", "patch.list"}, {"query", "1"}});
    EXPECT_EQ(answer["fixtures"].size(), 4u);
    EXPECT_EQ(answer["count"], 12);
}

TEST_F(PatchVerbsTest, ADryRunAndARefusalChangeNothing) {
    store_.set(Patch());
    const auto revision = store_.revision();
    ask({{"verb", "patch.import"}, {"fixtures", {compactFixture(lamp(1))}}, {"dryRun", true}});
    EXPECT_THROW(ask({{"verb", "patch.edit"}, {"fixtures", {"1"}}, {"notes", "x"}}), ControlError);
    EXPECT_EQ(store_.revision(), revision);
}

TEST_F(PatchVerbsTest, AChangeThatCannotBeSavedIsSaid) {
    std::ofstream(folder_ / "Patch") << "in the way";
    try {
        ask({{"verb", "patch.settings"}, {"voltage", 110}});
        FAIL();
    } catch (const ControlError& error) {
        EXPECT_STREQ(error.what(), "Die Änderung gilt, ließ sich aber nicht speichern.");
    }
    EXPECT_EQ(store_.settings().voltage, 110);
}

// Somebody else changes the patch while an edit is worked out: neither change is lost.
TEST_F(PatchVerbsTest, AnEditMeetsWhatIsThereWhenItIsDone) {
    store_.update(lamp(1));
    auto answer = std::async(std::launch::async, [this] {
        return ControlClient(folder_ / "control.sock").request({{"verb", "patch.edit"}, {"fixtures", {"1"}}, {"notes", "x"}}, 60s);
    });
    int added = 1;
    while (answer.wait_for(0s) != std::future_status::ready) {
        if (added < 20) store_.update(lamp(++added));
        if (loop_.runUntil([&] { return answer.wait_for(0s) == std::future_status::ready; }, 1ms)) break;
    }
    answer.get();
    EXPECT_EQ(store_.fixtures().size(), static_cast<std::size_t>(added));
    EXPECT_EQ(store_.fixtures()[0].notes, "x");
}

TEST_F(PatchVerbsTest, TwentyThousandLampsGoOverTheSocketAndBack) {
    json fixtures = json::array();
    for (int i = 1; i <= 20000; ++i) fixtures.push_back(compactFixture(lamp(i)));
    const auto answer = ask({{"verb", "patch.import"}, {"fixtures", std::move(fixtures)}, {"replace", true}});
    EXPECT_EQ(answer["added"], 20000);
    EXPECT_EQ(ask({{"verb", "patch.list"}})["fixtures"].size(), 20000u);
}

}  // namespace
