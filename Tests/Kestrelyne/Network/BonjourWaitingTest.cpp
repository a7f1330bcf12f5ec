#include "Kestrelyne/Network/BonjourWaiting.hpp"

#include <gtest/gtest.h>

namespace kestrelyne {

namespace {
BonjourTable::Key named(std::string name) { return {.type = "_osc._udp.", .name = std::move(name)}; }
}  // namespace

TEST(BonjourWaiting, TheOldestComesFirst) {
    BonjourWaiting waiting;
    for (const auto* name : {"b", "a", "c"}) waiting.add(named(name));
    EXPECT_EQ(waiting.takeFirst(), named("b"));
    EXPECT_EQ(waiting.takeFirst(), named("a"));
    waiting.add(named("b"));
    EXPECT_EQ(waiting.takeFirst(), named("c"));
    EXPECT_EQ(waiting.takeFirst(), named("b"));
    EXPECT_EQ(waiting.takeFirst(), std::nullopt);
}

TEST(BonjourWaiting, EachWaitsOnceAtItsFirstPlace) {
    BonjourWaiting waiting;
    for (const auto* name : {"a", "b", "a", "b"}) waiting.add(named(name));
    EXPECT_EQ(waiting.size(), 2u);
    EXPECT_EQ(waiting.takeFirst(), named("a"));
    EXPECT_EQ(waiting.takeFirst(), named("b"));
    EXPECT_EQ(waiting.size(), 0u);
}

TEST(BonjourWaiting, WhatComesAndGoesLeavesNothingBehind) {
    BonjourWaiting waiting;
    waiting.add(named("stays"));
    for (int i = 0; i < 1000; ++i) {
        waiting.add(named("flaps"));
        waiting.remove(named("flaps"));
    }
    waiting.remove(named("never there"));
    EXPECT_EQ(waiting.size(), 1u);
    EXPECT_EQ(waiting.takeFirst(), named("stays"));
    EXPECT_EQ(waiting.takeFirst(), std::nullopt);
}

TEST(BonjourWaiting, ClearForgetsAll) {
    BonjourWaiting waiting;
    waiting.add(named("a"));
    waiting.clear();
    EXPECT_EQ(waiting.size(), 0u);
    EXPECT_EQ(waiting.takeFirst(), std::nullopt);
    waiting.add(named("a"));
    EXPECT_EQ(waiting.takeFirst(), named("a"));
}

}  // namespace kestrelyne
