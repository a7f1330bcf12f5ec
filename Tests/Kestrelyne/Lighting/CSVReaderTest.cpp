#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Archives.hpp"
#include "Kestrelyne/Lighting/PatchImport.hpp"
#include "Support/TemporaryFolder.hpp"

namespace kestrelyne {
namespace {

using namespace kestrelyne::testing;
using PatchImport::parseCSVText;
using Cells = std::vector<std::string>;
using Rows = std::vector<Cells>;

Rows rowsOf(std::string_view text) {
    const auto table = parseCSVText(text);
    Rows rows{table.header};
    rows.insert(rows.end(), table.rows.begin(), table.rows.end());
    return rows;
}

TEST(CSVReader, TheFirstRowIsTheHeader) {
    const auto table = parseCSVText(" ID ;Name\n1;Spot\n");
    EXPECT_EQ(table.header, (Cells{"ID", "Name"}));
    EXPECT_EQ(table.rows, (Rows{{"1", "Spot"}}));
}

TEST(CSVReader, TheDelimiterIsTheOneThatDividesTheHeaderMost) {
    const Rows expected{{"a", "b", "c"}, {"1", "2", "3"}};
    for (const auto* text : {"a;b;c\n1;2;3", "a,b,c\n1,2,3", "a\tb\tc\n1\t2\t3", "a|b|c\n1|2|3"})
        EXPECT_EQ(rowsOf(text), expected) << text;
    EXPECT_EQ(rowsOf("Position, Traverse;Name;Typ\nA, B;C;D"), (Rows{{"Position, Traverse", "Name", "Typ"}, {"A, B", "C", "D"}}));
    EXPECT_EQ(rowsOf("\"a,b,c,d\";e\n1;2"), (Rows{{"a,b,c,d", "e"}, {"1", "2"}})) << "quoted delimiters do not count";
    EXPECT_EQ(rowsOf("a,b;c\n1,2;3"), (Rows{{"a,b", "c"}, {"1,2", "3"}})) << "of two the semicolon";
    EXPECT_EQ(rowsOf("a\n1;2"), (Rows{{"a"}, {"1", "2"}})) << "none in the header";
    EXPECT_EQ(rowsOf("\n \na,b\n1,2"), (Rows{{"a", "b"}, {"1", "2"}})) << "empty lines before the header";
}

TEST(CSVReader, ALineForSpreadsheetsNamesTheDelimiter) {
    EXPECT_EQ(rowsOf("sep=,\r\na;x,b\r\n1,2"), (Rows{{"a;x", "b"}, {"1", "2"}}));
    EXPECT_EQ(rowsOf("Sep=|\na|b"), (Rows{{"a", "b"}}));
    EXPECT_EQ(rowsOf("sep=ab;c\n1;2"), (Rows{{"sep=ab", "c"}, {"1", "2"}}));
}

TEST(CSVReader, QuotesKeepDelimitersLineEndsAndQuotes) {
    struct Row {
        std::string_view text;
        Rows expected;
    };
    for (const auto& [text, expected] : std::initializer_list<Row>{
             {"a;b\n\"1;2\";3", {{"a", "b"}, {"1;2", "3"}}},
             {"a;b\n\"1\n2\r\n3\";4", {{"a", "b"}, {"1\n2\r\n3", "4"}}},
             {"a;b\n\"say \"\"on\"\"\";4", {{"a", "b"}, {"say \"on\"", "4"}}},
             {"a;b\n\"-3'-2\"\"\";4", {{"a", "b"}, {"-3'-2\"", "4"}}},
             {"a;b\n\"\";4", {{"a", "b"}, {"", "4"}}},
             {"a;b\n \"1;2\" ;4", {{"a", "b"}, {"1;2 ", "4"}}},
             {"a;b\n5\" Fresnel;4", {{"a", "b"}, {"5\" Fresnel", "4"}}},
             {"a;b\n\"1\"2;4", {{"a", "b"}, {"12", "4"}}},
             {"a;b\n\"1;4\n5;6", {{"a", "b"}, {"1;4\n5;6"}}},
             {"a;b\n\"\"\"\";4", {{"a", "b"}, {"\"", "4"}}},
         })
        EXPECT_EQ(rowsOf(text), expected) << text;
}

TEST(CSVReader, EveryLineEndEndsARow) {
    const Rows expected{{"a", "b"}, {"1", "2"}, {"3", "4"}};
    for (const auto* text : {"a;b\n1;2\n3;4", "a;b\r1;2\r3;4\r", "a;b\r\n1;2\r\n3;4\r\n", "a;b\n\r1;2\r\r\n3;4\n\n"})
        EXPECT_EQ(rowsOf(text), expected);
}

TEST(CSVReader, EmptyRowsAndEmptyCellsAtTheEndAreDropped) {
    EXPECT_EQ(rowsOf("a;b;c;;\n;;;;\n1;;3\n4;;\n ; \t;\n;5"), (Rows{{"a", "b", "c"}, {"1", "", "3"}, {"4"}, {"", "5"}}));
}

TEST(CSVReader, ReadsUTF8Latin1AndUTF16) {
    const Rows expected{{"Gerät", "Größe"}, {"Öl", "ß"}};
    EXPECT_EQ(rowsOf("Gerät;Größe\nÖl;ß"), expected);
    EXPECT_EQ(rowsOf("\xEF\xBB\xBFGerät;Größe\nÖl;ß"), expected);
    EXPECT_EQ(rowsOf("Ger\xE4t;Gr\xF6\xDF"
                     "e\n\xD6l;\xDF"),
              expected);
    const auto utf16 = [](std::u16string_view text, bool bigEndian) {
        std::string bytes = bigEndian ? "\xFE\xFF" : "\xFF\xFE";
        for (const char16_t unit : text)
            for (const int shift : {bigEndian ? 8 : 0, bigEndian ? 0 : 8}) bytes += static_cast<char>(unit >> shift);
        return bytes;
    };
    for (const bool bigEndian : {false, true}) {
        EXPECT_EQ(rowsOf(utf16(u"Gerät\tGröße\r\nÖl\tß", bigEndian)), expected);
        EXPECT_EQ(rowsOf(utf16(u"a;\U0001F4A1;€", bigEndian)), (Rows{{"a", "\U0001F4A1", "€"}}));
        EXPECT_EQ(rowsOf(utf16(u"a;b", bigEndian) + "x"), (Rows{{"a", "b"}})) << "half a character at the end";
    }
    EXPECT_EQ(rowsOf(std::string_view("\xFF\xFE"
                                      "a\0\x3D\xD8"
                                      "b\0",
                                      8)),
              (Rows{{"a\uFFFDb"}}))
        << "half a pair";
    EXPECT_EQ(rowsOf("Gr\xF6\xDF"
                     "e \x96 5 \x80\n"),
              (Rows{{"Größe – 5 €"}}))
        << "signs of Windows";
}

TEST(CSVReader, AnEmptyFileIsAnError) {
    for (const auto* text : {"", " \t\r\n\n", "\xEF\xBB\xBF", "\xFF\xFE", ";;;\n;;", "\"\";\"\"\n"})
        EXPECT_EQ(failureOf([&] { parseCSVText(text); }), "Die Datei ist leer.");
}

TEST(CSVReader, ASingleHeaderIsATableWithoutRows) { EXPECT_TRUE(parseCSVText("a;b\n").rows.empty()); }

TEST(CSVReader, ReadsAFileAndTellsWhyNot) {
    const TemporaryFolder folder;
    EXPECT_EQ(PatchImport::readCSV(written(folder / "a.csv",
                                           "ID;Name\n1;S\xFC"
                                           "d"))
                  .rows,
              (Rows{{"1", "Süd"}}));
    EXPECT_EQ(failureOf([&] { PatchImport::readCSV(written(folder / "b.csv", "")); }), "Die Datei ist leer.");
    EXPECT_EQ(failureOf([&] { PatchImport::readCSV(folder / "c.csv"); }), "c.csv kann nicht gelesen werden.");
    EXPECT_EQ(failureOf([&] { PatchImport::readCSV("/dev/zero"); }), "zero kann nicht gelesen werden.");
    written(folder / "d.csv", "a");
    std::filesystem::resize_file(folder / "d.csv", PatchImport::largestList + 1);
    EXPECT_EQ(failureOf([&] { PatchImport::readCSV(folder / "d.csv"); }), "d.csv ist größer als 64 MB.");
}

TEST(CSVReader, ColumnsCellsAndRowsHaveALimit) {
    EXPECT_EQ(failureOf([] { parseCSVText("a\n" + std::string(16383, ';')); }), "");
    EXPECT_EQ(failureOf([] { parseCSVText("a\n" + std::string(16384, ';')); }), "Die Datei hat mehr als 16384 Spalten.");
    std::string row, many;
    for (int column = 0; column < 16000; ++column) row += "1;";
    for (std::size_t cells = 0; cells <= PatchImport::mostCells; cells += 16000) many += row + "\n";
    EXPECT_EQ(failureOf([&] { parseCSVText(many); }), "Die Datei hat mehr als 4000000 Zellen.");
    std::string rows(2 * (PatchImport::mostFixtures + 1), '1');
    for (std::size_t at = 1; at < rows.size(); at += 2) rows[at] = '\n';
    EXPECT_EQ(failureOf([&] { parseCSVText(rows); }), "");
    EXPECT_EQ(failureOf([&] { parseCSVText(rows + "1\n"); }), "Die Datei hat mehr als 100000 Zeilen.");
}

}  // namespace
}  // namespace kestrelyne
