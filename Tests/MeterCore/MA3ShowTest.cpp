#include "MeterCore/MA3Show.hpp"

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <string>
#include <vector>

#include "Support/LZ4Blocks.hpp"

namespace {

using namespace metercore;
using MA3Show::Fixture;
using MA3Show::ShowError;
using support::ByteVector;
using support::MA3Record;

std::string failureOf(const ByteVector& file) {
    try {
        MA3Show::decompress(file);
    } catch (const ShowError& error) {
        return error.description();
    }
    return "none";
}

ByteVector unpacked(const ByteVector& file) {
    const auto plain = MA3Show::decompress(file);
    return {plain.bytes().begin(), plain.bytes().end()};
}

ByteVector gzipped(const ByteVector& bytes) {
    z_stream stream{};
    constexpr int gzipWrapper = 16;
    EXPECT_EQ(deflateInit2(&stream, 6, Z_DEFLATED, MAX_WBITS + gzipWrapper, 8, Z_DEFAULT_STRATEGY), Z_OK);
    ByteVector packed(deflateBound(&stream, bytes.size()));
    stream.next_in = const_cast<Bytef*>(bytes.data());
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = packed.data();
    stream.avail_out = static_cast<uInt>(packed.size());
    EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    return packed;
}

// Plain bytes that compress a little: a counter in every fourth byte.
ByteVector plainBytes(std::size_t size) {
    ByteVector bytes(size, 'p');
    for (std::size_t i = 0; i < size; i += 4) bytes[i] = static_cast<std::uint8_t>(i / 4 * 7);
    return bytes;
}

std::vector<MA3Record> threeRecords() {
    return {{.id = 101, .name = "Spot links", .patch = support::ma3Patch(1, 1), .typeRef = 7},
            {.id = 102, .name = "Spot rechts", .patch = support::ma3Patch(1, 41), .typeRef = 7},
            {.id = 2001, .name = "Blinder", .patch = support::ma3Patch(3, 512), .typeRef = 9}};
}

std::vector<Fixture> fixturesOf(const std::vector<MA3Record>& records) { return MA3Show::fixtures(support::plainShow(records)); }

std::vector<int> idsOf(const std::vector<Fixture>& fixtures) {
    std::vector<int> ids;
    for (const auto& fixture : fixtures) ids.push_back(fixture.fixtureID);
    return ids;
}

std::vector<std::string> namesOf(const std::vector<Fixture>& fixtures) {
    std::vector<std::string> names;
    for (const auto& fixture : fixtures) names.push_back(fixture.name);
    return names;
}

TEST(MA3ShowError, SaysWhatUsersRead) {
    EXPECT_EQ(ShowError::corrupt("Block bei 12").description(), "Showdatei beschädigt oder unbekannte Version (Block bei 12).");
    EXPECT_EQ(ShowError::notMA3().description(), "Keine grandMA3-Showdatei.");
    EXPECT_EQ(ShowError::ma2().description(), "Das ist eine grandMA2-Showdatei – bitte den Patch aus der MA2 als CSV exportieren.");
    EXPECT_EQ(ShowError::noData().description(), "Showdaten nicht gefunden.");
    EXPECT_EQ(ShowError::corrupt("x").kind(), ShowError::Case::corrupt);
    EXPECT_EQ(ShowError::corrupt("x").text(), "x");
}

TEST(MA3ShowDecompress, UnpacksBlocksThatDependOnOneAnother) {
    for (const std::size_t size : {32768u, 32769u, 65536u, 200000u}) {
        const auto plain = plainBytes(size);
        EXPECT_EQ(unpacked(support::packedShow(plain)), plain) << size;
        EXPECT_EQ(unpacked(support::storedShow(plain)), plain) << size << " stored";
    }
}

TEST(MA3ShowDecompress, AShorterBlockIsTheLast) {
    const auto plain = plainBytes(32768 + 100);
    auto file = support::packedShow(plain);
    support::append(file, ByteVector(500, 0xAB));
    EXPECT_EQ(unpacked(file), plain);
}

TEST(MA3ShowDecompress, ALengthOfZeroOrTheEndOfTheFileEndsIt) {
    const auto plain = plainBytes(2 * 32768);
    auto file = support::packedShow(plain);
    EXPECT_EQ(unpacked(file), plain);
    file.push_back(0x77);
    EXPECT_EQ(unpacked(file), plain) << "half a length is none";
    file.back() = 0;
    file.push_back(0);
    support::append(file, ByteVector(500, 0xAB));
    EXPECT_EQ(unpacked(file), plain);
}

TEST(MA3ShowDecompress, TellsOtherFilesApart) {
    const std::string ma2 = "Das ist eine grandMA2-Showdatei – bitte den Patch aus der MA2 als CSV exportieren.";
    EXPECT_EQ(failureOf(support::bytesOf("MA DATA and more")), ma2);
    EXPECT_EQ(failureOf(gzipped(support::bytesOf("MA DATA and more"))), ma2);
    for (const auto* text : {"", "G", "GMA", "GMA2 and more", "MA DAT", "PK\3\4"})
        EXPECT_EQ(failureOf(support::bytesOf(text)), "Keine grandMA3-Showdatei.") << text;
}

TEST(MA3ShowDecompress, WithoutAFullBlockThereIsNoData) {
    EXPECT_EQ(failureOf(support::bytesOf("GMA3")), "Showdaten nicht gefunden.");
    EXPECT_EQ(failureOf(support::bytesOf("GMA3567890")), "Showdaten nicht gefunden.");
    EXPECT_EQ(failureOf(support::packedShow(plainBytes(32767))), "Showdaten nicht gefunden.");
    EXPECT_EQ(failureOf(support::ma3File({support::storedBlock(plainBytes(32769))})), "Showdaten nicht gefunden.");
    auto cut = support::packedShow(plainBytes(32768));
    cut.pop_back();
    EXPECT_EQ(failureOf(cut), "Showdaten nicht gefunden.");
}

// The head of the first block may be at the very beginning, and a million bytes later, but no further.
TEST(MA3ShowDecompress, FindsTheFirstBlockWithinAMillionBytes) {
    const auto plain = plainBytes(32768);
    const auto blocks = support::compressedBlocks(plain, true);
    const auto fileWithStartAt = [&](std::size_t offset) { return support::ma3File(blocks, ByteVector(offset - 4)); };
    EXPECT_EQ(unpacked(fileWithStartAt(4)), plain);
    EXPECT_EQ(unpacked(fileWithStartAt(1000002)), plain);
    EXPECT_EQ(failureOf(fileWithStartAt(1000003)), "Showdaten nicht gefunden.");
    auto atTheBeginning = fileWithStartAt(4);
    atTheBeginning.erase(atTheBeginning.begin() + 4, atTheBeginning.begin() + 8);
    EXPECT_EQ(unpacked(atTheBeginning), plain) << "the magic is the first half of the head";
}

// The length that the search found holds, whatever stands in the four bytes behind it.
TEST(MA3ShowDecompress, TheFirstBlockHasTheLengthThatTheSearchFound) {
    const auto plain = plainBytes(2 * 32768 + 5);
    auto file = support::packedShow(plain);
    for (const std::uint8_t filler : {0x00, 0x11, 0xFF}) {
        std::fill(file.begin() + 24 + 6, file.begin() + 24 + 10, filler);
        EXPECT_EQ(unpacked(file), plain) << int{filler};
    }
}

// 32768 equal bytes: one literal and one copy.
ByteVector shortestBlock() {
    ByteVector block{0x1F, 'a', 1, 0};
    auto rest = MA3Show::blockSize - 1 - 19;
    for (; rest >= 255; rest -= 255) block.push_back(255);
    support::append(block, {static_cast<std::uint8_t>(rest), 0x00});
    return block;
}

TEST(MA3ShowDecompress, FindsTheShortestFullBlock) {
    ASSERT_LT(shortestBlock().size(), 140u);
    EXPECT_EQ(unpacked(support::ma3File({shortestBlock()})), ByteVector(32768, 'a'));
}

TEST(MA3ShowDecompress, NamesTheBlockThatIsDamaged) {
    auto blocks = support::compressedBlocks(plainBytes(3 * 32768), true);
    const auto second = 4 + 20 + 10 + blocks[0].size();
    const auto third = second + 2 + blocks[1].size();
    const auto damage = [](std::size_t at) {
        return "Showdatei beschädigt oder unbekannte Version (Block bei " + std::to_string(at) + ").";
    };
    {
        auto damaged = blocks;
        damaged[2] = {0x10, 'a', 0, 0, 0x00};
        EXPECT_EQ(failureOf(support::ma3File(damaged)), damage(third));
    }
    {
        auto damaged = blocks;
        damaged[1] = {0x00, 0xFF, 0xFF, 0x00};
        EXPECT_EQ(failureOf(support::ma3File(damaged)), damage(second)) << "a copy to before the output";
    }
    auto cut = support::ma3File(blocks);
    cut.pop_back();
    EXPECT_EQ(failureOf(cut), damage(third)) << "a torn file";
    cut.resize(third + 2);
    EXPECT_EQ(failureOf(cut), damage(third)) << "a length and no block";
}

TEST(MA3ShowDecompress, UnpacksGzip) {
    const auto plain = plainBytes(100000);
    const auto file = support::packedShow(plain);
    auto packed = gzipped(file);
    EXPECT_EQ(unpacked(packed), plain);
    support::append(packed, support::bytesOf("behind it"));
    EXPECT_EQ(unpacked(packed), plain) << "what follows is not the file's";
    // Members follow one another.
    const ByteVector front(file.begin(), file.begin() + 1000), back(file.begin() + 1000, file.end());
    auto members = gzipped(front);
    support::append(members, gzipped(back));
    EXPECT_EQ(unpacked(members), plain);
}

TEST(MA3ShowDecompress, RefusesDamagedGzip) {
    const std::string damaged = "Showdatei beschädigt oder unbekannte Version (gzip).";
    const auto packed = gzipped(support::packedShow(plainBytes(100000)));
    for (const std::size_t length : {std::size_t{2}, std::size_t{10}, packed.size() / 2, packed.size() - 1})
        EXPECT_EQ(failureOf(ByteVector(packed.begin(), packed.begin() + static_cast<std::ptrdiff_t>(length))), damaged) << length;
    auto wrongSum = packed;
    wrongSum[wrongSum.size() - 6] ^= 1;
    EXPECT_EQ(failureOf(wrongSum), damaged);
    EXPECT_EQ(failureOf(gzipped(packed)), "Keine grandMA3-Showdatei.") << "wrapped twice";
}

// 272 MB of zeros in 270 kB.
TEST(MA3ShowDecompress, BoundsWhatGzipUnpacksTo) {
    const auto zeros = gzipped(ByteVector(std::size_t{16} << 20));
    ByteVector bomb;
    for (int i = 0; i < 17; ++i) support::append(bomb, zeros);
    EXPECT_EQ(failureOf(bomb), "Showdatei beschädigt oder unbekannte Version (entpackt größer als 256 MB).");
}

// Half a gigabyte in two megabytes.
TEST(MA3ShowDecompress, BoundsThePlainBytes) {
    const std::vector<ByteVector> blocks(MA3Show::largestPlain / MA3Show::blockSize + 1, shortestBlock());
    EXPECT_EQ(failureOf(support::ma3File(blocks)), "Showdatei beschädigt oder unbekannte Version (entpackt größer als 512 MB).");
}

// Blocks of 65 kB that stand for 16 MB each.
TEST(MA3ShowDecompress, ReadsBlocksThatGiveMoreThanOthers) {
    ByteVector large{0x1F, 'a', 1, 0};
    large.insert(large.end(), 65000, 255);
    support::append(large, {0, 0x00});
    const std::vector<ByteVector> blocks{shortestBlock(), large, large, {0x00}};
    EXPECT_EQ(unpacked(support::ma3File(blocks)).size(), 32768 + 2 * (65000 * 255 + 20u));
}

// Sequences that are in order as far as they go: every eleventh offset is worth a trial that runs until the output is full. The
// search gives up by the work that it is allowed; as many harmless bytes, or fewer such ones, do not keep it from the block behind
// them.
TEST(MA3ShowDecompress, BoundsTheSearchForTheFirstBlock) {
    const auto lead = [](std::size_t size) {
        ByteVector bytes;
        while (bytes.size() < size) support::append(bytes, {0x80, 'a', 'b', 'c', 'd', 0x40, 0x9C, 'e', 'f', 1, 0});
        return bytes;
    };
    const std::vector<ByteVector> blocks{shortestBlock()};
    EXPECT_EQ(failureOf(support::ma3File(blocks, lead(900000))), "Showdaten nicht gefunden.");
    EXPECT_EQ(failureOf(support::ma3File(blocks, ByteVector(900000))), "none");
    EXPECT_EQ(failureOf(support::ma3File(blocks, lead(12000))), "none");
}

TEST(MA3ShowFixtures, ReadsIDNameUniverseAndAddress) {
    const auto found = fixturesOf(threeRecords());
    ASSERT_EQ(found.size(), 3u);
    EXPECT_EQ(found[0],
              (Fixture{.fixtureID = 101, .name = "Spot links", .universe = 1, .address = 1, .footprint = 0, .typeRef = 7}));
    EXPECT_EQ(found[1],
              (Fixture{.fixtureID = 102, .name = "Spot rechts", .universe = 1, .address = 41, .footprint = 0, .typeRef = 7}));
    EXPECT_EQ(found[2],
              (Fixture{.fixtureID = 2001, .name = "Blinder", .universe = 3, .address = 512, .footprint = 0, .typeRef = 9}));
}

TEST(MA3ShowFixtures, ReadsThePackedAddress) {
    struct Row {
        std::uint32_t patch;
        int universe, address;
    };
    for (const auto& [patch, universe, address] :
         {Row{0, 1, 1}, Row{511, 1, 512}, Row{1u << 9, 2, 1}, Row{(1u << 24) - 1, 32768, 512}}) {
        auto records = threeRecords();
        records[1].patch = patch;
        const auto found = fixturesOf(records);
        ASSERT_EQ(found.size(), 3u);
        EXPECT_EQ(found[1].universe, universe) << patch;
        EXPECT_EQ(found[1].address, address) << patch;
    }
}

TEST(MA3ShowFixtures, FewBytesHoldNothing) {
    EXPECT_TRUE(MA3Show::fixtures({}).empty());
    EXPECT_TRUE(MA3Show::fixtures(ByteVector(64)).empty());
    EXPECT_TRUE(MA3Show::fixtures(plainBytes(100000)).empty());
    // Cut anywhere, it reads what is there.
    const auto plain = support::plainShow({threeRecords().front()});
    for (std::size_t length = 0; length <= plain.size(); length += 7)
        EXPECT_LE(MA3Show::fixtures(base::Bytes(plain).first(length)).size(), 1u);
}

TEST(MA3ShowFixtures, OnlyRecordsWithATimeStampCount) {
    struct Row {
        std::uint64_t stamp;
        std::size_t stampAt;
        bool counts;
    };
    for (const auto& [stamp, stampAt, counts] :
         {Row{1400000000000, 13, false}, Row{1400000000001, 13, true}, Row{2299999999999, 13, true}, Row{2300000000000, 13, false},
          Row{1400000000000, 29, false}, Row{1400000000001, 29, true}, Row{2299999999999, 29, true}, Row{2300000000000, 29, false},
          Row{1700000000000, 14, false}, Row{1700000000000, 21, false}}) {
        auto records = threeRecords();
        records[1].stamp = stamp;
        records[1].stampAt = stampAt;
        EXPECT_EQ(fixturesOf(records).size(), counts ? 3u : 2u) << stamp << " at " << stampAt;
    }
}

TEST(MA3ShowFixtures, OnlyTheClassFixtureCounts) {
    for (const auto* className : {"Fixtura", "FixtureType", "Fixtur"}) {
        auto records = threeRecords();
        records[1].className = className;
        EXPECT_EQ(idsOf(fixturesOf(records)), (std::vector{101, 2001})) << className;
    }
}

TEST(MA3ShowFixtures, TakesTheDistanceOfTheNameThatMostRecordsHave) {
    for (const std::size_t layout : {37u, 60u, 191u}) {
        auto records = threeRecords();
        for (auto& record : records) record.nameAt = layout;
        records[0].nameAt = layout == 60 ? 50 : 60;
        EXPECT_EQ(idsOf(fixturesOf(records)), (std::vector{102, 2001})) << layout;
    }
}

TEST(MA3ShowFixtures, OfTwoDistancesAlikeTheSmallerCounts) {
    auto records = threeRecords();
    records.push_back({.id = 7, .name = "Vier", .patch = 700});
    records[0].nameAt = records[2].nameAt = 60;
    EXPECT_EQ(idsOf(fixturesOf(records)), (std::vector{102, 7}));
}

TEST(MA3ShowFixtures, NamesArePrintableUTF8) {
    struct Row {
        std::string name;
        bool counts;
    };
    for (const auto& [name, counts] : {Row{"Bühne 1", true}, Row{"灯", true}, Row{"A", true}, Row{"Fixture", true},
                                       Row{"a\tb", false}, Row{"a\x7F", false}, Row{"a\xFF", false}, Row{"a\xC3", false},
                                       Row{"", false}, Row{std::string(255, 'n'), true}, Row{std::string(256, 'n'), false}}) {
        auto records = threeRecords();
        records[1].name = name;
        const auto names = namesOf(fixturesOf(records));
        EXPECT_EQ(names.size(), counts ? 3u : 2u) << name;
        if (counts && names.size() == 3) EXPECT_EQ(names[1], name);
    }
}

// Objects without a name, so close together that the class name of the next is the first text behind each: they are the most.
TEST(MA3ShowFixtures, ARecordWithoutANameTakesNoTextOfTheNext) {
    std::vector<MA3Record> records(5, MA3Record{.id = 9, .idOffset = 100, .tail = 110});
    records.push_back({.id = 9, .tail = 400});
    for (const auto& record : threeRecords()) records.push_back(record);
    EXPECT_EQ(namesOf(fixturesOf(records)), (std::vector<std::string>{"Spot links", "Spot rechts", "Blinder"}));
}

// Numbers before the name of one record happen to look like a text of one character.
TEST(MA3ShowFixtures, AChanceTextBeforeTheNameHidesNoRecord) {
    auto plain = support::plainShow(threeRecords());
    const auto second = 100 + threeRecords()[0].bytes().size();
    plain[second + 30] = 1;
    plain[second + 32] = 'A';
    EXPECT_EQ(namesOf(MA3Show::fixtures(plain)), (std::vector<std::string>{"Spot links", "Spot rechts", "Blinder"}));
}

TEST(MA3ShowFixtures, FindsTheIDAtEveryOffset) {
    for (const std::size_t offset : {100u, 101u, 199u, 358u, 359u}) {
        auto records = threeRecords();
        for (auto& record : records) record.idOffset = offset;
        const auto found = fixturesOf(records);
        EXPECT_EQ(idsOf(found), (std::vector{101, 102, 2001})) << offset;
        if (found.size() == 3) EXPECT_EQ(found[2].universe, 3) << offset;
    }
    for (const std::size_t offset : {99u, 360u}) {
        auto records = threeRecords();
        for (auto& record : records) record.idOffset = offset;
        EXPECT_NE(idsOf(fixturesOf(records)), (std::vector{101, 102, 2001})) << offset;
    }
}

// A field that repeats itself is worse than one with different values.
TEST(MA3ShowFixtures, TheIDOfMostRecordsDifferentFromOneAnotherCounts) {
    auto records = threeRecords();
    for (auto& record : records) record.typeRef = 5;  // plausible in all records, and the same
    EXPECT_EQ(idsOf(fixturesOf(records)), (std::vector{101, 102, 2001}));
}

// Small numbers look like an id one byte early as well: as multiples of 256.
TEST(MA3ShowFixtures, SmallIDsAreNotReadAByteEarly) {
    auto records = threeRecords();
    records[2].id = 103;
    EXPECT_EQ(idsOf(fixturesOf(records)), (std::vector{101, 102, 103}));
    for (std::uint32_t i = 0; i < 3; ++i) records[i].id = 1001 + 1000 * i;  // and these one byte late, as 3, 7 and 11
    EXPECT_EQ(idsOf(fixturesOf(records)), (std::vector{1001, 2001, 3001}));
}

// A running number before the id is as unique; no patch stands before it.
TEST(MA3ShowFixtures, OfOffsetsAlikeTheOneWithDifferentPatchesCounts) {
    ByteVector plain(100);
    std::uint8_t number = 0;
    for (const auto& record : threeRecords()) {
        auto bytes = record.bytes();
        bytes[record.nameAt + 2 + record.name.size() + 110] = ++number;
        support::append(plain, bytes);
    }
    EXPECT_EQ(idsOf(MA3Show::fixtures(plain)), (std::vector{101, 102, 2001}));
}

TEST(MA3ShowFixtures, RecordsWithoutAnIDAreLeftOut) {
    for (const std::uint32_t id : {0u, 100000u, 0xFFFFFFFFu}) {
        auto records = threeRecords();
        records.push_back({.id = 99999, .name = "Letzte", .patch = 700});
        records[1].id = id;
        EXPECT_EQ(idsOf(fixturesOf(records)), (std::vector{101, 2001, 99999})) << id;
    }
}

TEST(MA3ShowFixtures, ARecordThatTheEndCutsOffIsLeftOut) {
    auto plain = support::plainShow(threeRecords());
    plain.resize(plain.size() - 400 + 180 + 3);
    EXPECT_EQ(idsOf(MA3Show::fixtures(plain)), (std::vector{101, 102}));
    plain = support::plainShow(threeRecords());
    plain.resize(plain.size() - 400 + 180 + 4);
    EXPECT_EQ(idsOf(MA3Show::fixtures(plain)), (std::vector{101, 102, 2001}));
}

TEST(MA3ShowFixtures, BoundsTheRecords) {
    // As close together as their time stamps let them be.
    const auto record = MA3Record().bytes();
    const ByteVector head(record.begin(), record.begin() + 21);
    ByteVector plain;
    for (std::size_t i = 0; i < MA3Show::mostCandidates + 1; ++i) support::append(plain, head);
    try {
        MA3Show::fixtures(plain);
        FAIL() << "no bound";
    } catch (const ShowError& error) {
        EXPECT_EQ(error.description(), "Showdatei beschädigt oder unbekannte Version (mehr als 262144 Fixtures).");
    }
    plain.resize(plain.size() - head.size());
    EXPECT_NO_THROW(MA3Show::fixtures(plain));
}

TEST(MA3ShowFixtures, ReadsAWholeFile) {
    std::vector<MA3Record> records;
    for (std::uint32_t i = 0; i < 600; ++i)
        records.push_back(
            {.id = i + 1, .name = "Lampe " + std::to_string(i + 1), .patch = i / 12 << 9 | i % 12 * 40, .typeRef = 40});
    const auto plain = MA3Show::decompress(gzipped(support::packedShow(support::plainShow(records))));
    auto found = MA3Show::fixtures(plain.bytes());
    ASSERT_EQ(found.size(), 600u);
    MA3Show::estimateFootprints(found);
    for (std::size_t i = 0; i < found.size(); ++i) {
        const auto number = static_cast<int>(i);
        EXPECT_EQ(found[i], (Fixture{.fixtureID = number + 1,
                                     .name = "Lampe " + std::to_string(i + 1),
                                     .universe = number / 12 + 1,
                                     .address = number % 12 * 40 + 1,
                                     .footprint = 40,
                                     .typeRef = 40}));
    }
}

TEST(MA3ShowFootprints, TakesTheSmallestDistanceWithinAType) {
    struct Lamp {
        int universe, address;
        std::uint32_t type;
        int expected;
    };
    struct Row {
        const char* what;
        std::vector<Lamp> lamps;
    };
    for (const auto& [what, lamps] : std::vector<Row>{
             {"in line", {{1, 1, 7, 20}, {1, 21, 7, 20}, {1, 61, 7, 20}}},
             {"in any order", {{1, 61, 7, 20}, {1, 1, 7, 20}, {1, 21, 7, 20}}},
             {"over universes", {{1, 1, 7, 16}, {1, 101, 7, 16}, {2, 1, 7, 16}, {2, 17, 7, 16}}},
             {"types by themselves", {{1, 1, 7, 10}, {1, 11, 7, 10}, {1, 101, 8, 30}, {1, 131, 8, 30}}},
             {"another type in between", {{1, 1, 7, 10}, {1, 21, 7, 10}, {1, 11, 8, 1}}},
             {"not beyond the universe", {{1, 1, 7, 12}, {1, 501, 7, 12}}},
             {"the last channel", {{1, 511, 7, 1}, {1, 512, 7, 1}}},
             {"two at one address", {{1, 1, 7, 20}, {1, 1, 7, 20}, {1, 21, 7, 20}}},
             {"two at one address alone", {{1, 1, 7, 1}, {1, 1, 7, 1}}},
             {"one lamp", {{1, 1, 7, 1}}},
             {"one in each universe", {{1, 1, 7, 1}, {2, 30, 7, 1}}},
             {"none", {}},
         }) {
        std::vector<Fixture> fixtures;
        for (const auto& lamp : lamps)
            fixtures.push_back({.fixtureID = 1,
                                .name = "x",
                                .universe = lamp.universe,
                                .address = lamp.address,
                                .footprint = 99,
                                .typeRef = lamp.type});
        MA3Show::estimateFootprints(fixtures);
        for (std::size_t i = 0; i < lamps.size(); ++i)
            EXPECT_EQ(fixtures[i].footprint, lamps[i].expected) << what << ", lamp " << i;
    }
}

}  // namespace
