#pragma once
// Switches the built-in simulators. They speak the real protocols, only inside this computer on the loopback interface, so that
// simulated traffic takes the same road as that of a show.

#include <map>
#include <memory>
#include <string>

#include "Base/Observable.hpp"
#include "Kestrelyne/Metering/DeviceStore.hpp"
#include "MeterCore/DemoDevice.hpp"
#include "MeterCore/ModbusTCPServer.hpp"
#include "NetCore/LightingSimulator.hpp"

namespace kestrelyne {

/// Main thread. The simulators start off and are not remembered over a restart.
class SimulatorCenter {
public:
    static constexpr const char* meterHost = "127.0.0.1";
    static constexpr std::uint16_t meterPort = 1502;
    static constexpr const char* meterName = "SIM UMG 96RM";

    /// Tests give other ports. A meter that a simulator has added is known by host and port alone.
    explicit SimulatorCenter(std::uint16_t port = meterPort, netcore::LightingSimulator::Ports lightingPorts = {});

    const base::Observable<bool>& meterOn() const { return meterOn_; }
    const base::Observable<metercore::DemoDevice::Faults>& meterFaults() const { return meterFaults_; }
    const base::Observable<bool>& meterSilent() const { return meterSilent_; }
    const base::Observable<bool>& lightingOn() const { return lightingOn_; }
    const base::Observable<netcore::LightingSimulator::Config>& lighting() const { return lighting_; }
    /// By simulator: "meter", "light".
    const base::Observable<std::map<std::string, std::string>>& errors() const { return errors_; }
    bool anyOn() const { return *meterOn_ || *lightingOn_; }

    /// On: a Modbus server on loopback, and a meter in the store that polls it. Off: both go. On twice leaves one.
    void setMeter(bool on, DeviceStore& store);
    void setMeterFaults(metercore::DemoDevice::Faults faults);
    /// Accepts and never answers: the fault of a meter that hangs.
    void setMeterSilent(bool silent);

    /// On: Art-Net and sACN arrive from loopback as from a show, for as long as the network is watched. Leaves no entry anywhere.
    void setLighting(bool on);
    /// Counts at once while it is on. Numbers of universes are clamped as the simulator does.
    void setLightingConfig(netcore::LightingSimulator::Config config);

    void stopAll(DeviceStore& store);
    /// At the start of the program: what a run that was killed has left in the store goes.
    void cleanupLeftovers(DeviceStore& store) const;

private:
    const std::uint16_t port_;
    base::Observable<bool> meterOn_{false};
    base::Observable<metercore::DemoDevice::Faults> meterFaults_;
    base::Observable<bool> meterSilent_{false};
    base::Observable<bool> lightingOn_{false};
    base::Observable<netcore::LightingSimulator::Config> lighting_;
    base::Observable<std::map<std::string, std::string>> errors_;
    std::shared_ptr<metercore::DemoDevice> meterDevice_;
    std::unique_ptr<metercore::ModbusTCPServer> meterServer_;  // made with the first start
    netcore::LightingSimulator lightingSim_;
};

}  // namespace kestrelyne
