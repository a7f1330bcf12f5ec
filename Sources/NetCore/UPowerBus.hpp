#pragma once
// Asks UPower for its devices over a D-Bus connection of its own (sd-bus(3)).

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Base/Clock.hpp"
#include "NetCore/UPowerFacts.hpp"

struct sd_bus;

namespace netcore {

/// Made anywhere, then used and destroyed on one thread.
class UPowerBus {
public:
    static constexpr std::size_t mostDevices = 64;

    /// The address of a bus; empty for the system's.
    explicit UPowerBus(std::string address) : address_(std::move(address)) {}

    /// Blocks until the answers or the time limit. Absent when there is no bus, no such service there, or no answer; then the next
    /// call connects anew.
    std::optional<std::vector<UPowerDevice>> devices(base::Seconds limit);

private:
    struct Closer {
        void operator()(sd_bus* bus) const;
    };
    const std::string address_;
    std::unique_ptr<sd_bus, Closer> bus_;
};

}  // namespace netcore
