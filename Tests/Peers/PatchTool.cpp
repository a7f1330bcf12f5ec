// What our readers make of a file, as JSON: for the comparison with its documents.
//   PatchTool mvr FILE    fixtures and warnings
//   PatchTool gdtf FILE   maker, type, power and modes
//   PatchTool csv FILE    fixtures, columns as guessed
//   PatchTool count KIND FILE    how many fixtures or modes there are, for measuring

#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <string_view>

#include "Kestrelyne/Lighting/PatchImport.hpp"

namespace {

using namespace kestrelyne;
using nlohmann::json;

json encoded(const std::vector<PatchFixture::DMXValue>& highlight) {
    json list = json::array();
    for (const auto& value : highlight) list.push_back({value.offset, value.value, value.fixed});
    return list;
}

json encoded(const PatchImport::GDTFInfo& info) {
    json modes = json::array();
    for (const auto& mode : info.modes) {
        json breaks = json::object();
        for (const auto& [number, range] : mode.breaks)
            breaks[std::to_string(number)] = {{"channels", range.channels}, {"highlight", encoded(range.highlight)}};
        modes.push_back({{"name", mode.name}, {"footprint", mode.footprint}, {"breaks", breaks}});
    }
    return {{"manufacturer", info.manufacturer},
            {"model", info.model},
            {"power", info.powerW ? json(*info.powerW) : json()},
            {"modes", modes}};
}

json encoded(const std::vector<PatchFixture>& fixtures) {
    json list = json::array();
    for (const auto& each : fixtures)
        list.push_back({{"id", each.fixtureID},
                        {"name", each.name},
                        {"manufacturer", each.manufacturer},
                        {"model", each.model},
                        {"mode", each.mode},
                        {"universe", each.universe},
                        {"address", each.address},
                        {"footprint", each.footprint},
                        {"estimated", each.footprintEstimated},
                        {"layer", each.layer},
                        {"position", each.position},
                        {"power", each.powerW ? json(*each.powerW) : json()},
                        {"highlight", encoded(each.highlight)}});
    return list;
}

std::vector<PatchFixture> listed(const char* file) {
    const auto table = PatchImport::readCSV(file);
    return PatchImport::fixtures(table, PatchImport::guessMapping(table.header));
}

json read(std::string_view kind, const char* file) {
    if (kind == "gdtf") return encoded(PatchImport::readGDTF(file));
    if (kind == "csv") return {{"fixtures", encoded(listed(file))}};
    const auto result = PatchImport::readMVR(file);
    return {{"fixtures", encoded(result.fixtures)}, {"warnings", result.warnings}};
}

std::size_t counted(std::string_view kind, const char* file) {
    if (kind == "mvr") return PatchImport::readMVR(file).fixtures.size();
    if (kind == "gdtf") return PatchImport::readGDTF(file).modes.size();
    return kind == "csv" ? listed(file).size() : 0;
}

}  // namespace

int main(int count, char** words) {
    const bool counts = count == 4 && std::string_view(words[1]) == "count";
    if (count != 3 && !counts) return 2;
    try {
        fmt::print("{}\n", counts ? std::to_string(counted(words[2], words[3])) : read(words[1], words[2]).dump());
        return 0;
    } catch (const ImportError& error) {
        fmt::print(stderr, "{}\n", error.what());
        return 1;
    }
}
