#include "Base/Function.hpp"

#include <memory>

TEST(Function, OwnsCapturesThatCannotBeCopied) {
    auto box = std::make_unique<int>(3);
    base::Function<int(int)> add = [box = std::move(box)](int more) { return *box += more; };
    EXPECT_EQ(add(4), 7);
    auto moved = std::move(add);
    EXPECT_EQ(moved(1), 8);
}

TEST(Function, IsEmptyWithoutATarget) {
    base::Function<void()> none, null = nullptr;
    EXPECT_FALSE(none);
    EXPECT_FALSE(null);
    none = [] {};
    EXPECT_TRUE(static_cast<bool>(none));
}

TEST(Function, PassesReferencesAndMoveOnlyArguments) {
    int target = 0;
    base::Function<void(int&, std::unique_ptr<int>)> store = [](int& place, std::unique_ptr<int> value) { place = *value; };
    store(target, std::make_unique<int>(9));
    EXPECT_EQ(target, 9);
}

TEST(Function, DestroysItsCapturesWhenItIsEmptied) {
    const auto held = std::make_shared<int>();
    base::Function<void()> function = [held] {};
    EXPECT_EQ(held.use_count(), 2);
    function = nullptr;
    EXPECT_EQ(held.use_count(), 1);
}
