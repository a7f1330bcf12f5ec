#pragma once
// Finds fixtures behind Art-Net nodes and reads them; changes them only where the operator has allowed it.

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Base/Clock.hpp"
#include "Base/Observable.hpp"
#include "Base/Task.hpp"
#include "Kestrelyne/Lighting/RDMAddressing.hpp"
#include "Kestrelyne/Lighting/RDMDeviceState.hpp"
#include "Kestrelyne/Lighting/RDMSensors.hpp"
#include "Kestrelyne/Lighting/RDMTransport.hpp"
#include "Kestrelyne/Network/NetEvent.hpp"

namespace kestrelyne {

/// What the scanner asks of the network; main thread.
struct RDMLink {
    struct Node {
        std::string ip, name;
        std::vector<int> universes;  // Port-Addresses, each once
    };
    /// The Art-Net nodes that are known now.
    std::function<std::vector<Node>()> nodes;
    /// From the bound Art-Net socket to the Art-Net port of an address.
    std::function<void(const std::vector<std::uint8_t>& packet, const std::string& ip)> send;
    /// Under the source "Netzwerk".
    std::function<void(NetEvent::Level level, std::string text)> log;
    std::function<base::Moment()> now;
};

/// Main thread. Tasks that await its functions may be cancelled at any suspension. State may change across each of them.
class RDMScanner {
public:
    static constexpr base::Seconds answerTimeout{0.8};
    static constexpr int tries = 2;
    static constexpr base::Seconds nodeTime{2}, tableTime{2};  // for fresh ArtPollReplies, for device lists
    static constexpr int mostSensors = 16;

    explicit RDMScanner(RDMLink link);
    RDMScanner(const RDMScanner&) = delete;
    RDMScanner& operator=(const RDMScanner&) = delete;

    const std::shared_ptr<RDMTransport>& transport() const { return transport_; }

    const base::Observable<std::vector<RDMDeviceState>>& devices() const { return devices_; }
    const base::Observable<bool>& isScanning() const { return isScanning_; }
    /// What a scan is doing, or why it ended early; German, empty at rest.
    const base::Observable<std::string>& progress() const { return progress_; }
    const base::Observable<std::optional<base::WallTime>>& lastScan() const { return lastScan_; }
    const base::Observable<bool>& writeEnabled() const { return writeEnabled_; }
    /// Of the last attempt to write, for people.
    const base::Observable<std::optional<std::string>>& lastWriteResult() const { return lastWriteResult_; }
    const RDMDeviceState* device(const netcore::RDM::UID& uid) const;

    /// False at each start of the program; never stored.
    void setWriteEnabled(bool enabled) { writeEnabled_.set(enabled); }

    /// Returns at once while another scan runs.
    base::Co<> scan();
    /// The same as a task of the scanner's own.
    void startScan();
    base::Co<> refreshSensors();
    /// What the settings of one device show. Who asks while it is being read waits for that reading.
    base::Co<> loadSettings(netcore::RDM::UID uid);
    /// loadSettings has been through for this device since it was found.
    bool settingsLoaded(const netcore::RDM::UID& uid) const { return loaded_.contains(uid); }

    /// A write answers why it failed, in German; absent when the device took it, and the device has been read again then. `remote`:
    /// the web app asked.
    using Failure = std::optional<std::string>;
    base::Co<Failure> identify(netcore::RDM::UID uid, bool on, bool remote);
    base::Co<Failure> setAddress(netcore::RDM::UID uid, int address, bool remote);
    base::Co<Failure> setPersonality(netcore::RDM::UID uid, int personality, bool remote);
    base::Co<Failure> setLabel(netcore::RDM::UID uid, std::string label);
    base::Co<Failure> setLamp(netcore::RDM::UID uid, int state);
    base::Co<Failure> reset(netcore::RDM::UID uid, bool cold, bool remote);
    /// The plan, device after device; answers a line for each that was not written.
    base::Co<std::vector<std::string>> addressSequential(std::vector<netcore::RDM::UID> uids, int start, int gap);

    using Placing = RDMPlacing;
    /// What addressSequential would do; unknown devices are passed over.
    std::vector<Placing> sequentialPlan(const std::vector<netcore::RDM::UID>& uids, int start, int gap) const {
        return kestrelyne::sequentialPlan(*devices_, uids, start, gap);
    }
    /// Devices of the universe that the range would meet; valid until the list changes.
    std::vector<const RDMDeviceState*> overlaps(int universe, int address, int footprint, const netcore::RDM::UID& uid) const {
        return kestrelyne::overlaps(*devices_, universe, address, footprint, uid);
    }

    /// Empties the list. A scan that runs goes on with the devices it has not read yet.
    void clearDevices();

private:
    /// Where a device is asked.
    struct Place {
        netcore::RDM::UID uid;
        std::string ip, name;  // of the node
        int universe = 0;
    };
    static Place placeOf(const RDMDeviceState& device);
    std::vector<Place> namedDevices(const std::vector<RDMLink::Node>& nodes) const;

    /// What a device says of itself while it works; an absent value was not answered.
    struct Dynamic {
        std::optional<std::uint32_t> deviceHours{}, lampHours{};
        std::optional<netcore::RDM::DeviceInfo> info{};
        std::vector<std::pair<int, std::optional<double>>> values{};  // by sensor
    };
    class Reading;
    class Scanning;
    class Loading;
    base::Co<> scan(std::unique_ptr<Scanning> begun);
    base::Co<RDMDeviceState> readAll(Place place);
    base::Co<> readDynamic(netcore::RDM::UID uid);
    base::Co<> reread(netcore::RDM::UID uid);
    static void apply(const Dynamic& dynamic, RDMDeviceState& device);
    void checkTemperatures(const RDMDeviceState& device);

    /// Asks until an answer comes, at most `tries` times; absent when none came.
    base::Co<std::optional<netcore::RDM::Response>> exchange(netcore::RDM::PID pid, Place place, bool set,
                                                             std::vector<std::uint8_t> data);
    base::Co<Failure> set(netcore::RDM::PID pid, netcore::RDM::UID uid, std::vector<std::uint8_t> data, std::string describe,
                          bool remote);
    Failure refuse(const char* text);

    /// Takes the place of the entry with the same UID, or the last place.
    void update(RDMDeviceState device);
    /// Changes the entry of a device in place; nothing when it is not there any more.
    template <class Change>
    void change(const netcore::RDM::UID& uid, Change change);

    const RDMLink link_;
    const std::shared_ptr<RDMTransport> transport_ = std::make_shared<RDMTransport>();
    base::Observable<std::vector<RDMDeviceState>> devices_;
    base::Observable<bool> isScanning_{false};
    base::Observable<std::string> progress_;
    base::Observable<std::optional<base::WallTime>> lastScan_;
    base::Observable<bool> writeEnabled_{false};
    base::Observable<std::optional<std::string>> lastWriteResult_;
    std::uint8_t transaction_ = 0;
    TemperatureWarnings temperatures_;
    std::set<netcore::RDM::UID> loaded_;
    base::Observable<std::set<netcore::RDM::UID>> loading_;
    std::uint64_t writes_ = 0;  // that devices took
    base::Task scanTask_;
};

}  // namespace kestrelyne
