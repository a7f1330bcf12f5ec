#include "MeterCore/LZ4Block.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "Support/LZ4Blocks.hpp"

namespace {

using namespace metercore::LZ4Block;
using support::ByteVector;

std::string decoded(const ByteVector& block, std::string_view before = {}) {
    Buffer buffer(0);
    if (!before.empty()) EXPECT_TRUE(decodeBlock(support::storedBlock(support::bytesOf(before)), buffer));
    if (!decodeBlock(block, buffer)) {
        EXPECT_EQ(buffer.count(), before.size()) << "what fails leaves no bytes";
        return "broken";
    }
    const auto bytes = buffer.bytes().subspan(before.size());
    return {bytes.begin(), bytes.end()};
}

ByteVector joined(std::initializer_list<ByteVector> parts) {
    ByteVector bytes;
    for (const auto& part : parts) support::append(bytes, part);
    return bytes;
}

// Bytes of some repetition: words of a small dictionary with random ones between, runs, and copies from far back.
ByteVector mixedBytes(std::size_t size, unsigned seed) {
    std::mt19937 random(seed);
    const auto below = [&](std::size_t bound) { return static_cast<std::size_t>(random()) % bound; };
    ByteVector bytes;
    while (bytes.size() < size) {
        const auto kind = below(4);
        const auto length = 1 + below(kind == 1 ? 2000 : 60);
        if (kind == 0 || bytes.size() < 100) {
            for (std::size_t i = 0; i < length; ++i) bytes.push_back(static_cast<std::uint8_t>(random()));
        } else if (kind == 1) {
            bytes.insert(bytes.end(), length, static_cast<std::uint8_t>(random()));
        } else {
            auto from = bytes.size() - 1 - below(std::min<std::size_t>(bytes.size(), kind == 2 ? 40 : 65000));
            for (std::size_t i = 0; i < length; ++i) bytes.push_back(bytes[from++]);
        }
    }
    bytes.resize(size);
    return bytes;
}

TEST(LZ4Block, ReadsLiteralsAndCopies) {
    const auto text = [](std::string_view literals) { return support::bytesOf(literals); };
    struct Row {
        const char* what;
        ByteVector block;
        std::string expected;
    };
    const std::string run19(19, 'a');
    for (const auto& [what, block, expected] : std::vector<Row>{
             {"nothing but a token", {0x00}, ""},
             {"literals alone", joined({{0x30}, text("abc")}), "abc"},
             {"fifteen literals need a further byte", joined({{0xF0, 0}, text("abcdefghijklmno")}), "abcdefghijklmno"},
             {"a copy, and no literals behind it", joined({{0x40}, text("abcd"), {4, 0, 0x00}}), "abcdabcd"},
             {"a copy of bytes that it makes itself", joined({{0x10}, text("a"), {1, 0, 0x10}, text("b")}), "aaaaab"},
             {"a pattern of three", joined({{0x34}, text("abc"), {3, 0, 0x10}, text("!")}), "abcabcabcab!"},
             {"a copy of nineteen needs a further byte", joined({{0x1F}, text("a"), {1, 0, 0, 0x10}, text("b")}),
              "a" + run19 + "b"},
             {"a length of 255 goes on", joined({{0x1F}, text("a"), {1, 0, 255, 1, 0x10}, text("b")}),
              "a" + std::string(19 + 256, 'a') + "b"},
             {"literals of 270", joined({{0xF0, 255, 0}, ByteVector(270, 'x')}), std::string(270, 'x')},
         })
        EXPECT_EQ(decoded(block), expected) << what;
}

TEST(LZ4Block, CopiesFromTheBlocksBefore) {
    EXPECT_EQ(decoded({0x00, 8, 0, 0x00}, "abcdefgh"), "abcd");
    EXPECT_EQ(decoded({0x04, 3, 0, 0x00}, "abcdefgh"), "fghfghfg");
    const std::string before(70000, '-');
    EXPECT_EQ(decoded({0x00, 0xFF, 0xFF, 0x00}, before), "----") << "65535 back";
}

TEST(LZ4Block, RefusesWhatIsNoBlock) {
    struct Row {
        const char* what;
        ByteVector block;
    };
    for (const auto& [what, block] : std::vector<Row>{
             {"no token", {}},
             {"fewer literals than said", {0x30, 'a', 'b'}},
             {"a length that does not end", {0xF0, 255, 255}},
             {"no further byte of a length", {0xF0}},
             {"half an offset", {0x10, 'a', 1}},
             {"an offset of 0", {0x10, 'a', 0, 0, 0x00}},
             {"an offset to before the output", {0x10, 'a', 2, 0, 0x00}},
             {"a copy before there is any output", {0x00, 1, 0, 0x00}},
             {"the length of a copy that does not end", {0x1F, 'a', 1, 0, 255}},
             {"an end behind a copy", {0x10, 'a', 1, 0}},
         })
        EXPECT_EQ(decoded(block), "broken") << what;
    // The same where the short way is taken: far from both ends.
    for (const std::uint8_t offset : {0, 3}) {
        ByteVector block{0x20, 'a', 'b', offset, 0};
        support::append(block, support::storedBlock(ByteVector(100, 'x')));
        EXPECT_EQ(decoded(block), "broken") << "offset " << int{offset};
    }
}

TEST(LZ4Block, CopiesOfEveryDistanceAndLength) {
    std::string before;
    for (int i = 0; i < 80; ++i) before.push_back(static_cast<char>(32 + i));
    for (std::size_t offset = 1; offset <= 70; ++offset)
        for (std::size_t length = 4; length <= 80; ++length) {
            std::string expected = before;
            for (std::size_t i = 0; i < length; ++i) expected.push_back(expected[expected.size() - offset]);
            for (const std::size_t behind : {0, 40}) {
                ByteVector block{static_cast<std::uint8_t>(std::min<std::size_t>(length - 4, 15)),
                                 static_cast<std::uint8_t>(offset), 0};
                if (length >= 19) block.push_back(static_cast<std::uint8_t>(length - 19));
                support::append(block, support::storedBlock(ByteVector(behind, '!')));
                ASSERT_EQ(decoded(block, before), expected.substr(before.size()) + std::string(behind, '!'))
                    << "offset " << offset << ", length " << length;
            }
        }
}

// Both kinds of blocks; in dependent ones copies reach into the blocks before.
TEST(LZ4Block, ReadsWhatLiblz4Makes) {
    std::mt19937 random(4);
    for (unsigned seed = 0; seed < 60; ++seed) {
        const auto plain = mixedBytes(1 + random() % 200000, seed);
        const auto size = std::array<std::size_t, 4>{32768, 1, 977, 65536}[seed % 4];
        for (const bool dependent : {false, true}) {
            if (size == 1 && seed > 4) continue;
            const auto length = size == 1 ? std::min<std::size_t>(plain.size(), 500) : plain.size();
            const ByteVector part(plain.begin(), plain.begin() + static_cast<std::ptrdiff_t>(length));
            Buffer buffer(seed % 2 == 0 ? 0 : part.size());
            for (const auto& block : support::compressedBlocks(part, dependent, size))
                ASSERT_TRUE(decodeBlock(block, buffer)) << seed;
            ASSERT_TRUE(std::ranges::equal(buffer.bytes(), part)) << seed << (dependent ? " dependent" : "");
        }
    }
}

TEST(LZ4Block, ReadsOnAfterADictionary) {
    const auto plain = mixedBytes(100000, 7);
    const auto dictionary = ByteVector(plain.begin(), plain.begin() + 50000);
    const ByteVector rest(plain.begin() + 50000, plain.end());
    const std::unique_ptr<LZ4_stream_t, int (*)(LZ4_stream_t*)> stream(LZ4_createStream(), LZ4_freeStream);
    LZ4_loadDict(stream.get(), reinterpret_cast<const char*>(dictionary.data()), static_cast<int>(dictionary.size()));
    ByteVector block(static_cast<std::size_t>(LZ4_compressBound(static_cast<int>(rest.size()))));
    block.resize(static_cast<std::size_t>(
        LZ4_compress_fast_continue(stream.get(), reinterpret_cast<const char*>(rest.data()), reinterpret_cast<char*>(block.data()),
                                   static_cast<int>(rest.size()), static_cast<int>(block.size()), 1)));
    Buffer buffer(0);
    ASSERT_TRUE(decodeBlock(support::storedBlock(dictionary), buffer));
    ASSERT_TRUE(decodeBlock(block, buffer));
    EXPECT_TRUE(std::ranges::equal(buffer.bytes(), plain));
}

// What liblz4 refuses because the block is cut or an offset is wrong is refused here, and what it reads is read the same.
TEST(LZ4Block, AgreesWithLiblz4AboutDamagedBlocks) {
    const auto plain = mixedBytes(3000, 11);
    const auto block = support::compressedBlocks(plain, false).front();
    std::mt19937 random(5);
    int bothRead = 0;
    for (int round = 0; round < 20000; ++round) {
        auto damaged = block;
        for (int i = 0; i < 1 + round % 3; ++i) damaged[random() % damaged.size()] = static_cast<std::uint8_t>(random());
        std::string theirs(60000, '\0');
        const auto length = LZ4_decompress_safe(reinterpret_cast<const char*>(damaged.data()), theirs.data(),
                                                static_cast<int>(damaged.size()), static_cast<int>(theirs.size()));
        if (length < 0) continue;  // it also holds the end of a block to rules for encoders
        theirs.resize(static_cast<std::size_t>(length));
        ASSERT_EQ(decoded(damaged), theirs) << round;
        ++bothRead;
    }
    EXPECT_GT(bothRead, 1000);
}

TEST(LZ4Block, TellsWhatItReadAndWroteOfABlockThatDoesNotFit) {
    Buffer buffer(100);
    const auto progress = decodeInto(support::storedBlock(ByteVector(200, 'x')), buffer, 100);
    EXPECT_EQ(progress.outcome, Outcome::full);
    EXPECT_LE(progress.written, 100u);
    const auto clean = decodeInto(support::storedBlock(ByteVector(60, 'x')), buffer, 60);
    EXPECT_EQ(clean.outcome, Outcome::clean);
    EXPECT_EQ(clean.read, 62u);
    EXPECT_EQ(clean.written, 60u);
    EXPECT_EQ(buffer.count(), 0u);
}

TEST(LZ4BlockBuffer, DoublesUntilTheRequestFits) {
    Buffer buffer(100);
    EXPECT_EQ(buffer.capacity(), 100u);
    EXPECT_TRUE(buffer.makeRoom(100));
    EXPECT_EQ(buffer.capacity(), 100u);
    ASSERT_TRUE(decodeBlock(support::storedBlock(ByteVector(90, 'x')), buffer));
    EXPECT_TRUE(buffer.makeRoom(300));
    EXPECT_EQ(buffer.capacity(), 400u);
    EXPECT_TRUE(std::ranges::equal(buffer.bytes(), ByteVector(90, 'x'))) << "what it held stays";
}

TEST(LZ4BlockBuffer, HoldsNoMoreThanItsLimit) {
    Buffer buffer(1000, 500);
    EXPECT_EQ(buffer.capacity(), 500u);
    EXPECT_FALSE(buffer.makeRoom(501));
    EXPECT_FALSE(decodeBlock(support::storedBlock(ByteVector(501, 'x')), buffer));
    EXPECT_EQ(buffer.count(), 0u);
    EXPECT_TRUE(decodeBlock(support::storedBlock(ByteVector(500, 'x')), buffer)) << "exactly the limit fits";
    EXPECT_FALSE(buffer.makeRoom(1));
    const auto moved = std::move(buffer);
    EXPECT_EQ(moved.count(), 500u);
}

// A block of 16 kB that stands for four million bytes: read whole with a limit that allows it, refused with one that does not.
TEST(LZ4BlockBuffer, GrowsWithABlockThatGivesFarMoreThanItTakes) {
    ByteVector block{0x1F, 'a', 1, 0};
    block.insert(block.end(), 16000, 255);
    support::append(block, {0, 0x10, 'b'});
    Buffer roomy(0);
    ASSERT_TRUE(decodeBlock(block, roomy));
    EXPECT_EQ(roomy.count(), 1 + 16000 * 255 + 19 + 1u);
    EXPECT_EQ(roomy.bytes().back(), 'b');
    Buffer narrow(0, 1000000);
    EXPECT_FALSE(decodeBlock(block, narrow));
    EXPECT_LE(narrow.capacity(), 1000000u);
}

}  // namespace
