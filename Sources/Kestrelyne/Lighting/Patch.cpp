#include "Kestrelyne/Lighting/Patch.hpp"

#include <algorithm>
#include <limits>
#include <string_view>
#include <tuple>
#include <unordered_set>

#include "Base/Text.hpp"

namespace kestrelyne {

namespace {

/// The fixtures that are there already, by the console's number. A number may stand on several lamps: each import of it takes one.
class Present {
public:
    explicit Present(const std::vector<PatchFixture>& fixtures) : fixtures_(fixtures), taken_(fixtures.size()) {
        for (std::size_t i = 0; i < fixtures.size(); ++i) {
            const auto& fixture = fixtures[i];
            if (fixture.fixtureID.empty()) continue;
            byNumber_[fixture.fixtureID].places.push_back(i);
            byAddress_[{fixture.fixtureID, fixture.universe, fixture.address}].places.push_back(i);
        }
    }

    /// The one at the same address.
    std::optional<std::size_t> takeUnmoved(const PatchFixture& imported) {
        const auto found = byAddress_.find({imported.fixtureID, imported.universe, imported.address});
        return found == byAddress_.end() ? std::nullopt : takeNext(found->second);
    }
    /// Any other of the number.
    std::optional<std::size_t> take(const PatchFixture& imported) {
        const auto found = byNumber_.find(imported.fixtureID);
        return found == byNumber_.end() ? std::nullopt : takeNext(found->second);
    }
    /// The first of the number, taken or not.
    const PatchFixture* first(const PatchFixture& imported) const {
        const auto found = byNumber_.find(imported.fixtureID);
        return found == byNumber_.end() ? nullptr : &fixtures_[found->second.places.front()];
    }

private:
    struct Queue {
        std::vector<std::size_t> places{};
        std::size_t next = 0;
    };
    std::optional<std::size_t> takeNext(Queue& queue) {
        while (queue.next < queue.places.size()) {
            const auto place = queue.places[queue.next++];
            if (taken_[place]) continue;
            taken_[place] = true;
            return place;
        }
        return std::nullopt;
    }

    const std::vector<PatchFixture>& fixtures_;
    std::vector<bool> taken_;
    std::map<std::string_view, Queue> byNumber_;
    std::map<std::tuple<std::string_view, int, int>, Queue> byAddress_;
};

void fill(std::string& text, const std::string& known) {
    if (text.empty()) text = known;
}

// What the import does not know stays.
void takeOver(PatchFixture& imported, const PatchFixture& present) {
    if (imported.footprintEstimated) {
        for (const auto field : {&PatchFixture::manufacturer, &PatchFixture::model, &PatchFixture::mode, &PatchFixture::layer})
            fill(imported.*field, present.*field);
        // A lamp that stands where it stood is taken for the same lamp.
        if (!present.footprintEstimated && imported.universe == present.universe && imported.address == present.address) {
            imported.footprint = present.footprint;
            imported.footprintEstimated = false;
        }
    }
    for (const auto field : {&PatchFixture::distributor, &PatchFixture::plugbox, &PatchFixture::socket, &PatchFixture::breaker,
                             &PatchFixture::phase, &PatchFixture::position, &PatchFixture::notes})
        fill(imported.*field, present.*field);
    if (!imported.powerW) imported.powerW = present.powerW;
    if (imported.highlight.empty()) imported.highlight = present.highlight;
}

std::string upperASCII(std::string text) {
    for (auto& character : text)
        if (character >= 'a' && character <= 'z') character = static_cast<char>(character - 'a' + 'A');
    return text;
}

struct CircuitOrder {
    using Key = std::tuple<std::string_view, std::string_view, std::string_view>;
    bool operator()(const Key& left, const Key& right) const {
        const auto& [distributorOfLeft, breakerOfLeft, phaseOfLeft] = left;
        const auto& [distributorOfRight, breakerOfRight, phaseOfRight] = right;
        if (distributorOfLeft != distributorOfRight) return base::naturalLess(distributorOfLeft, distributorOfRight);
        if (breakerOfLeft != breakerOfRight) return base::naturalLess(breakerOfLeft, breakerOfRight);
        return base::naturalLess(phaseOfLeft, phaseOfRight);
    }
};

}  // namespace

int PatchSettings::artNetUniverse(int consoleUniverse) const {
    const auto universe = static_cast<long long>(consoleUniverse) - 1 + artNetOffset;
    return static_cast<int>(std::clamp<long long>(universe, 0, std::numeric_limits<int>::max()));
}

double PatchCircuit::powerW() const {
    double sum = 0;
    for (const auto* fixture : fixtures) sum += fixture->powerW.value_or(0);
    return sum;
}

int PatchCircuit::missingPower() const {
    return static_cast<int>(std::ranges::count_if(fixtures, [](const auto* fixture) { return !fixture->powerW; }));
}

void Patch::sort() {
    std::vector<PatchOrder> order(fixtures.begin(), fixtures.end());
    if (std::is_sorted(order.begin(), order.end())) return;
    std::ranges::sort(order, [](const PatchOrder& left, const PatchOrder& right) {
        // Equals keep their order.
        return left < right || (!(right < left) && left.fixture < right.fixture);
    });
    std::vector<PatchFixture> sorted;
    sorted.reserve(fixtures.size());
    for (const auto& place : order)
        sorted.push_back(std::move(fixtures[static_cast<std::size_t>(place.fixture - fixtures.data())]));
    fixtures = std::move(sorted);
}

const PatchFixture* Patch::fixture(const base::UUID& id) const {
    const auto found = std::ranges::find(fixtures, id, &PatchFixture::id);
    return found == fixtures.end() ? nullptr : &*found;
}

void Patch::apply(std::vector<PatchFixture> imported, bool replace, std::string source) {
    Present present(fixtures);
    std::vector<std::optional<std::size_t>> places(imported.size());
    for (std::size_t i = 0; i < imported.size(); ++i) places[i] = present.takeUnmoved(imported[i]);
    for (std::size_t i = 0; i < imported.size(); ++i)
        if (!places[i]) places[i] = present.take(imported[i]);

    std::unordered_set<base::UUID> ids;
    for (const auto& fixture : fixtures) ids.insert(fixture.id);
    for (std::size_t i = 0; i < imported.size(); ++i) {
        auto& fixture = imported[i];
        const auto* known = places[i] ? &fixtures[*places[i]] : present.first(fixture);
        if (known != nullptr) takeOver(fixture, *known);
        if (places[i]) {
            fixture.id = known->id;
            // The link is one of this lamp, which no import knows of.
            if (!fixture.rdmUID) fixture.rdmUID = known->rdmUID;
        } else {
            while (!ids.insert(fixture.id).second) fixture.id = base::UUID::random();
        }
    }

    if (replace) {
        fixtures = std::move(imported);
    } else {
        // Behind the last look at what was there: numbers and ids above are views of it.
        for (std::size_t i = 0; i < imported.size(); ++i)
            if (places[i]) fixtures[*places[i]] = std::move(imported[i]);
        for (std::size_t i = 0; i < imported.size(); ++i)
            if (!places[i]) fixtures.push_back(std::move(imported[i]));
    }
    sourceName = std::move(source);
    sort();
}

void Patch::update(PatchFixture fixture) {
    std::erase_if(fixtures, [&fixture](const auto& other) { return other.id == fixture.id; });
    fixtures.insert(std::ranges::upper_bound(fixtures, fixture, patchLess), std::move(fixture));
}

std::size_t Patch::remove(const std::set<base::UUID>& ids) {
    return std::erase_if(fixtures, [&ids](const auto& fixture) { return ids.contains(fixture.id); });
}

void Patch::bulkEdit(const std::set<base::UUID>& ids, const PatchBulkEdit& edit) {
    for (auto& fixture : fixtures) {
        if (!ids.contains(fixture.id)) continue;
        if (edit.distributor) fixture.distributor = *edit.distributor;
        if (edit.plugbox) fixture.plugbox = *edit.plugbox;
        if (edit.breaker) fixture.breaker = *edit.breaker;
        if (edit.phase) fixture.phase = *edit.phase;
        if (edit.position) fixture.position = *edit.position;
        if (edit.powerW) fixture.powerW = *edit.powerW;
    }
}

std::vector<Patch::Overlap> Patch::overlaps() const {
    std::vector<const PatchFixture*> patched;
    for (const auto& fixture : fixtures)
        if (fixture.patched()) patched.push_back(&fixture);
    std::ranges::sort(patched, [](const auto* left, const auto* right) {
        return std::tie(left->universe, left->address, left) < std::tie(right->universe, right->address, right);
    });
    std::vector<Overlap> pairs;
    for (std::size_t i = 1; i < patched.size(); ++i) {
        const auto *first = patched[i - 1], *next = patched[i];
        if (first->universe == next->universe && first->lastAddress() >= next->address) pairs.emplace_back(first, next);
    }
    return pairs;
}

std::vector<PatchCircuit> Patch::circuits() const {
    std::map<CircuitOrder::Key, std::vector<const PatchFixture*>, CircuitOrder> groups;
    for (const auto& fixture : fixtures)
        if (!fixture.distributor.empty() && !fixture.breaker.empty())
            groups[{fixture.distributor, fixture.breaker, fixture.phase}].push_back(&fixture);
    std::vector<PatchCircuit> all;
    all.reserve(groups.size());
    for (auto& [key, members] : groups) {
        const auto& [distributor, breaker, phase] = key;
        all.push_back({std::string(distributor), std::string(breaker), std::string(phase), std::move(members)});
    }
    return all;
}

std::vector<std::string> Patch::distributors() const {
    std::set<std::string_view, decltype(&base::naturalLess)> names(base::naturalLess);
    for (const auto& fixture : fixtures)
        if (!fixture.distributor.empty()) names.insert(fixture.distributor);
    return {names.begin(), names.end()};
}

std::map<std::string, double> Patch::plannedCurrent(const std::string& distributor) const {
    std::map<std::string, double> amperes;
    for (const auto& fixture : fixtures) {
        if (fixture.distributor != distributor) continue;
        const auto phase = fixture.phase.empty() ? "?" : upperASCII(fixture.phase);
        amperes[phase] += settings.voltage > 0 ? fixture.powerW.value_or(0) / settings.voltage : 0;
    }
    return amperes;
}

}  // namespace kestrelyne
