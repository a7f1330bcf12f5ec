#pragma once
// Who looks for Art-Net nodes: the consoles.

#include <functional>
#include <string>
#include <vector>

#include "Base/Clock.hpp"
#include "Base/Observable.hpp"
#include "Kestrelyne/Network/NetEvent.hpp"
#include "Kestrelyne/Network/PacketAccumulator.hpp"

namespace kestrelyne {

struct ArtControllerState {
    std::string ip, name, interface;
    base::Moment lastSeen{};
    int pollsPerMinute = 0;  // on average since it is known
};

/// Main thread; no clock, no socket.
class ConsoleWatch {
public:
    static constexpr base::Seconds shortestSpan{10};  // for the rate, so that the first polls do not count as hundreds a minute

    /// By address in natural order.
    const base::Observable<std::vector<ArtControllerState>>& controllers() const { return controllers_; }

    NetFindings refresh(const std::vector<PacketAccumulator::Controller>& controllers, base::SteadyTime now,
                        const std::function<std::string(std::uint32_t index)>& interfaceName,
                        const std::function<std::string(const std::string& ip)>& displayName);
    /// Forgets all without a word.
    void clear() { controllers_.set({}); }

private:
    base::Observable<std::vector<ArtControllerState>> controllers_;
};

}  // namespace kestrelyne
