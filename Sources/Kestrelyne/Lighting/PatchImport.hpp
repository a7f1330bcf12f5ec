#pragma once
// What consoles and planning programs export, as a list of lamps for the patch: CSV lists, MVR files with their GDTF descriptions,
// and show files of a console.

#include <cstddef>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Kestrelyne/Lighting/ImportError.hpp"
#include "Kestrelyne/Lighting/PatchField.hpp"
#include "Kestrelyne/Lighting/PatchFixture.hpp"

namespace kestrelyne {

/// Texts in UTF-8.
struct CSVTable {
    std::vector<std::string> header;             // trimmed
    std::vector<std::vector<std::string>> rows;  // a short row lacks its last cells; none is empty
};

/// Blocking; not for the main thread while the program runs. Each throws ImportError.
namespace PatchImport {

/// The most lamps of a file; the largest list that is read, and the most cells it may have.
inline constexpr std::size_t mostFixtures = 100'000, largestList = 64u << 20, mostCells = 4'000'000;
/// The most that an archive may hold when it is unpacked, and its largest document.
inline constexpr std::size_t largestUnpacked = std::size_t{1} << 30, largestDocument = 128u << 20, mostEntries = 20000;

/// UTF-8, UTF-16 with a byte order mark, else ISO Latin 1.
CSVTable readCSV(const std::filesystem::path& file);
/// The same of text that is read already.
CSVTable parseCSVText(std::string_view bytes);
/// One lamp for each row that says anything; `mapping` has a field for each column of the header.
std::vector<PatchFixture> fixtures(const CSVTable& table, const std::vector<PatchField>& mapping);
/// Universe and address, both from 1, of what a cell holds ("1.001", "1/1", "513"); `universe` is that of its own column and counts
/// for a number up to 512. Absent for everything else, also for 0, which says that the lamp is not patched.
std::optional<std::pair<int, int>> parseAddress(std::string_view text, std::optional<int> universe);
/// Watts of what a cell holds: "750", "750 W", "1,2 kW".
std::optional<double> parsePower(std::string_view text);

/// What one fixture type gives.
struct GDTFInfo {
    /// A range of channels that has an address of its own.
    struct Break {
        int channels = 0;
        std::vector<PatchFixture::DMXValue> highlight{};  // by offset
        bool operator==(const Break&) const = default;
    };
    struct Mode {
        std::string name;
        int footprint = 0;              // channels of all its breaks
        std::map<int, Break> breaks{};  // by number, from 1
        bool operator==(const Mode&) const = default;
    };
    std::string manufacturer, model;
    std::vector<Mode> modes{};
    std::optional<double> powerW{};
    bool operator==(const GDTFInfo&) const = default;
};
GDTFInfo readGDTF(const std::filesystem::path& file);
/// The document inside it; `fileName` is for the text of an error.
GDTFInfo parseGDTF(std::string xml, const std::string& fileName);

struct MVR {
    std::vector<PatchFixture> fixtures;
    std::vector<std::string> warnings;  // what could not be read, each a line for people
};
MVR readMVR(const std::filesystem::path& file);

/// A show file of a grandMA3. The footprints are estimates; types and modes are not in it.
std::vector<PatchFixture> readMA3Show(const std::filesystem::path& file);

}  // namespace PatchImport

}  // namespace kestrelyne
