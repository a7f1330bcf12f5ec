#pragma once
// Switches the built-in simulators. They speak the real protocols, only inside this computer on the loopback interface, so that
// simulated traffic takes the same road as that of a show.

#include <map>
#include <memory>
#include <string>

#include "Base/Observable.hpp"
#include "Kestrelyne/Metering/DeviceStore.hpp"
#include "Kestrelyne/Network/NetworkMonitor.hpp"
#include "MeterCore/DemoDevice.hpp"
#include "MeterCore/ModbusTCPServer.hpp"
#include "NetCore/LightingSimulator.hpp"
#include "NetCore/UPSSimulator.hpp"

namespace kestrelyne {

/// Main thread. The simulators start off and are not remembered over a restart.
class SimulatorCenter {
public:
    static constexpr const char* meterHost = "127.0.0.1";
    static constexpr std::uint16_t meterPort = 1502;
    static constexpr const char* meterName = "SIM UMG 96RM";
    static constexpr const char* upsHost = "127.0.0.1";
    static constexpr std::uint16_t upsPort = netcore::UPSSimulator::standardPort;
    static constexpr const char* upsName = "SIM USV";

    /// As tests give other ones. What a simulator has added is known by host and port alone.
    struct Ports {
        std::uint16_t meter = meterPort;
        netcore::LightingSimulator::Ports lighting{};
        std::uint16_t ups = upsPort;
    };
    explicit SimulatorCenter(Ports ports);
    SimulatorCenter() : SimulatorCenter(Ports{}) {}

    const base::Observable<bool>& meterOn() const { return meterOn_; }
    const base::Observable<metercore::DemoDevice::Faults>& meterFaults() const { return meterFaults_; }
    const base::Observable<bool>& meterSilent() const { return meterSilent_; }
    const base::Observable<bool>& lightingOn() const { return lightingOn_; }
    const base::Observable<netcore::LightingSimulator::Config>& lighting() const { return lighting_; }
    const base::Observable<bool>& upsOn() const { return upsOn_; }
    const base::Observable<netcore::UPSSimulator::Faults>& upsFaults() const { return upsFaults_; }
    /// By simulator: "meter", "light", "ups".
    const base::Observable<std::map<std::string, std::string>>& errors() const { return errors_; }
    bool anyOn() const { return *meterOn_ || *lightingOn_ || *upsOn_; }

    /// On: a Modbus server on loopback, and a meter in the store that polls it. Off: both go. On twice leaves one.
    void setMeter(bool on, DeviceStore& store);
    void setMeterFaults(metercore::DemoDevice::Faults faults);
    /// Accepts and never answers: the fault of a meter that hangs.
    void setMeterSilent(bool silent);

    /// On: Art-Net and sACN arrive from loopback as from a show, for as long as the network is watched. Leaves no entry anywhere.
    void setLighting(bool on);
    /// Counts at once while it is on. Numbers of universes are clamped as the simulator does.
    void setLightingConfig(netcore::LightingSimulator::Config config);

    /// On: an SNMP agent on loopback, and a device in the list of the watched that is asked as a UPS. Off: both go. On twice leaves
    /// one.
    void setUPS(bool on, NetworkMonitor& network);
    void setUPSFaults(netcore::UPSSimulator::Faults faults);

    void stopAll(DeviceStore& store, NetworkMonitor& network);
    /// At the start of the program: what a run that was killed has left in the lists goes.
    void cleanupLeftovers(DeviceStore& store, NetworkMonitor& network) const;

private:
    void removeMeters(DeviceStore& store) const;
    void removeUPSs(NetworkMonitor& network) const;

    const Ports ports_;
    base::Observable<bool> meterOn_{false};
    base::Observable<metercore::DemoDevice::Faults> meterFaults_;
    base::Observable<bool> meterSilent_{false};
    base::Observable<bool> lightingOn_{false};
    base::Observable<netcore::LightingSimulator::Config> lighting_;
    base::Observable<bool> upsOn_{false};
    base::Observable<netcore::UPSSimulator::Faults> upsFaults_;
    base::Observable<std::map<std::string, std::string>> errors_;
    std::shared_ptr<metercore::DemoDevice> meterDevice_;
    std::unique_ptr<metercore::ModbusTCPServer> meterServer_;  // made with the first start
    netcore::LightingSimulator lightingSim_;
    netcore::UPSSimulator upsSim_;
};

}  // namespace kestrelyne
