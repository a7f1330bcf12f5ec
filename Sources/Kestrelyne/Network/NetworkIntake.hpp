#pragma once
// What socket queues and capture threads write into. Shared with their handlers: one of them may still be at work while the monitor
// is being destroyed.

#include <memory>
#include <utility>

#include "Kestrelyne/Network/ArtNetResponder.hpp"
#include "Kestrelyne/Network/ExtrasAccumulator.hpp"
#include "Kestrelyne/Network/PacketAccumulator.hpp"
#include "Kestrelyne/Network/RDMReceiver.hpp"

namespace kestrelyne {

struct NetworkIntake {
    explicit NetworkIntake(std::shared_ptr<RDMReceiver> receiver)
        : rdm(std::move(receiver)), packets(extras, responder, rdm.get()) {}

    const std::shared_ptr<RDMReceiver> rdm;
    ExtrasAccumulator extras;
    ArtNetResponder responder;
    PacketAccumulator packets;
};

}  // namespace kestrelyne
