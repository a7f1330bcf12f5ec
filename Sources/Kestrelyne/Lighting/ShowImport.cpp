// The patch of a console's show file.
#include <fmt/format.h>

#include <new>

#include "Base/ByteReader.hpp"
#include "Base/File.hpp"
#include "Kestrelyne/Lighting/PatchImport.hpp"
#include "MeterCore/MA3Show.hpp"

namespace kestrelyne {

namespace MA3Show = metercore::MA3Show;

namespace {

std::vector<MA3Show::Fixture> fixturesOf(const std::string& file, const std::string& name) {
    try {
        const auto plain = MA3Show::decompress({reinterpret_cast<const std::uint8_t*>(file.data()), file.size()});
        auto fixtures = MA3Show::fixtures(plain.bytes());
        MA3Show::estimateFootprints(fixtures);
        return fixtures;
    } catch (const MA3Show::ShowError& error) {
        throw ImportError(error.description());
    } catch (const std::bad_alloc&) {
        throw ImportError(name + " ist größer als der Speicher.");
    }
}

}  // namespace

std::vector<PatchFixture> PatchImport::readMA3Show(const std::filesystem::path& file) {
    const auto name = file.filename().string();
    std::error_code failure;
    if (!std::filesystem::is_regular_file(file, failure)) throw ImportError(name + " kann nicht gelesen werden.");
    if (std::filesystem::file_size(file, failure) > MA3Show::largestFile)
        throw ImportError(fmt::format("{} ist größer als {} MB.", name, MA3Show::largestFile >> 20));
    const auto bytes = base::readFile(file, MA3Show::largestFile);
    if (!bytes) throw ImportError(name + " kann nicht gelesen werden.");

    std::vector<PatchFixture> list;
    for (auto& each : fixturesOf(*bytes, name)) {
        PatchFixture fixture;
        fixture.fixtureID = std::to_string(each.fixtureID);
        fixture.name = std::move(each.name);
        fixture.universe = each.universe;
        fixture.address = each.address;
        fixture.footprint = each.footprint;
        fixture.footprintEstimated = true;
        list.push_back(std::move(fixture));
    }
    if (list.empty())
        throw ImportError(
            "In dieser Show wurden keine Fixtures gefunden. Neuere MA3-Versionen speichern anders – bitte in der MA3 den Patch als "
            "MVR exportieren und diesen importieren");
    return list;
}

}  // namespace kestrelyne
