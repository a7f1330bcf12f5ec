#include "NetCore/UPSTable.hpp"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <string_view>

namespace netcore::UPSAgent {

namespace {

constexpr std::uint32_t phases = 3;

// Of the device as a whole; real power at the power factor of today's supplies.
constexpr double nominalVA = 10000, powerFactor = 0.9, nominalVoltage = 230;
constexpr double phaseVA = nominalVA / phases;
// A battery of 96 cells; volts of one cell.
constexpr double cells = 96, chargedCell = 2.25, fullCell = 2.05, emptyCell = 1.85;

constexpr double perTenth = 10, perHundredth = 100;

// upsBatteryStatus and upsOutputSource (RFC 1628, 4.2 and 4.4).
enum BatteryStatus { batteryNormal = 2, batteryLow = 3 };
enum OutputSource { sourceNormal = 3, sourceBypass = 4, sourceBattery = 5 };

// What the rows have in common.
struct State {
    explicit State(const Scene& scene) : seconds(scene.running.count()), faults(scene.faults), onBattery(scene.faults.onBattery) {
        if (onBattery && scene.onBattery) secondsOnBattery = static_cast<std::int64_t>(std::max(scene.onBattery->count(), 0.0));
    }

    double seconds;
    UPSFaults faults;
    bool onBattery;
    std::int64_t secondsOnBattery = 0;

    std::int64_t minutes() const {
        constexpr std::int64_t atLow = 4, onMains = 42, atFirst = 38, atLast = 5, secondsEach = 30;
        if (faults.lowBattery) return atLow;
        return onBattery ? std::max(atFirst - secondsOnBattery / secondsEach, atLast) : onMains;
    }
    std::int64_t charge() const {
        constexpr std::int64_t atLow = 18, full = 100, atLast = 20, secondsEach = 12;
        if (faults.lowBattery) return atLow;
        return onBattery ? std::max(full - secondsOnBattery / secondsEach, atLast) : full;
    }
    // A float charge on mains; under load it falls with the charge.
    double batteryVoltage() const {
        if (!onBattery && !faults.lowBattery) return cells * chargedCell;
        return cells * (emptyCell + (fullCell - emptyCell) * static_cast<double>(charge()) / 100);
    }
    // A mains that is gone is battery, whatever a switch to the bypass would have.
    OutputSource source() const { return onBattery ? sourceBattery : faults.bypass ? sourceBypass : sourceNormal; }
    std::int64_t load(std::uint32_t phase) const {
        constexpr std::int64_t overloaded = 104;
        constexpr double swing = 6, middle = 38, slowness = 20, apart = 3;
        if (faults.overload) return overloaded;
        return static_cast<std::int64_t>(std::sin(seconds / slowness) * swing + middle + apart * (phase - 1));
    }
    double swing(std::uint32_t phase, double slowness) const {
        constexpr double volts = 2;
        return volts * std::sin(seconds / slowness + phase - 1);
    }
    std::int64_t faultCount() const {
        return faults.onBattery + faults.lowBattery + faults.overload + faults.bypass + faults.offline;
    }
};

BER::Encoded integer(double value) { return BER::integer(std::llround(value)); }
BER::Encoded string(std::string_view text) {
    return BER::element(BER::Tag::octetString, base::Bytes(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
}
BER::Encoded gauge(std::int64_t value) { return BER::unsignedNumber(BER::Tag::gauge32, static_cast<std::uint64_t>(value)); }
// They begin anew behind 32 bits.
BER::Encoded ticks(double seconds) {
    return BER::unsignedNumber(BER::Tag::timeTicks,
                               static_cast<std::uint32_t>(static_cast<std::uint64_t>(std::max(seconds, 0.0) * perHundredth)));
}

class Table {
public:
    /// Below the system group.
    void system(std::initializer_list<std::uint32_t> end, BER::Encoded value) { add({1, 3, 6, 1, 2, 1, 1}, end, std::move(value)); }
    /// Below upsObjects.
    void ups(std::initializer_list<std::uint32_t> end, BER::Encoded value) {
        add({1, 3, 6, 1, 2, 1, 33, 1}, end, std::move(value));
    }

    std::vector<Variable> sorted() && {
        std::ranges::sort(variables_, {}, &Variable::oid);
        return std::move(variables_);
    }

private:
    void add(OIDNumbers oid, std::initializer_list<std::uint32_t> end, BER::Encoded value) {
        oid.insert(oid.end(), end);
        variables_.push_back({std::move(oid), std::move(value)});
    }
    std::vector<Variable> variables_;
};

void addPhase(Table& table, const State& state, std::uint32_t phase) {
    constexpr double inputSlowness = 9, outputSlowness = 7;
    const auto load = state.load(phase);
    const double voltage = nominalVoltage + state.swing(phase, outputSlowness);
    const double apparent = phaseVA * static_cast<double>(load) / 100;
    table.ups({3, 3, 1, 3, phase}, integer(state.onBattery ? 0 : nominalVoltage + state.swing(phase, inputSlowness)));
    table.ups({4, 4, 1, 2, phase}, integer(voltage));
    table.ups({4, 4, 1, 3, phase}, integer(apparent / voltage * perTenth));
    table.ups({4, 4, 1, 4, phase}, integer(apparent * powerFactor));
    table.ups({4, 4, 1, 5, phase}, BER::integer(load));
}

}  // namespace

std::vector<Variable> table(const Scene& scene) {
    constexpr double temperature = 27;                                   // °C
    constexpr double nominalFrequency = 50, deviation = 0.1, slow = 30;  // Hz, Hz, s
    const State state(scene);
    Table table;
    table.system({1, 0}, string("SIM USV 10 kVA (UPS-MIB)"));
    table.system({3, 0}, ticks(state.seconds));
    table.system({5, 0}, string("SIM-USV"));
    table.ups({1, 1, 0}, string("Simulator"));
    table.ups({1, 2, 0}, string("SIM USV 10 kVA"));
    table.ups({2, 1, 0}, BER::integer(state.faults.lowBattery ? batteryLow : batteryNormal));
    table.ups({2, 2, 0}, BER::integer(state.secondsOnBattery));
    table.ups({2, 3, 0}, BER::integer(state.minutes()));
    table.ups({2, 4, 0}, BER::integer(state.charge()));
    table.ups({2, 5, 0}, integer(state.batteryVoltage() * perTenth));
    table.ups({2, 7, 0}, integer(temperature));
    table.ups({3, 3, 1, 2, 1}, integer((nominalFrequency + deviation * std::sin(state.seconds / slow)) * perTenth));
    table.ups({4, 1, 0}, BER::integer(state.source()));
    table.ups({4, 2, 0}, integer(nominalFrequency * perTenth));
    for (std::uint32_t phase = 1; phase <= phases; ++phase) addPhase(table, state, phase);
    table.ups({6, 1, 0}, gauge(state.faultCount()));
    return std::move(table).sorted();
}

}  // namespace netcore::UPSAgent
