#pragma once
// The patch as a value: all lamps with the settings that belong to them, and what follows from them. What the store keeps, what the
// command line edits where no program runs. No clock, no file.

#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Base/UUID.hpp"
#include "Kestrelyne/Lighting/PatchFixture.hpp"

namespace kestrelyne {

struct PatchSettings {
    int artNetOffset = 0;                                    // see Patch::artNetUniverse
    double breakerAmps = 16;                                 // rating of a breaker
    double voltage = 230;                                    // of a phase, for planned currents
    std::map<std::string, base::UUID> distributorDevices{};  // name of a distributor to the id of its meter

    /// Consoles count universes from 1, Art-Net from 0.
    int artNetUniverse(int consoleUniverse) const;
    bool operator==(const PatchSettings&) const = default;
};
void from_json(const nlohmann::json& json, PatchSettings& settings);
void to_json(nlohmann::ordered_json& json, const PatchSettings& settings);

/// Fixtures on one breaker and phase.
struct PatchCircuit {
    std::string distributor, breaker, phase;
    std::vector<const PatchFixture*> fixtures{};  // of the patch it was asked of

    /// The sum of what is known.
    double powerW() const;
    /// Fixtures whose power is not known.
    int missingPower() const;
};

/// What a form fills in for many fixtures at once; what is absent stays.
struct PatchBulkEdit {
    std::optional<std::string> distributor{}, plugbox{}, breaker{}, phase{}, position{};
    std::optional<double> powerW{};
};

struct Patch {
    std::vector<PatchFixture> fixtures;  // sorted by patchLess
    PatchSettings settings;
    std::string sourceName;  // of the imported file; empty without one

    using Overlap = std::pair<const PatchFixture*, const PatchFixture*>;

    void sort();
    const PatchFixture* fixture(const base::UUID& id) const;

    /// Takes in an imported list. A fixture whose number is there already keeps its id and its link to a device, and what the
    /// import does not know stays: the plan of the power always, the type where the import's footprint is an estimate. Lamps that
    /// share a number are matched one to one, first those that have not moved; one that is left over is a lamp of its own.
    void apply(std::vector<PatchFixture> imported, bool replace, std::string source);
    /// Replaces the fixture with this id, or appends it.
    void update(PatchFixture fixture);
    /// How many went.
    std::size_t remove(const std::set<base::UUID>& ids);
    void bulkEdit(const std::set<base::UUID>& ids, const PatchBulkEdit& edit);

    /// Neighbours on a universe whose ranges meet: each fixture with the next one by address alone.
    std::vector<Overlap> overlaps() const;
    /// By distributor, then by the natural order of breakers, then by phase.
    std::vector<PatchCircuit> circuits() const;
    /// Names, sorted, each once.
    std::vector<std::string> distributors() const;
    /// Amperes by phase in upper case; "?" for none.
    std::map<std::string, double> plannedCurrent(const std::string& distributor) const;

    bool operator==(const Patch&) const = default;
};
/// Throws base::DecodeError when it is no object; entries of `fixtures` that are none are left out.
void from_json(const nlohmann::json& json, Patch& patch);
void to_json(nlohmann::ordered_json& json, const Patch& patch);

}  // namespace kestrelyne
