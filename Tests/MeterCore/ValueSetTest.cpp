#include "MeterCore/ValueSet.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <random>

namespace metercore {

TEST(ValueSet, HoldsAbsentIdsApartFromZero) {
    const ValueSet values{{19000, 0.0}};
    EXPECT_EQ(values.get(19000), 0.0);
    EXPECT_EQ(values.get(19002), std::nullopt);
    EXPECT_TRUE(values.contains(19000));
    EXPECT_FALSE(values.contains(18998));
}

TEST(ValueSet, IteratesInAscendingOrderHoweverItWasFilled) {
    ValueSet values{{19004, 3}, {802, 1}, {90000, 4}, {19000, 2}};
    values.set(-5, 0);
    std::vector<int> ids;
    for (const auto& [id, value] : values) ids.push_back(id);
    EXPECT_EQ(ids, (std::vector{-5, 802, 19000, 19004, 90000}));
}

TEST(ValueSet, ReplacesTheValueOfAnIdItHas) {
    ValueSet values{{1, 10}, {2, 20}, {1, 11}};
    values.set(2, 21);
    EXPECT_EQ(values, (ValueSet{{1, 11}, {2, 21}}));
    EXPECT_EQ(values.size(), 2u);
}

TEST(ValueSet, ErasesOnlyWhatIsThere) {
    ValueSet values{{1, 10}, {2, 20}};
    EXPECT_TRUE(values.erase(1));
    EXPECT_FALSE(values.erase(1));
    EXPECT_FALSE(values.erase(3));
    EXPECT_EQ(values, (ValueSet{{2, 20}}));
}

TEST(ValueSet, OverlayPrefersTheOtherSet) {
    ValueSet values{{10, 1}, {20, 2}, {30, 3}};
    values.overlay({{5, 50}, {20, 200}, {25, 250}, {40, 400}});
    EXPECT_EQ(values, (ValueSet{{5, 50}, {10, 1}, {20, 200}, {25, 250}, {30, 3}, {40, 400}}));
    values.overlay({});
    EXPECT_EQ(values.size(), 6u);
    ValueSet empty;
    empty.overlay(values);
    EXPECT_EQ(empty, values);
    values.overlay(values);
    EXPECT_EQ(empty, values);
}

TEST(ValueSet, OverlayAgreesWithADictionary) {
    std::minstd_rand random(1);
    for (int round = 0; round < 500; ++round) {
        std::map<int, double> expected;
        ValueSet mine, theirs;
        for (auto n = random() % 20; n > 0; --n) {
            const int id = static_cast<int>(random() % 30);
            mine.set(id, 1);
            expected[id] = 1;
        }
        for (auto n = random() % 20; n > 0; --n) {
            const int id = static_cast<int>(random() % 30);
            theirs.set(id, 2);
            expected[id] = 2;
        }
        mine.overlay(theirs);
        ASSERT_EQ(mine.size(), expected.size());
        auto entry = mine.begin();
        for (const auto& [id, value] : expected) {
            ASSERT_EQ(entry->id, id);
            ASSERT_EQ(entry->value, value);
            ++entry;
        }
    }
}

TEST(ValueSet, KeepsValuesThatAreNoNumbers) {
    const ValueSet values{{1, std::nan("")}, {2, INFINITY}};
    EXPECT_TRUE(std::isnan(*values.get(1)));
    EXPECT_EQ(values.get(2), INFINITY);
}

}  // namespace metercore
