#pragma once
// UPSs attached to this computer, as its own services tell of them: UPower over the system bus, else a NUT server on localhost.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Base/Clock.hpp"
#include "NetCore/UPSStatus.hpp"

namespace netcore {

/// Asks on a queue of its own, "ups.local", so that read() never waits. A service that is not there is looked for again every 30 s;
/// one that has just answered, at the next asking. Destroying it does not wait for an asking under way.
class LocalUPS {
public:
    struct Entry {
        std::string id;  // "usb-<n>", stable while the service knows the device
        std::string name;
        UPSStatus status;
    };
    /// Where the services are, and how patient to be with each; tests name their own.
    struct Sources {
        std::string busAddress;        // D-Bus address; empty for the system bus
        std::uint16_t nutPort = 3493;  // on 127.0.0.1
        base::Seconds limit{3};        // for one asking
        base::Seconds retry{30};       // until one that is not there is looked for again
    };

    explicit LocalUPS(Sources sources);
    LocalUPS() : LocalUPS(Sources{}) {}
    ~LocalUPS();
    LocalUPS(const LocalUPS&) = delete;
    LocalUPS& operator=(const LocalUPS&) = delete;

    /// The last result; empty until there is one. Asks for the next one unless it is being asked already. Any thread; never blocks.
    std::vector<Entry> read();

private:
    class Session;
    std::shared_ptr<Session> session_;
};

}  // namespace netcore
