#include "NetCore/SACNData.hpp"

#include <gtest/gtest.h>

#include "NetCore/SACNVectors.hpp"

namespace netcore {

namespace {

using vectors::Bytes;
using vectors::copyOf;
using vectors::with;

const Bytes& full = vectors::sacn[0].bytes;

std::string nameField(std::string_view name) {
    const auto packet = DMXPackets::sacn({.sourceName = name});
    return {packet.begin() + 44, packet.begin() + 108};
}

}  // namespace

TEST(SACNData, FramesToBytesAndBack) {
    for (const auto& vector : vectors::sacn) {
        SCOPED_TRACE(vector.name);
        EXPECT_EQ(copyOf(DMXPackets::sacn(vector.fields)), vector.bytes);
        const auto view = SACN::viewData(vector.bytes);
        ASSERT_TRUE(view);
        EXPECT_EQ(view->packet(), vector.packet);
    }
}

TEST(SACNData, WhatOthersSendIsReadFieldByField) {
    const auto view = SACN::viewData(vectors::previewBytes);
    ASSERT_TRUE(view);
    EXPECT_EQ(view->packet(), vectors::preview);
}

TEST(SACNData, AViewPointsIntoTheDatagram) {
    const auto view = SACN::viewData(full);
    EXPECT_EQ(view->values.data(), full.data() + 126);
    EXPECT_EQ(reinterpret_cast<const std::uint8_t*>(view->sourceName.data()), full.data() + 44);
    EXPECT_EQ(copyOf(view->cid), vectors::cid);
}

TEST(SACNData, OfExactly126BytesHasNoValuesWhateverItDeclares) {
    const auto packet = vectors::cut(full, 126);
    ASSERT_TRUE(SACN::viewData(packet));
    EXPECT_EQ(SACN::viewData(packet)->slots, 512);
    EXPECT_TRUE(SACN::viewData(packet)->values.empty());
    EXPECT_FALSE(SACN::viewData(vectors::cut(full, 125)));
}

TEST(SACNData, ThePropertyCountIncludesTheStartCode) {
    struct Row {
        std::uint16_t properties;
        std::size_t size;
        int slots;
        std::size_t values;
    };
    for (const auto& [properties, size, slots, values] : std::initializer_list<Row>{{513, 638, 512, 512},
                                                                                    {1, 638, 0, 0},
                                                                                    {0, 638, 0, 0},
                                                                                    {2, 638, 1, 1},
                                                                                    {513, 226, 512, 100},
                                                                                    {600, 700, 599, 512},
                                                                                    {65535, 1400, 65534, 512}}) {
        auto packet = with(full, {{123, {static_cast<std::uint8_t>(properties >> 8), static_cast<std::uint8_t>(properties)}}});
        packet.resize(size);
        const auto view = SACN::viewData(packet);
        ASSERT_TRUE(view);
        EXPECT_EQ(view->slots, slots) << properties;
        EXPECT_EQ(view->values.size(), values) << properties;
    }
}

TEST(SACNData, ASourceNameWithoutAZeroIsReadWhole) {
    const auto packet = with(full, {{44, 64, 'n'}});
    EXPECT_EQ(SACN::viewData(packet)->packet().sourceName, std::string(64, 'n'));
}

TEST(SACNData, ASourceNameEndsAtItsFirstZeroAndKeepsItsBlanks) {
    const auto packet = with(full, {{44, {' ', 'a', ' ', 0, 'b'}}});
    EXPECT_EQ(SACN::viewData(packet)->packet().sourceName, " a ");
}

TEST(SACNData, ASourceNameThatIsNoUTF8IsRepairedForPeopleOnly) {
    const auto packet = with(full, {{44, {'P', 0xFC, 0}}});
    EXPECT_EQ(SACN::viewData(packet)->sourceName, "P\xFC");
    EXPECT_EQ(SACN::viewData(packet)->packet().sourceName, "P\xEF\xBF\xBD");
}

TEST(SACNData, OptionsAreTerminatedAndPreview) {
    struct Row {
        std::uint8_t options;
        bool terminated, preview;
    };
    for (const auto& [options, terminated, preview] : std::initializer_list<Row>{
             {0x00, false, false}, {0x40, true, false}, {0x80, false, true}, {0xC0, true, true}, {0x3F, false, false}}) {
        const auto packet = with(full, {{112, {options}}});
        EXPECT_EQ(SACN::viewData(packet)->terminated, terminated) << int{options};
        EXPECT_EQ(SACN::viewData(packet)->previewData, preview) << int{options};
    }
}

TEST(SACNData, AnyStartCodeIsPassedOn) { EXPECT_EQ(SACN::viewData(with(full, {{125, {0xDD}}}))->startCode, 0xDD); }

TEST(SACNData, OfTheDMPLayerOnlyThePropertyCountCounts) {
    const auto packet = with(full, {{115, 8, 0xFF}});
    EXPECT_EQ(SACN::viewData(packet)->packet(), vectors::sacn[0].packet);
}

TEST(SACNData, OtherPacketsGiveNoView) {
    EXPECT_FALSE(SACN::viewData(vectors::discoveryBytes));
    EXPECT_FALSE(SACN::viewData(vectors::syncBytes));
    EXPECT_FALSE(SACN::viewData({}));
}

TEST(SACNData, SlotsArePaddedAndCut) {
    const Bytes three = {1, 2, 3}, many(600, 0x11);
    auto padded = three;
    padded.resize(512);
    EXPECT_EQ(copyOf(base::Bytes(DMXPackets::sacn({.data = three})).subspan(126)), padded);
    EXPECT_EQ(copyOf(base::Bytes(DMXPackets::sacn({.data = many})).subspan(126)), Bytes(512, 0x11));
}

TEST(SACNData, ACIDIsPaddedAndCut) {
    const Bytes two = {0xAA, 0xBB}, many(20, 0xCC);
    EXPECT_EQ(SACN::text(SACN::viewData(DMXPackets::sacn({.cid = two}))->cid), "aabb0000000000000000000000000000");
    const auto packet = DMXPackets::sacn({.cid = many});
    EXPECT_EQ(SACN::text(SACN::viewData(packet)->cid), "cccccccccccccccccccccccccccccccc");
    EXPECT_EQ(packet[38], 0x72);
}

TEST(SACNData, AnOwnNameLeavesRoomForAZeroAndIsCutBetweenCharacters) {
    EXPECT_EQ(nameField(std::string(100, 'n')), std::string(63, 'n') + '\0');
    EXPECT_EQ(nameField(std::string(62, 'n') + "ü"), std::string(62, 'n') + std::string(2, '\0'));
    EXPECT_EQ(nameField(std::string(61, 'n') + "ü"), std::string(61, 'n') + "ü" + '\0');
}

TEST(SACNData, UniversesBeyondSixteenBitsAreMasked) {
    EXPECT_EQ(DMXPackets::sacn({.universe = 0x10001}), DMXPackets::sacn({.universe = 1}));
}

}  // namespace netcore
