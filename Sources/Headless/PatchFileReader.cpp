#include "PatchFileReader.hpp"

#include <algorithm>
#include <array>
#include <fstream>
#include <stdexcept>

#include "Base/LowerCase.hpp"
#include "Base/Text.hpp"
#include "Kestrelyne/App/ControlMessage.hpp"
#include "Kestrelyne/Lighting/PatchImport.hpp"

namespace kestrelyne {

namespace {

enum class Kind { list, mvr, show };

Kind kindOf(const std::filesystem::path& file) {
    constexpr std::pair<std::string_view, Kind> beginnings[] = {{"PK\x03\x04", Kind::mvr},
                                                                {"PK\x05\x06", Kind::mvr},
                                                                {"GMA3", Kind::show},
                                                                {"\x1F\x8B", Kind::show},
                                                                {"MA DATA", Kind::show}};
    constexpr std::size_t longest = 7;
    std::array<char, longest> bytes{};
    std::ifstream stream(file, std::ios::binary);
    stream.read(bytes.data(), bytes.size());
    const std::string_view start(bytes.data(), static_cast<std::size_t>(stream.gcount()));
    for (const auto& [beginning, kind] : beginnings)
        if (start.starts_with(beginning)) return kind;
    const auto extension = base::lowerCase(file.extension().string());
    if (extension == ".mvr") return Kind::mvr;
    return extension == ".show" ? Kind::show : Kind::list;
}

[[noreturn]] void refuse(const std::string& text) { throw ControlError("CSV-Import: " + text, ExitCode::wrongWords); }

std::string joined(const std::vector<std::string>& words) {
    std::string all;
    for (const auto& each : words) all += (all.empty() ? "„" : ", „") + each + "“";
    return all;
}

std::size_t columnOf(const CSVTable& table, std::string_view wanted) {
    const auto lower = base::lowerCase(base::trimmed(wanted));
    const auto found =
        std::ranges::find_if(table.header, [&](const auto& heading) { return base::equalsLower(base::trimmed(heading), lower); });
    if (found == table.header.end())
        refuse("Es gibt keine Spalte „" + std::string(wanted) + "“. Die Liste hat: " + joined(table.header) + ".");
    return static_cast<std::size_t>(found - table.header.begin());
}

PatchField fieldOf(std::string_view wanted) {
    if (const auto field = patchField(base::trimmed(wanted))) return *field;
    std::vector<std::string> words;
    for (const auto field : allPatchFields()) words.emplace_back(word(field));
    refuse("Es gibt kein Feld „" + std::string(wanted) + "“. Es gibt: " + joined(words) + ".");
}

// The guess, corrected by what was said: a field that is given to a column leaves the one that it was guessed for.
std::vector<PatchField> mappingOf(const CSVTable& table, const std::vector<std::string>& map) {
    auto mapping = PatchImport::guessMapping(table.header);
    std::vector<std::optional<PatchField>> said(mapping.size());
    for (const auto& entry : map) {
        const auto sign = entry.rfind('=');
        if (sign == std::string::npos) refuse("„" + entry + "“ hat nicht die Form SPALTE=FELD.");
        said[columnOf(table, std::string_view(entry).substr(0, sign))] = fieldOf(std::string_view(entry).substr(sign + 1));
    }
    for (const auto& field : said)
        if (field && *field != PatchField::ignore) std::ranges::replace(mapping, *field, PatchField::ignore);
    for (std::size_t i = 0; i < mapping.size(); ++i)
        if (said[i]) mapping[i] = *said[i];
    return mapping;
}

PatchFile readList(const std::filesystem::path& file, const std::vector<std::string>& map) {
    const auto table = PatchImport::readCSV(file);
    const auto mapping = mappingOf(table, map);
    PatchFile read;
    for (std::size_t i = 0; i < mapping.size(); ++i) read.columns.emplace_back(table.header[i], label(mapping[i]));
    if (std::ranges::all_of(mapping, [](PatchField field) { return field == PatchField::ignore; }))
        throw ImportError("Keine Spalte der Liste wurde erkannt; --map nennt sie.");
    read.fixtures = PatchImport::fixtures(table, mapping);
    if (read.fixtures.empty()) throw ImportError("Die Liste enthält keine Lampen.");
    return read;
}

PatchFile readMVR(const std::filesystem::path& file) {
    auto mvr = PatchImport::readMVR(file);
    if (mvr.fixtures.empty()) throw ImportError("Die MVR-Datei enthält keine Lampen.");
    return {.fixtures = std::move(mvr.fixtures), .notes = std::move(mvr.warnings)};
}

PatchFile readShow(const std::filesystem::path& file) {
    auto fixtures = PatchImport::readMA3Show(file);
    if (fixtures.empty())
        throw ImportError(
            "In dieser Show wurden keine Fixtures gefunden. Neuere MA3-Versionen speichern anders – bitte in der MA3 den Patch als "
            "MVR exportieren und diesen importieren");
    return {
        .fixtures = std::move(fixtures),
        .notes = {"Aus der Show werden Fixture-ID, Name, Universum und Adresse gelesen. Gerätetyp, Modus und Hell-Kanäle stehen "
                  "nicht lesbar in der Showdatei"}};
}

}  // namespace

PatchFile readPatchFile(const std::filesystem::path& file, const std::vector<std::string>& map, void (*beginsShow)()) {
    const auto kind = kindOf(file);
    if (kind != Kind::list && !map.empty()) throw ControlError("--map gehört zu CSV-Listen.", ExitCode::wrongWords);
    const char* prefix = kind == Kind::list ? "CSV-Import: " : kind == Kind::mvr ? "MVR-Import: " : "MA3-Show: ";
    try {
        if (kind == Kind::list) return readList(file, map);
        if (kind == Kind::mvr) return readMVR(file);
        beginsShow();
        return readShow(file);
    } catch (const ImportError& error) {
        throw std::runtime_error(prefix + std::string(error.what()));
    }
}

}  // namespace kestrelyne
