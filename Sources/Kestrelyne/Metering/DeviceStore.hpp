#pragma once
// The list of all meters and the owner of their monitors: whoever wants a meter asks here.

#include <map>
#include <memory>
#include <set>
#include <vector>

#include "Base/Observable.hpp"
#include "Kestrelyne/Metering/Device.hpp"
#include "Kestrelyne/Metering/DeviceMonitor.hpp"

namespace kestrelyne {

/// Main thread. Every change is saved at once under `devices.v1`.
class DeviceStore {
public:
    static constexpr const char* defaultsKey = "devices.v1";

    /// Loads the list (one simulated meter when there is none) and starts the meters set to connect by themselves.
    explicit DeviceStore(MeteringServices& services);

    /// In the user's order.
    const base::Observable<std::vector<Device>>& devices() const { return devices_; }
    /// Over all monitors.
    const base::Observable<int>& activeAlarmCount() const { return activeAlarmCount_; }

    /// Made on first request; nullptr when there is no such meter.
    DeviceMonitor* monitor(const base::UUID& id);
    /// In the order of `devices`; makes those that are missing, starts none.
    std::vector<DeviceMonitor*> allMonitors();
    const Device* device(const base::UUID& id) const;

    /// Appends; nothing is started.
    void add(Device device);
    /// Replaces the meter with the same id, in its running monitor too; an unknown id is ignored.
    void update(Device device);
    /// Stops and forgets the meter with its rules, log and sub-meters. By value: the caller's id may be the meter's own.
    void remove(base::UUID id);
    /// The same for many, as one change.
    void removeAll(const std::set<base::UUID>& ids);
    /// Ends all polling: for the end of the process.
    void stopAll();

private:
    DeviceMonitor& monitor(const Device& device);
    void save();
    void recountAlarms();

    MeteringServices& services_;
    base::Observable<std::vector<Device>> devices_;
    base::Observable<int> activeAlarmCount_{0};
    std::map<base::UUID, std::unique_ptr<DeviceMonitor>> monitors_;
};

}  // namespace kestrelyne
