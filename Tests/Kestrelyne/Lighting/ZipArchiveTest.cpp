#include "Kestrelyne/Lighting/ZipArchive.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "Archives.hpp"
#include "Support/TemporaryFolder.hpp"

namespace kestrelyne {
namespace {

using namespace kestrelyne::testing;

constexpr std::size_t enough = 1u << 20;

std::string contentOf(ZipArchive& archive, std::string_view name) {
    const auto entry = archive.find(name);
    return entry ? archive.read(*entry, enough) : "absent";
}

ZipArchive opened(const std::vector<ArchiveEntry>& entries) { return {archiveOf(entries), "a.mvr"}; }

TEST(ZipArchive, ReadsStoredAndDeflatedEntriesOfAFileAndOfMemory) {
    const TemporaryFolder folder;
    const auto bytes = archiveOf({{"a.xml", std::string(100000, 'a')}, {"b/c.txt", "stored", ZIP_CM_STORE}, {"empty", ""}});
    ZipArchive file(written(folder / "show.mvr", bytes)), memory(bytes, "show.mvr");
    for (auto* archive : {&file, &memory}) {
        EXPECT_EQ(archive->name(), "show.mvr");
        EXPECT_THAT(archive->entries(), ::testing::ElementsAre("a.xml", "b/c.txt", "empty"));
        EXPECT_EQ(contentOf(*archive, "a.xml"), std::string(100000, 'a'));
        EXPECT_EQ(contentOf(*archive, "b/c.txt"), "stored");
        EXPECT_EQ(contentOf(*archive, "empty"), "");
        EXPECT_EQ(archive->find("d"), std::nullopt);
    }
}

TEST(ZipArchive, WhatIsNoArchiveIsToldWithTheNameOfTheFile) {
    const TemporaryFolder folder;
    const auto whole = archiveOf({{"a.xml", "<a/>"}});
    for (const auto& bytes :
         {std::string(), std::string("Fixture;Name\n1;Spot\n"), std::string("PK\x03\x04"), whole.substr(0, whole.size() - 30)}) {
        EXPECT_EQ(failureOf([&] { ZipArchive(written(folder / "Show Süd.mvr", bytes)); }),
                  "Show Süd.mvr ist kein gültiges ZIP-Archiv.");
        EXPECT_EQ(failureOf([&] { ZipArchive(bytes, "x.gdtf"); }), "x.gdtf ist kein gültiges ZIP-Archiv.");
    }
}

TEST(ZipArchive, WhatIsNoFileCannotBeRead) {
    const TemporaryFolder folder;
    ASSERT_EQ(mkfifo((folder / "pipe.mvr").c_str(), 0600), 0);
    for (const auto& path : {folder / "none.mvr", folder / "pipe.mvr", folder.path()})
        EXPECT_EQ(failureOf([&] { ZipArchive{path}; }), path.filename().string() + " kann nicht gelesen werden.");
}

TEST(ZipArchive, AnEntryIsFoundByItsNameThenByItsLettersThenInAFolder) {
    auto archive =
        opened({{"deep/er/Description.XML", "1"}, {"deep/description.xml", "2"}, {"Scene.xml", "3"}, {"other/SCENE.XML", "4"}});
    EXPECT_EQ(contentOf(archive, "deep/description.xml"), "2");
    EXPECT_EQ(contentOf(archive, "scene.xml"), "3");
    EXPECT_EQ(contentOf(archive, "description.xml"), "2") << "the outermost";
    EXPECT_EQ(contentOf(archive, "DEEP\\ER\\description.xml"), "1");
    auto windows = opened({{"types\\a.gdtf", "5"}});
    EXPECT_EQ(contentOf(windows, "types/a.gdtf"), "5");
    EXPECT_EQ(contentOf(windows, "a.gdtf"), "5");
}

TEST(ZipArchive, NamesThatClimbOutAndFoldersAreNoEntries) {
    auto archive = opened({{"../description.xml", "1"}, {"a/../../b.xml", "2"}, {"..\\c.xml", "3"}, {"folder/", ""}, {"..d", "4"}});
    EXPECT_THAT(archive.entries(), ::testing::ElementsAre("..d"));
    for (const auto* name : {"description.xml", "b.xml", "c.xml", "folder/"}) EXPECT_EQ(archive.find(name), std::nullopt) << name;
}

TEST(ZipArchive, OfSeveralEntriesOfOneNameTheLastCounts) {
    ZipArchive archive(replaced(archiveOf({{"a1.xml", "old"}, {"a2.xml", "new"}}), "a2.xml", "a1.xml"), "a.mvr");
    EXPECT_EQ(contentOf(archive, "a1.xml"), "new");
}

TEST(ZipArchive, TheNumberOfEntriesHasALimit) {
    const auto bytes = archiveOf({{"a", "1"}, {"b", "2"}, {"c", "3"}});
    const auto open = [&](std::size_t most) {
        return failureOf([&] { ZipArchive(bytes, "x.mvr", {.entries = most, .unpacked = enough}); });
    };
    EXPECT_EQ(open(3), "");
    EXPECT_EQ(open(2), "x.mvr enthält mehr als 2 Dateien.");
}

TEST(ZipArchive, TheUnpackedSizeHasALimit) {
    const auto bytes = archiveOf({{"a", std::string(600000, '0')}, {"b", std::string(600000, '0')}});
    EXPECT_LT(bytes.size(), 5000u);
    const auto open = [&](std::size_t most) {
        return failureOf([&] { ZipArchive(bytes, "x.mvr", {.entries = 9, .unpacked = most}); });
    };
    EXPECT_EQ(open(1200000), "");
    EXPECT_EQ(open(1199999), "x.mvr ist entpackt größer als 1 MB.");
    EXPECT_EQ(open(1000), "x.mvr ist entpackt größer als 1000 Bytes.");
}

TEST(ZipArchive, ASingleEntryHasALimitOfItsOwn) {
    auto archive = opened({{"a", "12345"}});
    EXPECT_EQ(archive.read(0, 5), "12345");
    EXPECT_EQ(failureOf([&] { archive.read(0, 4); }), "a in a.mvr ist größer als 4 Bytes.");
}

TEST(ZipArchive, WhatIsReadAgainAndAgainCountsTowardsTheLimit) {
    ZipArchive archive(archiveOf({{"a", std::string(1000, 'a')}}), "a.mvr", {.entries = 9, .unpacked = 1500});
    EXPECT_EQ(archive.read(0, enough).size(), 1000u);
    EXPECT_EQ(failureOf([&] { archive.read(0, enough); }), "a in a.mvr ist größer als 500 Bytes.");
}

// The size stands in the local head and in the directory: 0x000493E0 = 300000.
TEST(ZipArchive, ASizeThatLiesIsNeverBelieved) {
    const auto bytes = archiveOf({{"a.xml", std::string(300000, 'a')}});
    const std::string_view real("\xE0\x93\x04\x00", 4);
    for (const auto lie : {std::string_view("\x05\x00\x00\x00", 4), std::string_view("\xE1\x93\x04\x00", 4)}) {
        ZipArchive archive(replaced(bytes, real, lie), "a.mvr", {.entries = 9, .unpacked = enough});
        EXPECT_EQ(failureOf([&] { archive.read(0, enough); }), "a.xml in a.mvr ist beschädigt.");
    }
    EXPECT_EQ(failureOf([&] {
                  ZipArchive(replaced(bytes, real, std::string_view("\xFF\xFF\xFF\x7F", 4)), "a.mvr",
                             {.entries = 9, .unpacked = enough});
              }),
              "a.mvr ist entpackt größer als 1 MB.");
}

TEST(ZipArchive, DamagedEncryptedAndUnusualEntriesNameTheFileInside) {
    EXPECT_EQ(failureOf([] {
                  ZipArchive archive(replaced(archiveOf({{"a.xml", "content", ZIP_CM_STORE}}), "content", "CONTENT"), "a.mvr");
                  archive.read(0, enough);
              }),
              "a.xml in a.mvr ist beschädigt.");
    EXPECT_EQ(failureOf([] {
                  opened({{"a.xml", "content", ZIP_CM_DEFLATE, true}}).read(0, enough);
              }),
              "a.xml in a.mvr ist verschlüsselt.");
    EXPECT_EQ(failureOf([] {
                  opened({{"a.xml", std::string(1000, 'a'), ZIP_CM_BZIP2}}).read(0, enough);
              }),
              "a.xml in a.mvr ist mit einem unbekannten Verfahren gepackt.");
}

}  // namespace
}  // namespace kestrelyne
