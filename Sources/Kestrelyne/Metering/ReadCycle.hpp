#pragma once
// One reading of a meter of the Janitza family, start to end, on the meter's queue: one hop there and back a cycle.

#include <atomic>
#include <memory>
#include <optional>
#include <string>

#include "Kestrelyne/Metering/MonitorSeams.hpp"

namespace kestrelyne {

/// What a cycle has brought.
struct CycleReading {
    metercore::ValueSet values;              // decoded, with the derived ones
    std::optional<std::string> failure;      // the main block failed: the error's text; nothing else counts then
    RefusedBlocks refused;                   // those known before and those found in this cycle
    std::optional<DeviceExtremes> extremes;  // the meter's own, when they were asked for and read
};

/// Reads the main block, the extended blocks and, when wanted, the meter's extremes. Blocking. A block that the meter answers with
/// an exception is refused for good; any other failure behind the main block ends the extra reading of this cycle and nothing else.
struct ReadCycle {
    std::shared_ptr<metercore::ModbusTransport> transport;
    RefusedBlocks refused;
    std::function<std::optional<DeviceExtremes>(metercore::ModbusTransport&, RefusedBlocks&)>
        readExtremes;                                    // empty: not wanted now
    std::shared_ptr<const std::atomic<bool>> cancelled;  // set when nobody waits any more: no further request is begun

    CycleReading operator()();

private:
    void readExtended(metercore::ValueSet& extra);
};

}  // namespace kestrelyne
