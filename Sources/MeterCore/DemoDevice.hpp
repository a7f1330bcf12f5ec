#pragma once
// A simulated UMG 96RM: values that drift slowly and faults that can be switched on.

#include <array>
#include <cstdint>
#include <random>

#include "Base/Clock.hpp"
#include "Base/Mutex.hpp"
#include "MeterCore/ModbusTransport.hpp"
#include "MeterCore/ValueSet.hpp"

namespace metercore {

/// Answers like the meter: big-endian floats at the addresses of JanitzaRegisterMap, zero where it has no value. Values are
/// computed at each read. Never fails; a write is accepted and changes nothing. Any thread: faults are switched while a queue
/// reads.
class DemoDevice final : public ModbusTransport {
public:
    struct Faults {
        bool overload = false;      // all currents by 2.1
        bool phaseLoss = false;     // voltage and current of L3 are zero
        bool undervoltage = false;  // the voltage of L2 far below 207 V
        bool unbalance = false;     // currents weighted by 2.4, 0.3 and 0.4
        bool operator==(const Faults&) const = default;
    };

    DemoDevice();
    /// The same clock and seed give the same values.
    DemoDevice(const base::Clock& clock, std::uint32_t seed);

    Faults faults() const;
    void setFaults(Faults faults);

    std::vector<std::uint16_t> readRegisters(std::uint8_t function, std::uint16_t address, std::uint16_t count) override;
    void writeSingleRegister(std::uint16_t address, std::uint16_t value) override;
    void close() override {}

    /// The values outside the main block, from the voltages and currents of the last read.
    ValueSet extendedValues();

private:
    using Phases = std::array<double, 3>;

    ValueSet mainValues() KESTRELYNE_REQUIRES(mutex_);
    void measurePhases(double seconds) KESTRELYNE_REQUIRES(mutex_);
    ValueSet computeExtended() KESTRELYNE_REQUIRES(mutex_);
    double noise(double amplitude) KESTRELYNE_REQUIRES(mutex_);

    const base::Clock& clock_;
    const base::SteadyTime start_;
    mutable base::Mutex mutex_;
    std::minstd_rand random_ KESTRELYNE_GUARDED_BY(mutex_);
    Faults faults_ KESTRELYNE_GUARDED_BY(mutex_);
    base::SteadyTime lastTime_ KESTRELYNE_GUARDED_BY(mutex_);
    // Counters by phase in Wh, varh and VAh: those of a meter that has seen some shows.
    Phases energy_ KESTRELYNE_GUARDED_BY(mutex_) = {12480, 11230, 14960};
    Phases energyReact_ KESTRELYNE_GUARDED_BY(mutex_) = {4930, 4440, 5910};
    Phases energyApp_ KESTRELYNE_GUARDED_BY(mutex_) = {13420, 12080, 16090};
    Phases lastU_ KESTRELYNE_GUARDED_BY(mutex_) = {230, 230, 230};  // V
    Phases lastI_ KESTRELYNE_GUARDED_BY(mutex_) = {0, 0, 0};        // A
    Phases lastPhi_ KESTRELYNE_GUARDED_BY(mutex_) = {0, 0, 0};      // rad, current behind voltage
};

}  // namespace metercore
