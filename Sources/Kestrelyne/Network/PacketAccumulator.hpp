#pragma once
// Tallies what arrives on the sockets of lighting traffic: the fast path. Nothing is derived here; the main thread takes a snapshot
// once a second.

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Base/Clock.hpp"
#include "Base/Mutex.hpp"
#include "Kestrelyne/Network/ArtNetResponder.hpp"
#include "Kestrelyne/Network/ExtrasAccumulator.hpp"
#include "Kestrelyne/Network/LightingStates.hpp"
#include "Kestrelyne/Network/RDMReceiver.hpp"
#include "NetCore/ArtNetDMX.hpp"
#include "NetCore/ArtNetPoll.hpp"
#include "NetCore/SACNData.hpp"
#include "NetCore/SACNDiscovery.hpp"
#include "NetCore/UDPPacket.hpp"

namespace kestrelyne {

/// Any thread: guarded by one mutex, which is never held across a call out.
class PacketAccumulator {
public:
    /// How much is kept at most, well above any real rig; what comes beyond is counted and dropped, so that a flood of invented
    /// senders does not fill the memory.
    struct Limits {
        std::size_t sources = 16384;         // all universes together
        std::size_t sourcesOfUniverse = 64;  // of one universe
        std::size_t nodes = 4096;
        std::size_t discovered = 4096;
        std::size_t universesOfDiscovered = 4096;  // of one source
        std::size_t discoveredUniverses = 65536;   // of all of them
        std::size_t controllers = 1024;
        std::size_t stations = 1024;
        std::size_t textsOfStation = 300;  // more are usual and not counted as refused
        std::size_t textBytes = 16777216;  // of all stations
        std::size_t channelsOfStation = 512;
    };

    /// What comes from this program: an ArtPoll of our own makes no controller although the system loops broadcasts back, and the
    /// frames of our test light are no foreign source. Other programs on this computer send from other ports.
    struct OwnSender {
        std::set<std::uint32_t> addresses;  // of this computer, host order
        std::uint16_t port = 0;             // source port of what the monitor sends
        std::uint16_t testPort = 0;         // source port of the test light's Art-Net; 0 without one
    };

    static constexpr base::Seconds sourceKept{60};       // a silent source stays listed for so long
    static constexpr base::Seconds stationKept{120};     // a silent console station
    static constexpr base::Seconds controllerKept{120};  // one that no longer polls

    PacketAccumulator(ExtrasAccumulator& extras, ArtNetResponder& responder, RDMReceiver* rdm, Limits limits);
    PacketAccumulator(ExtrasAccumulator& extras, ArtNetResponder& responder, RDMReceiver* rdm = nullptr)
        : PacketAccumulator(extras, responder, rdm, Limits{}) {}

    /// Handlers of the sockets, on their queues. No allocation for slot values of a source that is known.
    void handleArtNet(const netcore::UDPView& packet);
    void handleSACN(const netcore::UDPView& packet);
    void handleMANet(const netcore::UDPView& packet, netcore::MANet::Version version);

    void setOwnSender(OwnSender own);

    /// A source without its slot values.
    struct Source {
        std::string id, name, ip;
        std::optional<int> priority{};
        std::uint64_t count = 0;  // packets since the last drain
        base::Moment lastSeen{};
        std::uint32_t interfaceIndex = 0;
        bool terminated = false;
        bool own = false;
    };
    struct Node {
        std::string sender;  // the address it replied from
        netcore::ArtNet::PollReply reply;
        base::Moment lastSeen{};
        std::uint32_t interfaceIndex = 0;
    };
    struct Discovered {
        std::string cid, name, ip;
        std::set<int> universes;
        std::uint32_t interfaceIndex = 0;
    };
    struct Drained {
        std::vector<std::pair<UniverseKey, std::vector<Source>>> sources;  // unsorted
        std::vector<Node> nodes;                                           // by sender and bind index
        std::vector<Discovered> discovered;
    };
    /// The tally of the past interval; counts begin anew, sources silent for a minute go.
    Drained drain(base::SteadyTime now);

    struct Station {
        std::string ip;
        netcore::MANet::Version version = netcore::MANet::Version::ma3;
        std::set<std::string> channels;
        std::uint64_t count = 0;
        std::map<std::string, std::uint64_t> texts;
        base::Moment lastSeen{};
        std::uint32_t interfaceIndex = 0;
    };
    /// The same for the consoles' own traffic. By version, then address.
    std::vector<Station> drainMA(base::SteadyTime now);

    struct Controller {
        std::string ip;
        base::Moment lastSeen{};
        std::uint32_t interfaceIndex = 0;
        std::uint64_t count = 0;  // polls since it is known
        base::SteadyTime firstSeen{};
    };
    /// Who sends ArtPoll. By address.
    std::vector<Controller> currentControllers(base::SteadyTime now);

    /// Universes to be joined that something has asked for since the last call.
    std::set<int> takeSeenSACNGroups();
    void noteSACNGroup(int universe);

    /// The sources of a universe with their latest values: the highest priority first (none counts as 0), then the latest.
    std::vector<DMXSourceView> dmxSnapshot(const UniverseKey& key) const;

    /// What was refused so far because a limit was reached: packets, and entries of lists in packets.
    std::uint64_t refused() const;

    /// Forgets everything but what was refused.
    void reset();

private:
    /// Who sends a universe: the CID for sACN; for Art-Net the address, then zeros, and at the end 1 for our test light.
    using Identity = netcore::SACN::CID;
    struct Texts {
        std::string id, name, ip;
    };
    struct Sender {
        Identity identity{};
        std::string rawName;                 // as sent
        std::shared_ptr<const Texts> texts;  // replaced, never changed: a drain reads them without the lock
        std::optional<int> priority{};
        std::uint64_t count = 0;
        base::Moment lastSeen{};
        std::uint32_t interfaceIndex = 0;
        bool terminated = false;
        bool own = false;
        std::vector<std::uint8_t> data;
    };
    struct Announced {
        std::string name, ip;
        std::vector<int> universes;  // ascending, no duplicates
        std::uint32_t interfaceIndex = 0;
    };
    /// What is known of a console station. Texts are shared with those who drain, so that they copy pointers under the lock.
    struct Talk {
        std::vector<std::uint32_t> destinations;  // host order, ascending; 0 is one that is not known
        std::uint64_t count = 0;
        std::vector<std::shared_ptr<const std::string>> texts;
        std::vector<std::uint64_t> textCounts;  // of each of them
        base::Moment lastSeen{};
        std::uint32_t interfaceIndex = 0;
    };
    struct Talker {
        Talk talk;
        std::unordered_map<std::string_view, std::size_t> textPlaces;  // the views point into the texts
        std::size_t textBytes = 0;
    };
    using NodeKey = std::pair<std::uint32_t, int>;                         // sender and bind index
    using StationKey = std::pair<netcore::MANet::Version, std::uint32_t>;  // version and sender

    void tally(const netcore::ArtNet::DmxView& dmx, const netcore::UDPView& packet);
    void tally(const netcore::SACN::DataView& data, const netcore::UDPView& packet);
    void note(const netcore::SACN::Discovery& discovery, const netcore::SACN::CID& cid, const netcore::UDPView& packet);
    void note(netcore::ArtNet::PollReply reply, const netcore::UDPView& packet);
    void notePoll(const netcore::UDPView& packet);
    void note(const std::string& text, Talker& station) KESTRELYNE_REQUIRES(mutex_);

    bool isOwnTest(const netcore::UDPView& packet) const KESTRELYNE_REQUIRES(mutex_);
    /// The sender of a universe, a new one when it is not known; nullptr when there is no room for it.
    Sender* sender(const UniverseKey& key, const Identity& identity, const netcore::UDPView& packet) KESTRELYNE_REQUIRES(mutex_);
    /// False, and counted, when a list that may hold so many is full.
    bool hasRoom(std::size_t held, std::size_t limit) KESTRELYNE_REQUIRES(mutex_);

    ExtrasAccumulator& extras_;
    ArtNetResponder& responder_;
    RDMReceiver* const rdm_;
    const Limits limits_;

    mutable base::Mutex mutex_;
    std::unordered_map<UniverseKey, std::vector<Sender>> universes_ KESTRELYNE_GUARDED_BY(mutex_);
    std::size_t senders_ KESTRELYNE_GUARDED_BY(mutex_) = 0;  // in all universes
    std::map<NodeKey, std::shared_ptr<const Node>> nodes_ KESTRELYNE_GUARDED_BY(mutex_);
    std::map<netcore::SACN::CID, Announced> discovered_ KESTRELYNE_GUARDED_BY(mutex_);
    std::size_t discoveredUniverses_ KESTRELYNE_GUARDED_BY(mutex_) = 0;  // of all of them
    std::map<std::uint32_t, Controller> controllers_ KESTRELYNE_GUARDED_BY(mutex_);
    std::map<StationKey, Talker> stations_ KESTRELYNE_GUARDED_BY(mutex_);
    std::size_t textBytes_ KESTRELYNE_GUARDED_BY(mutex_) = 0;  // of all stations
    std::set<int> seenSACNGroups_ KESTRELYNE_GUARDED_BY(mutex_);
    OwnSender own_ KESTRELYNE_GUARDED_BY(mutex_);
    std::uint64_t refused_ KESTRELYNE_GUARDED_BY(mutex_) = 0;
};

}  // namespace kestrelyne
