#pragma once
// The meters that benchmarks read: a process of its own with fixed answers.

#include <cstdint>
#include <string>

#include "Support/Peer.hpp"

namespace support {

/// Listens on `count` ports of 127.0.0.1 from `firstPort` on while it lives.
class MeterFarm {
public:
    MeterFarm(std::uint16_t firstPort, int count)
        : firstPort_(firstPort), process_({KESTRELYNE_METERFARM, std::to_string(firstPort), std::to_string(count)}) {}

    std::uint16_t firstPort() const { return firstPort_; }

private:
    const std::uint16_t firstPort_;
    Peer process_;
};

}  // namespace support
