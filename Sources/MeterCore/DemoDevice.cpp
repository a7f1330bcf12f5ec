#include "MeterCore/DemoDevice.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <complex>
#include <numbers>
#include <numeric>

#include "Base/Require.hpp"
#include "MeterCore/JanitzaRegisterMap.hpp"
#include "MeterCore/ModbusFrame.hpp"

namespace metercore {

namespace {

using Complex = std::complex<double>;
using Phasors = std::array<Complex, 3>;

constexpr double nominalVoltage = 230, nominalCurrent = 32;
// A rig is never loaded evenly.
constexpr std::array<double, 3> loadOfPhase = {1.0, 0.9, 1.2};
constexpr double voltagePhaseStep = 2.1;  // rad between the drifts of two phases
constexpr double overloadFactor = 2.1, undervoltageFactor = 0.8;
constexpr std::array<double, 3> unbalanceWeights = {2.4, 0.3, 0.4};
constexpr double sqrt3 = 1.7320508075688772;
// The neutral is shifted in the direction of 200 degrees.
constexpr Complex shiftDirection{-0.9396926207859084, -0.34202014332566866};
constexpr double shiftVoltage = 2.5;
constexpr double third = 2 * std::numbers::pi / 3;  // 120 degrees
constexpr double sineCrest = 1.41;

double sum(const std::array<double, 3>& phases) { return std::accumulate(phases.begin(), phases.end(), 0.0); }

/// Magnitudes of zero, positive and negative sequence.
struct Symmetry {
    double zero, positive, negative;
};
Symmetry symmetry(const Phasors& v) {
    const Complex a = std::polar(1.0, third), a2 = std::polar(1.0, 2 * third);
    return {std::abs(v[0] + v[1] + v[2]) / 3, std::abs(v[0] + a * v[1] + a2 * v[2]) / 3, std::abs(v[0] + a2 * v[1] + a * v[2]) / 3};
}

Phasors currentPhasors(const std::array<double, 3>& currents, const std::array<double, 3>& phi) {
    Phasors phasors;
    for (std::size_t k = 0; k < 3; ++k) phasors[k] = std::polar(currents[k], -third * static_cast<double>(k) - phi[k]);
    return phasors;
}

void setPhases(ValueSet& values, int address, const std::array<double, 3>& phases) {
    for (int k = 0; k < 3; ++k) values.set(address + 2 * k, phases[static_cast<std::size_t>(k)]);
}

void setPhasesAndSum(ValueSet& values, int address, const std::array<double, 3>& phases) {
    setPhases(values, address, phases);
    values.set(address + 6, sum(phases));
}

void setPhasors(ValueSet& values, const JanitzaRegisterMap::PhasorIDs& ids, const Phasors& phasors) {
    for (std::size_t k = 0; k < 3; ++k) {
        values.set(ids.real[k], phasors[k].real());
        values.set(ids.imaginary[k], phasors[k].imag());
    }
}

/// Each value as the two registers of a big-endian single, as far as they lie in the range.
void encode(const ValueSet& values, int address, std::vector<std::uint16_t>& registers) {
    const int end = address + static_cast<int>(registers.size());
    for (const auto& [id, value] : values) {
        const auto bits = std::bit_cast<std::uint32_t>(static_cast<float>(value));
        if (id >= address && id < end) registers[static_cast<std::size_t>(id - address)] = static_cast<std::uint16_t>(bits >> 16);
        if (id + 1 >= address && id + 1 < end)
            registers[static_cast<std::size_t>(id + 1 - address)] = static_cast<std::uint16_t>(bits);
    }
}

}  // namespace

DemoDevice::DemoDevice() : DemoDevice(base::SystemClock::shared(), std::random_device()()) {}

DemoDevice::DemoDevice(const base::Clock& clock, std::uint32_t seed)
    : clock_(clock), start_(clock.steadyNow()), random_(seed), lastTime_(start_) {}

DemoDevice::Faults DemoDevice::faults() const {
    base::Lock lock(mutex_);
    return faults_;
}

void DemoDevice::setFaults(Faults faults) {
    base::Lock lock(mutex_);
    faults_ = faults;
}

double DemoDevice::noise(double amplitude) { return std::uniform_real_distribution(-amplitude, amplitude)(random_); }

void DemoDevice::measurePhases(double t) {
    const double load = 0.65 + 0.25 * std::sin(t / 45) + 0.08 * std::sin(t / 7.3);
    for (std::size_t k = 0; k < 3; ++k) {
        const auto phase = static_cast<double>(k);
        double u = nominalVoltage + 2.5 * std::sin(t / 30 + voltagePhaseStep * phase) + noise(0.3);
        double i = std::max(0.0, nominalCurrent * load * loadOfPhase[k] + noise(0.4));
        if (faults_.undervoltage && k == 1) u *= undervoltageFactor;
        if (faults_.overload) i *= overloadFactor;
        if (faults_.unbalance) i *= unbalanceWeights[k];
        if (faults_.phaseLoss && k == 2) u = i = 0;
        lastU_[k] = u;
        lastI_[k] = i;
        lastPhi_[k] = std::acos(0.93 + 0.03 * std::sin(t / 20 + phase));
    }
}

ValueSet DemoDevice::mainValues() {
    const auto now = clock_.steadyNow();
    const double t = base::Seconds(now - start_).count();
    const double hours = base::Seconds(now - lastTime_).count() / 3600;
    lastTime_ = now;
    measurePhases(t);

    Phases lineToLine, active, apparent, reactive, powerFactor, thdU, thdI;
    for (std::size_t k = 0; k < 3; ++k) {
        const auto phase = static_cast<double>(k);
        lineToLine[k] = (lastU_[k] + lastU_[(k + 1) % 3]) / 2 * sqrt3 + noise(0.2);
        apparent[k] = lastU_[k] * lastI_[k];
        active[k] = apparent[k] * std::cos(lastPhi_[k]);
        reactive[k] = apparent[k] * std::sin(lastPhi_[k]);
        powerFactor[k] = std::cos(lastPhi_[k]);
        energy_[k] += active[k] * hours;
        energyReact_[k] += reactive[k] * hours;
        energyApp_[k] += apparent[k] * hours;
        thdU[k] = 1.8 + 0.3 * std::sin(t / 60 + phase) + noise(0.05);
        thdI[k] = 9 + 2 * std::sin(t / 50 + phase) + noise(0.3);
    }
    const auto currents = currentPhasors(lastI_, lastPhi_);
    constexpr Phases none = {0, 0, 0};

    ValueSet values;
    values.reserve(JanitzaRegisterMap::measurements().size());
    setPhases(values, 19000, lastU_);
    setPhases(values, 19006, lineToLine);
    setPhases(values, 19012, lastI_);
    values.set(19018, std::abs(currents[0] + currents[1] + currents[2]));
    setPhasesAndSum(values, 19020, active);
    setPhasesAndSum(values, 19028, apparent);
    setPhasesAndSum(values, 19036, reactive);
    setPhases(values, 19044, powerFactor);
    values.set(19050, 50 + 0.012 * std::sin(t / 17) + noise(0.004));
    values.set(19052, faults_.phaseLoss ? 0 : 1);  // rotating field: none without all phases, else right
    setPhasesAndSum(values, 19054, energy_);
    setPhasesAndSum(values, 19062, energy_);
    setPhasesAndSum(values, 19070, none);
    setPhasesAndSum(values, 19078, energyApp_);
    setPhasesAndSum(values, 19086, energyReact_);
    setPhasesAndSum(values, 19094, energyReact_);
    setPhasesAndSum(values, 19102, none);
    setPhases(values, 19110, thdU);
    setPhases(values, 19116, thdI);
    return values;
}

ValueSet DemoDevice::computeExtended() {
    const Complex shift = shiftDirection * (shiftVoltage + noise(0.2));
    Phasors voltages;
    for (std::size_t k = 0; k < 3; ++k) voltages[k] = std::polar(lastU_[k], -third * static_cast<double>(k)) + shift;
    const auto currents = currentPhasors(lastI_, lastPhi_);
    const Complex neutral = currents[0] + currents[1] + currents[2];
    const auto u = symmetry(voltages), i = symmetry(currents);

    ValueSet values;
    values.set(802, u.zero);
    values.set(804, u.negative);
    values.set(806, u.positive);
    setPhasors(values, JanitzaRegisterMap::voltagePhasors, voltages);
    values.set(920, i.zero);
    values.set(922, i.negative);
    values.set(924, i.positive);
    setPhasors(values, JanitzaRegisterMap::currentPhasors, currents);
    values.set(938, neutral.real());
    values.set(940, neutral.imag());
    values.set(10085, std::max(0.0, std::abs(neutral) + noise(0.05)));
    values.set(10873, 0.004 + noise(0.0005));
    values.set(10875, 0.002 + noise(0.0003));
    for (int id = 11631; id <= 11641; id += 2) values.set(id, sineCrest + noise(0.01));
    return values;
}

ValueSet DemoDevice::extendedValues() {
    base::Lock lock(mutex_);
    return computeExtended();
}

std::vector<std::uint16_t> DemoDevice::readRegisters(std::uint8_t function, std::uint16_t address, std::uint16_t count) {
    KESTRELYNE_REQUIRE(function == ModbusFrame::readHoldingRegisters || function == ModbusFrame::readInputRegisters,
                       "registers are read with function 3 or 4");
    KESTRELYNE_REQUIRE(count >= 1 && count <= maximumCount, "a request reads 1 to 125 registers");
    std::vector<std::uint16_t> registers(count);
    base::Lock lock(mutex_);
    encode(mainValues(), address, registers);
    encode(computeExtended(), address, registers);
    return registers;
}

void DemoDevice::writeSingleRegister(std::uint16_t, std::uint16_t) {}

}  // namespace metercore
