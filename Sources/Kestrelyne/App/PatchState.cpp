#include "Kestrelyne/App/PatchState.hpp"

#include "Base/JSONFields.hpp"

namespace kestrelyne {

namespace {

using base::JSON;

bool saysNothing(const JSON& value) {
    return value.empty() || value == "" || value == false || (value.is_number_integer() && value == 0);
}

}  // namespace

JSON compactFixture(const PatchFixture& fixture) {
    JSON json = fixture;
    for (auto field = json.begin(); field != json.end();) field = saysNothing(*field) ? json.erase(field) : std::next(field);
    return json;
}

JSON patchState(const Patch& patch, std::string_view query) {
    JSON fixtures = JSON::array(), circuits = JSON::array();
    const PatchQuery wanted(query);
    for (const auto& fixture : patch.fixtures)
        if (wanted.matches(fixture)) fixtures.push_back(compactFixture(fixture));
    for (const auto& circuit : patch.circuits())
        circuits.push_back({{"distributor", circuit.distributor},
                            {"breaker", circuit.breaker},
                            {"phase", circuit.phase},
                            {"fixtures", circuit.fixtures.size()},
                            {"powerW", circuit.powerW()},
                            {"missingPower", circuit.missingPower()}});
    return {{"fixtures", std::move(fixtures)},
            {"count", patch.fixtures.size()},
            {"settings", JSON(base::OrderedJSON(patch.settings))},
            {"sourceName", patch.sourceName},
            {"overlaps", patch.overlaps().size()},
            {"distributors", patch.distributors()},
            {"circuits", std::move(circuits)}};
}

}  // namespace kestrelyne
