#include "NetCore/RDM.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

namespace netcore::RDM {

namespace {

using Frame = std::vector<std::uint8_t>;

constexpr UID device{.manufacturer = 0x1234, .device = 1};

void append(Frame& frame, std::initializer_list<int> bytes) {
    for (const int byte : bytes) frame.push_back(static_cast<std::uint8_t>(byte));
}

std::uint16_t sum(const Frame& frame) { return static_cast<std::uint16_t>(std::accumulate(frame.begin(), frame.end(), 0xCCu)); }

// A response from 1234:00000001 to everybody, with its checksum.
Frame response(int commandClass, int type, int pid, const Frame& data) {
    Frame frame;
    append(frame, {0x01,
                   24 + static_cast<int>(data.size()),
                   0xFF,
                   0xFF,
                   0xFF,
                   0xFF,
                   0xFF,
                   0xFF,
                   0x12,
                   0x34,
                   0,
                   0,
                   0,
                   1,
                   9,
                   type,
                   0,
                   0,
                   0,
                   commandClass,
                   pid >> 8,
                   pid & 0xFF,
                   static_cast<int>(data.size())});
    frame.insert(frame.end(), data.begin(), data.end());
    const auto check = sum(frame);
    append(frame, {check >> 8, check & 0xFF});
    return frame;
}

Frame withoutChecksum(Frame frame) {
    frame.resize(frame.size() - 2);
    return frame;
}

}  // namespace

TEST(RDM, TheControllerIsAPrototypeAndStaysTheSame) {
    EXPECT_EQ(controller().manufacturer, 0x7FF0);
    EXPECT_GE(controller().device, 1u);
    EXPECT_LE(controller().device, 0xFFFFFFF0u);
    EXPECT_EQ(controller(), controller());
}

TEST(RDM, BuildsAGet) {
    const auto frame = get(PID::deviceInfo, device, 7);
    ASSERT_EQ(frame.size(), 25u);
    Frame expected;
    append(expected, {0x01, 24, 0x12, 0x34, 0, 0, 0, 1, 0x7F, 0xF0});
    for (const int shift : {24, 16, 8, 0}) expected.push_back(static_cast<std::uint8_t>(controller().device >> shift));
    append(expected, {7, 1, 0, 0, 0, 0x20, 0x00, 0x60, 0});
    const auto check = sum(expected);
    append(expected, {check >> 8, check & 0xFF});
    EXPECT_EQ(frame, expected);
}

TEST(RDM, BuildsASetWithItsData) {
    const Frame address{0x01, 0x02};
    const auto frame = set(PID::startAddress, device, 255, address);
    ASSERT_EQ(frame.size(), 27u);
    EXPECT_EQ(frame[1], 26);
    EXPECT_EQ(frame[14], 255);
    EXPECT_EQ(frame[19], 0x30);
    EXPECT_EQ(frame[20], 0x00);
    EXPECT_EQ(frame[21], 0xF0);
    EXPECT_EQ(frame[22], 2);
    EXPECT_EQ(frame[23], 1);
    EXPECT_EQ(frame[24], 2);
    EXPECT_EQ(sum(withoutChecksum(frame)), frame[25] << 8 | frame[26]);
}

TEST(RDM, CarriesTheMostDataThereCanBe) {
    const Frame most(mostData, 0xFF);
    const auto frame = set(PID::deviceLabel, device, 0, most);
    EXPECT_EQ(frame[1], 255);
    const auto check = sum(withoutChecksum(frame));
    EXPECT_EQ(check, frame[frame.size() - 2] << 8 | frame.back());
}

TEST(RDM, TheChecksumOfTheLongestFrameIsOfSixteenBits) {
    Frame frame = response(0x21, 0, 0x0060, Frame(231, 0xFF));
    ASSERT_TRUE(parse(frame));
    std::uint32_t whole = 0xCC;
    for (std::size_t i = 0; i + 2 < frame.size(); ++i) whole += frame[i];
    EXPECT_EQ(whole & 0xFFFF, static_cast<std::uint32_t>(frame[frame.size() - 2]) << 8 | frame.back());
}

TEST(RDM, ReadsAResponse) {
    const auto read = parse(response(0x21, ackTimer, 0x0402, {0x00, 0x0B}));
    ASSERT_TRUE(read);
    EXPECT_EQ(
        *read,
        (Response{
            .source = device, .transaction = 9, .responseType = 1, .pid = 0x0402, .data = {0x00, 0x0B}, .isSetResponse = false}));
    EXPECT_TRUE(parse(response(0x31, ack, 0x00F0, {}))->isSetResponse);
}

TEST(RDM, ReadsARecordedResponse) {
    // GET_COMMAND_RESPONSE of SUPPORTED_PARAMETERS with two parameters, without its start code.
    const Frame recorded{0x01, 0x1C, 0x00, 0x01, 0x00, 0x00, 0x00, 0x02, 0x00, 0x03, 0x00, 0x00, 0x00, 0x04, 0x05,
                         0x00, 0x06, 0x00, 0x07, 0x21, 0x00, 0x50, 0x04, 0x00, 0x40, 0x00, 0x50, 0x02, 0x0A};
    const auto read = parse(recorded);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->source, (UID{.manufacturer = 3, .device = 4}));
    EXPECT_EQ(read->transaction, 5);
    EXPECT_EQ(read->pid, 0x0050);
    EXPECT_EQ(read->data, (Frame{0x00, 0x40, 0x00, 0x50}));
}

TEST(RDM, ReadsNoCommandAndNoDiscovery) {
    for (const int commandClass : {0x10, 0x11, 0x20, 0x22, 0x30, 0x00, 0xFF})
        EXPECT_FALSE(parse(response(commandClass, 0, 0x60, {})));
    EXPECT_FALSE(parse(get(PID::deviceInfo, device, 1)));
    auto other = response(0x21, 0, 0x60, {});
    other[0] = 0x02;
    EXPECT_FALSE(parse(other));
}

TEST(RDM, AChangedByteIsSeen) {
    const auto whole = response(0x21, 0, 0x60, {1, 2, 3});
    for (std::size_t i = 2; i < whole.size(); ++i) {
        auto changed = whole;
        changed[i] ^= 0x10;
        const auto read = parse(changed);
        // The length of the data may shrink only with the sum; every other byte is in it.
        EXPECT_FALSE(read) << i;
    }
}

TEST(RDM, AFrameWithoutChecksumIsTaken) {
    const auto whole = response(0x21, 0, 0x60, {1, 2, 3});
    EXPECT_TRUE(parse(withoutChecksum(whole)));
    auto half = whole;
    half.pop_back();
    EXPECT_TRUE(parse(half)) << "half a checksum is none";
}

TEST(RDM, WhatIsCutShortGivesNothing) {
    const auto whole = response(0x21, 0, 0x60, {1, 2, 3});
    for (std::size_t size = 0; size + 2 < whole.size(); ++size) EXPECT_FALSE(parse(base::Bytes(whole).first(size))) << size;
}

TEST(RDM, LengthsMustFitEachOther) {
    auto frame = withoutChecksum(response(0x21, 0, 0x60, {1, 2, 3}));
    frame[22] = 4;
    EXPECT_FALSE(parse(frame)) << "data beyond the length";
    frame[22] = 2;
    ASSERT_TRUE(parse(frame)) << "less data than there is room for";
    EXPECT_EQ(parse(frame)->data, (Frame{1, 2}));
    frame[1] = 23;
    frame[22] = 0;
    EXPECT_FALSE(parse(frame)) << "no length of a frame";
}

TEST(RDM, WhatFollowsIsIgnored) {
    auto frame = response(0x21, 0, 0x60, {1});
    frame.insert(frame.end(), {0xAA, 0xBB});
    EXPECT_TRUE(parse(frame));
}

TEST(RDM, SaysInGermanWhyItWasRefused) {
    const auto reason = [](Frame data) {
        Response refused;
        refused.responseType = nack;
        refused.data = std::move(data);
        return refused.nackReason();
    };
    EXPECT_EQ(reason({}), "abgelehnt");
    EXPECT_EQ(reason({0}), "abgelehnt");
    const char* texts[] = {"Parameter wird nicht unterstützt",
                           "Formatfehler",
                           "Hardwarefehler",
                           "Proxy abgelehnt",
                           "schreibgeschützt",
                           "Befehl wird nicht unterstützt",
                           "Wert außerhalb des gültigen Bereichs",
                           "Puffer voll",
                           "Paketgröße nicht unterstützt",
                           "Sub-Device außerhalb des Bereichs",
                           "Proxy-Puffer voll",
                           "abgelehnt (Code 11)"};
    for (std::uint8_t code = 0; code < std::size(texts); ++code) EXPECT_EQ(reason({0, code}), texts[code]);
    EXPECT_EQ(reason({1, 0, 9}), "abgelehnt (Code 256)");
}

}  // namespace netcore::RDM
