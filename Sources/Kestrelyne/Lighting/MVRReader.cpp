#include "Kestrelyne/Lighting/MVRReader.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "Base/Text.hpp"
#include "Kestrelyne/Lighting/GDTFReader.hpp"
#include "Kestrelyne/Lighting/ZipArchive.hpp"

namespace kestrelyne {

namespace {

using namespace PatchImport;

constexpr std::string_view extension = ".gdtf";
constexpr std::size_t mostTypes = 1000;  // of one show

// Each file of an archive is read once, whatever the fixtures call it.
class Types {
public:
    explicit Types(ZipArchive& archive) : archive_(archive) {}

    const MVRType& operator()(const std::string& spec) {
        if (const auto known = bySpec_.find(spec); known != bySpec_.end()) return *known->second;
        return *(bySpec_[spec] = answer(spec));
    }

private:
    std::shared_ptr<const MVRType> answer(const std::string& spec) {
        const bool complete = base::lowerASCII(spec).ends_with(extension);
        const auto name = complete ? spec : spec + std::string(extension);
        auto entry = archive_.find(name);
        if (!entry && !complete) entry = archive_.find(spec);
        if (!entry) return std::make_shared<MVRType>(MVRType{.file = name, .problem = name + " fehlt in der MVR-Datei"});
        if (!byEntry_.contains(*entry) && byEntry_.size() >= mostTypes)
            return std::make_shared<MVRType>(MVRType{.file = name, .problem = fmt::format("Mehr als {} Gerätetypen", mostTypes)});
        auto& known = byEntry_[*entry];
        if (!known) known = std::make_shared<const MVRType>(read(*entry, name));
        return known;
    }

    MVRType read(std::size_t entry, const std::string& name) {
        MVRType type{.file = name};
        try {
            ZipArchive inner(archive_.read(entry, largestDocument), name, {.entries = mostEntries, .unpacked = largestUnpacked});
            type.info = readGDTF(inner);
        } catch (const ImportError& error) {
            const std::string_view text = base::trimmedOf(error.what(), ".");
            type.problem = text.find(name) == std::string_view::npos ? fmt::format("{}: {}", name, text) : text;
        }
        return type;
    }

    ZipArchive& archive_;
    std::unordered_map<std::string, std::shared_ptr<const MVRType>> bySpec_;
    std::unordered_map<std::size_t, std::shared_ptr<const MVRType>> byEntry_;
};

const GDTFInfo::Mode* modeOf(const GDTFInfo& info, const std::string& name) {
    const auto find = [&](auto&& same) -> const GDTFInfo::Mode* {
        const auto found = std::ranges::find_if(info.modes, same);
        return found == info.modes.end() ? nullptr : &*found;
    };
    if (const auto* exact = find([&](const auto& mode) { return mode.name == name; })) return exact;
    const auto lower = base::lowerASCII(name);
    if (const auto* alike = find([&](const auto& mode) { return base::lowerASCII(mode.name) == lower; })) return alike;
    // A single mode is meant, whatever it is called.
    return info.modes.size() == 1 ? &info.modes.front() : nullptr;
}

// The address that the patch shows: the lowest break that is patched.
const MVRFixture::Address* firstPatched(const MVRFixture& fixture) {
    const auto found = std::ranges::find_if(fixture.addresses, [](const auto& each) { return each.place.has_value(); });
    return found == fixture.addresses.end() ? nullptr : &*found;
}

// The channels of that break alone: those of the others have addresses of their own. GDTF counts breaks from 1, MVR from 0 or, in
// files of some programs, from 1.
const GDTFInfo::Break* breakOf(const GDTFInfo::Mode& mode, const MVRFixture& fixture, const MVRFixture::Address* address) {
    if (mode.breaks.empty()) return nullptr;
    const bool fromZero = fixture.addresses.empty() || fixture.addresses.front().dmxBreak == 0;
    if (address != nullptr)
        if (const auto found = mode.breaks.find(address->dmxBreak + (fromZero ? 1 : 0)); found != mode.breaks.end())
            return &found->second;
    return &mode.breaks.begin()->second;
}

// Warnings that say one thing of many fixtures, in the order of their first.
class Warnings {
public:
    void add(const std::string& sentence, const std::string& end) {
        const auto [known, fresh] = places_.try_emplace(sentence, counts_.size());
        if (fresh) counts_.push_back({sentence, end, 0});
        ++counts_[known->second].count;
    }
    std::vector<std::string> lines() const {
        std::vector<std::string> list;
        for (const auto& [sentence, end, count] : counts_)
            list.push_back(fmt::format("{} ({} Fixture{}{}).", sentence, count, count == 1 ? "" : "s", end));
        return list;
    }

private:
    struct Count {
        std::string sentence, end;
        int count;
    };
    std::map<std::string, std::size_t> places_;
    std::vector<Count> counts_;
};
constexpr auto estimatedEnd = ", Kanalzahl geschätzt";

// "Maker@Type@Revision.gdtf", as such files are named, says something of a type whose file is not there.
void nameByFile(PatchFixture& fixture, std::string_view file) {
    if (base::lowerASCII(file).ends_with(extension)) file.remove_suffix(extension.size());
    const auto parts = base::split(file, '@', true);
    if (parts.size() >= 2) fixture.manufacturer = parts.front();
    fixture.model = parts.size() >= 2 ? parts[1] : parts.front();
}

void describe(PatchFixture& fixture, const MVRFixture& from, const MVRTypes& types, Warnings& warnings) {
    if (from.type.empty()) return warnings.add("Ohne GDTF", estimatedEnd);
    const auto& type = types(from.type);
    if (!type.info) {
        nameByFile(fixture, type.file);
        return warnings.add(type.problem, estimatedEnd);
    }
    fixture.manufacturer = type.info->manufacturer;
    fixture.model = type.info->model;
    fixture.powerW = type.info->powerW;
    const auto* mode = modeOf(*type.info, from.mode);
    if (mode == nullptr) return warnings.add(fmt::format("{} hat keinen Modus „{}“", type.file, from.mode), estimatedEnd);
    if (fixture.mode.empty()) fixture.mode = mode->name;
    fixture.footprintEstimated = false;
    fixture.footprint = 0;
    if (const auto* range = breakOf(*mode, from, firstPatched(from))) {
        fixture.footprint = range->channels;
        fixture.highlight = range->highlight;
    }
}

}  // namespace

MVR PatchImport::assembleMVR(std::vector<MVRFixture> scene, const MVRTypes& types) {
    MVR result{};
    Warnings warnings;
    result.fixtures.reserve(scene.size());
    for (auto& from : scene) {
        PatchFixture fixture;
        fixture.footprint = 1;
        fixture.footprintEstimated = true;
        fixture.mode = from.mode;
        if (const auto* address = firstPatched(from)) {
            std::tie(fixture.universe, fixture.address) = *address->place;
            const auto patched = std::ranges::count_if(from.addresses, [](const auto& each) { return each.place.has_value(); });
            if (patched > 1) warnings.add("Mehrere DMX-Adressen, übernommen ist die erste", "");
        }
        describe(fixture, from, types, warnings);
        fixture.fixtureID = std::move(from.fixtureID);
        fixture.name = std::move(from.name);
        fixture.layer = std::move(from.layer);
        fixture.position = std::move(from.position);
        result.fixtures.push_back(std::move(fixture));
    }
    result.warnings = warnings.lines();
    if (result.fixtures.empty()) result.warnings.emplace_back("Keine Fixtures in der MVR-Datei gefunden.");
    return result;
}

MVR PatchImport::readMVR(const std::filesystem::path& file) {
    ZipArchive archive(file, {.entries = mostEntries, .unpacked = largestUnpacked});
    const auto entry = archive.find("GeneralSceneDescription.xml");
    if (!entry) throw ImportError("Keine GeneralSceneDescription.xml in der MVR-Datei gefunden.");
    auto scene = parseMVRScene(archive.read(*entry, largestDocument), archive.name());
    Types types(archive);
    return assembleMVR(std::move(scene), [&](const std::string& spec) -> const MVRType& { return types(spec); });
}

}  // namespace kestrelyne
