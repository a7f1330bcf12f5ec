#include "Kestrelyne/Lighting/PatchImport.hpp"

#include <gtest/gtest.h>

#include "Archives.hpp"
#include "Support/MA3ShowBuilder.hpp"
#include "Support/TemporaryFolder.hpp"

namespace kestrelyne {
namespace {

using namespace kestrelyne::testing;

std::string_view textOf(const support::ByteVector& bytes) { return {reinterpret_cast<const char*>(bytes.data()), bytes.size()}; }

TEST(ShowImport, TellsWhyAFileIsNoShow) {
    const TemporaryFolder folder;
    const auto failure = [&](std::string_view bytes) {
        return failureOf([&] { PatchImport::readMA3Show(written(folder / "a.show", bytes)); });
    };
    EXPECT_EQ(failure("MA DATA and more"), "Das ist eine grandMA2-Showdatei – bitte den Patch aus der MA2 als CSV exportieren.");
    EXPECT_EQ(failure("something"), "Keine grandMA3-Showdatei.");
    EXPECT_EQ(failure("GMA3" + std::string(1000, '\0')), "Showdaten nicht gefunden.");
    EXPECT_EQ(failureOf([&] { PatchImport::readMA3Show(folder / "b.show"); }), "b.show kann nicht gelesen werden.");
}

// A show with more than one block; records are some hundred bytes long.
TEST(ShowImport, ReadsAWholeShow) {
    const TemporaryFolder folder;
    std::vector<support::MA3Record> records;
    for (std::uint32_t i = 0; i < 120; ++i)
        records.push_back({.id = 101 + i,
                           .name = "Spot " + std::to_string(i + 1),
                           .patch = support::ma3Patch(1 + i / 30, 1 + i % 30 * 16),
                           .typeRef = 7});
    const auto bytes = support::storedShow(support::plainShow(records));
    const auto lamps = PatchImport::readMA3Show(written(folder / "tour.show", textOf(bytes)));
    ASSERT_EQ(lamps.size(), records.size());
    EXPECT_EQ(lamps.front().fixtureID, "101");
    EXPECT_EQ(lamps.back().name, "Spot 120");
    EXPECT_EQ(lamps.back().addressText(), "4.465");
    for (const auto& lamp : lamps) {
        EXPECT_EQ(lamp.footprint, 16) << lamp.name << ": the distance to the next of its type";
        EXPECT_TRUE(lamp.footprintEstimated);
    }
}

TEST(ShowImport, AShowWithoutFixturesSaysWhatToDo) {
    const TemporaryFolder folder;
    const auto bytes = support::storedShow(support::ByteVector(70'000, 0x20));
    EXPECT_EQ(
        failureOf([&] { PatchImport::readMA3Show(written(folder / "leer.show", textOf(bytes))); }),
        "In dieser Show wurden keine Fixtures gefunden. Neuere MA3-Versionen speichern anders – bitte in der MA3 den Patch als "
        "MVR exportieren und diesen importieren");
}

}  // namespace
}  // namespace kestrelyne
