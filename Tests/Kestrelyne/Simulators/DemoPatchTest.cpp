#include "Kestrelyne/Simulators/DemoPatch.hpp"

#include <gtest/gtest.h>

#include "NetCore/LightingScene.hpp"

namespace kestrelyne {

TEST(DemoPatch, FitsTheUniversesAndTheMeter) {
    const auto meter = base::UUID::random();
    const auto patch = demoPatch(meter);
    EXPECT_EQ(patch.fixtures.size(), 48u);
    EXPECT_TRUE(patch.overlaps().empty());
    for (const auto& lamp : patch.fixtures) {
        EXPECT_GE(lamp.address, 1) << lamp.displayName();
        EXPECT_LE(lamp.lastAddress(), 512) << lamp.displayName();
        for (const auto& [offset, value, fixed] : lamp.highlight) EXPECT_LT(offset, lamp.footprint) << lamp.displayName();
    }
    EXPECT_EQ(patch.settings.artNetUniverse(patch.fixtures.back().universe), netcore::LightingScene::firstArtNet);
    EXPECT_EQ(patch.settings.distributorDevices.at("HV 1"), meter);
    EXPECT_TRUE(demoPatch(std::nullopt).settings.distributorDevices.empty());
}

TEST(DemoPatch, NoBreakerIsBeyondItsRating) {
    const auto patch = demoPatch(std::nullopt);
    for (const auto& circuit : patch.circuits())
        EXPECT_LE(circuit.powerW(), patch.settings.breakerAmps * patch.settings.voltage) << circuit.distributor << circuit.breaker;
}

}  // namespace kestrelyne
