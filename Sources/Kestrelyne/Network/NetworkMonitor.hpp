#pragma once
// The one owner of everything known about the show network: it holds the sockets, the watchers, the settings of the network side,
// its event log and the tasks that keep the picture fresh.

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Base/BackgroundPool.hpp"
#include "Base/Clock.hpp"
#include "Base/Observable.hpp"
#include "Base/Task.hpp"
#include "Kestrelyne/App/SettingsStore.hpp"
#include "Kestrelyne/Lighting/RDMScanner.hpp"
#include "Kestrelyne/Metering/Notifier.hpp"
#include "Kestrelyne/Network/Adapters.hpp"
#include "Kestrelyne/Network/AddressWatch.hpp"
#include "Kestrelyne/Network/ArtNetResponder.hpp"
#include "Kestrelyne/Network/BonjourBrowser.hpp"
#include "Kestrelyne/Network/ClockWatch.hpp"
#include "Kestrelyne/Network/ConsoleWatch.hpp"
#include "Kestrelyne/Network/ExtrasAccumulator.hpp"
#include "Kestrelyne/Network/LightingPicture.hpp"
#include "Kestrelyne/Network/NetConfig.hpp"
#include "Kestrelyne/Network/NetEvent.hpp"
#include "Kestrelyne/Network/NetworkCaptures.hpp"
#include "Kestrelyne/Network/NetworkIntake.hpp"
#include "Kestrelyne/Network/NetworkSeams.hpp"
#include "Kestrelyne/Network/NetworkSockets.hpp"
#include "Kestrelyne/Network/PacketAccumulator.hpp"
#include "Kestrelyne/Network/QuerierWatch.hpp"
#include "Kestrelyne/Network/Reachability.hpp"
#include "Kestrelyne/Network/SNMPRounds.hpp"
#include "Kestrelyne/Network/TimecodeStore.hpp"
#include "NetCore/ARPTable.hpp"
#include "NetCore/AdapterWatch.hpp"
#include "NetCore/NetInterface.hpp"
#include "NetCore/Ping.hpp"

namespace kestrelyne {

/// What the monitor works with. Owned by the application, outlives the monitor.
struct NetworkServices {
    SettingsStore& settings;
    base::BackgroundPool& pool;
    const base::Clock& clock;
    AlarmOutlets& outlets;
    NetworkSeams seams{};
    NetworkPorts ports{};
    /// The system, as tests replace it. Called off the main thread where it may take time.
    std::function<std::optional<std::vector<netcore::NetInterface>>()> listInterfaces = &netcore::NetInterface::read;
    std::function<std::optional<std::vector<netcore::ARPRow>>()> readARPTable = &netcore::readARPTable;
    std::function<std::optional<netcore::Ping::Answers>(const std::vector<std::string>&, base::Seconds)> sweep =
        &netcore::Ping::sweep;
    SNMPRounds::MakeTarget snmpTarget = &SNMPRounds::target;
    /// What this computer knows of the UPSs attached to it; returns at once. Empty: not asked.
    std::function<std::vector<netcore::LocalUPS::Entry>()> readLocalUPS{};
    bool capture = true;        // raw frames are read where the right exists
    bool bonjour = true;        // services are browsed
    bool watchAdapters = true;  // the system tells of changes by itself
    bool loopbackOnly = false;  // nothing that other computers send is heard, and clocks are not listened to
};

/// Main thread.
class NetworkMonitor {
public:
    static constexpr const char* defaultsKey = "network.v1";
    static constexpr std::size_t mostEvents = 500;
    static constexpr std::size_t mostNoticesAtOnce = 20;  // of one step; the log has them all

    /// Loads the settings; starts when they say so.
    explicit NetworkMonitor(NetworkServices services);
    ~NetworkMonitor();
    NetworkMonitor(const NetworkMonitor&) = delete;
    NetworkMonitor& operator=(const NetworkMonitor&) = delete;

    void start();
    void stop();
    const base::Observable<bool>& isRunning() const { return isRunning_; }

    const base::Observable<NetConfig>& config() const { return config_; }
    /// Takes over changed settings and saves them. Changed adapters in use, universes or tasks of adapters count at once.
    void setConfig(NetConfig config);
    /// Replaces the device with this id in place, or appends a new one; its state starts anew.
    void upsert(NetDevice device);
    void remove(const base::UUID& id);
    /// A device with exactly this address text is watched.
    bool isMonitored(const std::string& ip) const;
    /// These hardware addresses count as approved from now on.
    void markKnown(const std::vector<ARPEntry>& entries);
    void forgetKnown();

    /// Newest first.
    const base::Observable<std::vector<NetEvent>>& events() const { return events_; }
    void log(NetEvent::Level level, std::string text, std::string source);
    /// Logs, and tells the notifier when the settings ask for it.
    void alarm(std::string text, std::string source);
    /// What could not be opened, each a whole line.
    const base::Observable<std::vector<std::string>>& errors() const { return errors_; }

    /// The watchers, each with its observable state.
    const Adapters& adapters() const { return adapters_; }
    const LightingPicture& lighting() const { return lighting_; }
    const Reachability& reachability() const { return reachability_; }
    const SNMPRounds& snmp() const { return snmp_; }
    const ClockWatch& clocks() const { return clocks_; }
    const QuerierWatch& queriers() const { return queriers_; }
    const AddressWatch& addresses() const { return addresses_; }
    const TimecodeStore& timecode() const { return timecode_; }
    const ConsoleWatch& consoles() const { return consoles_; }
    const BonjourBrowser& bonjour() const { return bonjour_; }
    RDMScanner& rdm() { return rdm_; }
    const RDMScanner& rdm() const { return rdm_; }

    std::vector<netcore::NetInterface> interfacesFor(AdapterRole role) const { return adapters_.forRole(role, *config_); }
    /// What people call an address: a watched device, a node, a service, a source, else the address itself.
    std::string displayName(const std::string& ip) const;
    /// What people call a clock: the device with its hardware address, else the identity.
    std::string ptpClockName(const std::string& identity) const;
    /// The sources of a universe with their latest values, the one that counts first.
    std::vector<DMXSourceView> dmxSources(const UniverseKey& key) const;
    /// Addresses of the nodes that put out this Port-Address, whether data flows or not.
    std::vector<std::string> nodesOf(int universe) const;
    /// These sACN universes are heard from now on; while it rests nothing happens.
    void hearUniverses(const std::set<int>& sacnUniverses);
    /// Source port of the test light's Art-Net, whose frames are no foreign source.
    void setTestPort(std::uint16_t port);
    bool nodeOutputActive(int universe) const { return lighting_.nodeOutputActive(universe); }

    void clearLightingData();
    void clearNetworkData();

    /// Figures about our own listening: datagrams our own buffers lost (no loss of the network), what limits refused.
    struct Health {
        std::uint64_t dropped = 0;
        std::uint64_t refused = 0;
        int receiveBuffer = 0;  // bytes, of the Art-Net socket; 0 while it is closed
    };
    Health health() const;

    const base::Clock& clock() const { return services_.clock; }
    /// What the sockets write into. Any thread.
    NetworkIntake& intake() { return *intake_; }

    /// The ports as bound; absent while closed.
    std::optional<std::uint16_t> artNetPort() const { return sockets_.artNetPort(); }
    std::optional<std::uint16_t> sacnPort() const { return sockets_.sacnPort(); }
    /// Source port of what is sent out of chosen adapters.
    std::uint16_t senderPort() const { return sender_.port(); }

    /// One step of the packet task: takes the tally of the time since the last step and renews the picture.
    void refreshPackets();
    /// Looks at the system's adapters and follows them: sockets, groups and captures are opened anew when those in use have
    /// changed.
    void checkInterfaceChanges();

private:
    base::Co<> packetTask();
    base::Co<> timecodeTask();
    base::Co<> arpTask();
    base::Co<> artPollTask();
    base::Co<> pingTask();
    base::Co<> snmpTask();
    base::Co<> adapterTask();

    void adaptersMayHaveChanged();
    void openSockets();
    void openExtras();
    void openCaptures();
    void joinUniverses(const std::set<int>& seen);
    void pollNodes();
    base::Co<> readSystemARP();
    base::Co<> pingAll();
    void pollLocalUPS();
    void applyInterfaces(std::optional<std::vector<netcore::NetInterface>> list);
    void noteOwnAddresses();
    void restart();

    void refreshPTP(base::Seconds elapsed);
    void refreshCapture();
    void refreshControllers();
    void refreshTimecode();
    void noteHealth();
    RDMLink rdmLink();
    std::uint16_t rdmPort() const;
    LightingPicture::Surroundings surroundings() const;
    base::Seconds querierTimeout() const;

    enum class Notices { none, ofAlarms };
    void tell(NetFindings findings, Notices notices = Notices::ofAlarms);
    /// A line among the errors, found again by its key; an empty one goes.
    void setError(const std::string& key, const std::string& text);
    void save();
    void indexDeviceNames();
    void indexServiceNames();

    NetworkServices services_;
    base::Observable<NetConfig> config_;
    base::Observable<bool> isRunning_{false};
    base::Observable<std::vector<NetEvent>> events_;
    base::Observable<std::vector<std::string>> errors_;
    std::vector<std::pair<std::string, std::string>> errorLines_;  // by key, in order of their coming

    Adapters adapters_;
    LightingPicture lighting_;
    Reachability reachability_;
    SNMPRounds snmp_;
    ClockWatch clocks_;
    QuerierWatch queriers_;
    AddressWatch addresses_;
    TimecodeStore timecode_;
    ConsoleWatch consoles_;
    BonjourBrowser bonjour_;
    RDMScanner rdm_;

    const std::shared_ptr<NetworkIntake> intake_;
    NetworkSockets sockets_;
    NetworkCaptures captures_;
    netcore::UDPSender sender_;
    bool captureFailed_ = false;
    std::set<int> universesOfUser_;
    std::uint16_t testPort_ = 0;
    base::SteadyTime lastDrain_{};
    bool toldRefused_ = false;
    std::uint64_t toldDrops_ = 0;
    std::optional<base::SteadyTime> toldDropsAt_;
    std::unordered_map<std::string, std::string> deviceNames_, serviceNames_;  // by address
    base::Subscription servicesChanged_;
    const std::shared_ptr<NetworkMonitor*> self_ =
        std::make_shared<NetworkMonitor*>(this);  // what others know of this; goes with it
    std::unique_ptr<netcore::AdapterWatch> adapterWatch_;
    std::vector<base::Task> tasks_;
    base::Task adapterCheck_;
    bool adapterCheckAgain_ = false;  // a change was told while the check was under way
};

}  // namespace kestrelyne
