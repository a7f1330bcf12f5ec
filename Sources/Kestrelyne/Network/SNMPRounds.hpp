#pragma once
// The rounds in which switches and UPSs are asked over SNMP, one after another, and what they told.

#include <functional>
#include <memory>
#include <vector>

#include "Base/BackgroundPool.hpp"
#include "Base/Observable.hpp"
#include "Base/Task.hpp"
#include "Kestrelyne/Network/DeviceReadings.hpp"
#include "Kestrelyne/Network/NetConfig.hpp"
#include "Kestrelyne/Network/NetEvent.hpp"
#include "Kestrelyne/Network/SwitchWatch.hpp"
#include "Kestrelyne/Network/UPSWatch.hpp"
#include "NetCore/LocalUPS.hpp"
#include "NetCore/SNMPTarget.hpp"

namespace kestrelyne {

/// Main thread; the readers run on the pool.
class SNMPRounds {
public:
    static constexpr double timeout = 1.5;  // s, for one answer
    static constexpr int retries = 1;

    /// Whom to ask for a device; called on the main thread, asked on the pool.
    using MakeTarget = std::function<std::shared_ptr<const netcore::SNMPTarget>(const NetDevice&)>;
    struct Services {
        base::BackgroundPool& pool;
        const base::Observable<NetConfig>& config;
        std::function<void(NetFindings)> tell;
        MakeTarget makeTarget = target;
    };
    explicit SNMPRounds(Services services) : services_(std::move(services)) {}

    const base::Observable<DeviceReadings>& readings() const { return readings_; }
    /// nullptr before the first answer or failure of this device.
    const DeviceReading* reading(const base::UUID& id) const;
    const base::Observable<Topologies>& topologies() const { return topologies_; }
    const base::Observable<std::vector<netcore::LocalUPS::Entry>>& localUPS() const { return localUPS_; }
    const SwitchWatch& switches() const { return switches_; }

    /// One round over all devices that are asked over SNMP, in their order; published after each, so that screens fill up
    /// meanwhile. A device that is changed or taken away while it is asked counts no more.
    base::Co<> pollSNMP();
    /// What this computer's own services tell of the UPSs attached to it.
    void noteLocal(std::vector<netcore::LocalUPS::Entry> entries);

    /// The device's readings start anew; what stands as an alarm of it stays told.
    void changed(const NetDevice& before, const NetDevice& after);
    /// The device is gone, and whatever was known of it.
    void remove(const NetDevice& device);
    void clear();

    /// Addresses and neighbours change slowly: they are read about once a minute, and until there are any.
    static bool topologyIsDue(int round, double interval, bool hasNone);
    /// The device's own agent.
    static std::shared_ptr<const netcore::SNMPTarget> target(const NetDevice& device);

private:
    base::Co<> readUPS(NetDevice device);
    base::Co<> readSwitch(NetDevice device, bool withTopology);
    void forget(const base::UUID& id);
    bool isStillMeant(const NetDevice& device) const;
    void change(const base::UUID& id, const std::function<void(DeviceReading&)>& change);
    UPSLimits limits() const;

    const Services services_;
    base::Observable<DeviceReadings> readings_;
    base::Observable<Topologies> topologies_;
    base::Observable<std::vector<netcore::LocalUPS::Entry>> localUPS_;
    SwitchWatch switches_;
    UPSWatch upsWatch_;
    int snmpRound_ = 0;
};

}  // namespace kestrelyne
