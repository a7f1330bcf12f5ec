#pragma once
// A lamp as the JSON interface tells of it: its patch, and what its device says now.

#include <optional>
#include <string>

#include "Base/JSONWriter.hpp"
#include "Kestrelyne/Lighting/DMXOutput.hpp"
#include "Kestrelyne/Lighting/PatchFixture.hpp"
#include "Kestrelyne/Lighting/RDMDeviceState.hpp"

namespace kestrelyne {

/// What is known of a lamp beside its patch.
struct FixtureSurroundings {
    const RDMDeviceState* device = nullptr;  // absent: none is known
    bool lit = false;                        // by the test light
};

/// The members of a list's entry, into an object that is open.
void writeFixtureSummary(base::JSONWriter& json, const PatchFixture& fixture, const FixtureSurroundings& around);

/// The same with all that its device says. `failure`: why an action on it came to nothing.
void writeFixtureDetail(base::JSONWriter& json, const PatchFixture& fixture, const FixtureSurroundings& around, bool writeEnabled,
                        const std::optional<std::string>& failure);

/// The members of what the test light is doing, into an object that is open.
void writeTestLight(base::JSONWriter& json, const DMXOutput& output);

}  // namespace kestrelyne
