#include "NetCore/SNMPColumn.hpp"

#include <limits>

#include "NetCore/FakeSNMPTarget.hpp"

using namespace netcore;

namespace {

const SNMPValue one(std::int64_t(1)), two(std::int64_t(2));

}  // namespace

TEST(SNMPColumn, IsKeyedByTheLastNumberAndKeepsTheLaterRow) {
    FakeSNMPTarget target;
    target.set("1.3.6.9.7", 1);
    target.set("1.3.6.9.10.7", 2);
    target.set("1.3.6.9.5.8", 1);
    EXPECT_EQ(column(target, "1.3.6.9"), (SNMPColumn{{7, two}, {8, one}}));
    EXPECT_EQ(target.limits, std::vector<int>{2000});
}

TEST(SNMPColumn, DropsRowsWhoseKeyIsNoUsableNumber) {
    FakeSNMPTarget target;
    target.set("1.3.6.9.9223372036854775807", 1);
    target.set("1.3.6.9.9223372036854775808", 2);
    EXPECT_EQ(column(target, "1.3.6.9"), (SNMPColumn{{std::numeric_limits<std::int64_t>::max(), one}}));
}

TEST(SNMPColumn, IsEmptyWhenTheAgentFails) {
    FakeSNMPTarget target;
    target.set("1.3.6.9.1", 1);
    target.failAll();
    EXPECT_TRUE(rowsOrNone(target, "1.3.6.9").empty());
    EXPECT_TRUE(column(target, "1.3.6.9").empty());
    EXPECT_TRUE(valuesOrNone(target, {"1.3.6.9.1"}).empty());
}

TEST(SNMPColumn, AnswersNothingForWhatIsMissingOrOfAnotherKind) {
    const SNMPColumn values{{1, one}, {2, SNMPValue(SNMPValue::Gauge{5})}, {3, SNMPValue(SNMPValue::Null{})}};
    EXPECT_EQ(numberAt(values, 2), 5);
    EXPECT_EQ(numberAt(values, 3), std::nullopt);
    EXPECT_EQ(numberAt(values, 4), std::nullopt);
    EXPECT_EQ(integerAt(values, 1), 1);
    EXPECT_EQ(integerAt(values, 2), std::nullopt) << "unsigned";
    EXPECT_EQ(textAt(values, 3), "null");
    EXPECT_EQ(textAt(values, 4), std::nullopt);
    EXPECT_EQ(valueAt(values, 4), nullptr);
}

TEST(SNMPColumn, KeepsWholeNumbersWithinAnInt) {
    using Limits = std::numeric_limits<int>;
    EXPECT_EQ(clampedInt(std::nullopt), 0);
    EXPECT_EQ(clampedInt(10000.0), 10000);
    EXPECT_EQ(clampedInt(1.8e19), Limits::max());
    EXPECT_EQ(clampedInt(-1.8e19), Limits::min());
}
