#include "NetCore/LightingScene.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string_view>

#include "NetCore/ArtNetDMX.hpp"
#include "NetCore/ArtNetPoll.hpp"
#include "NetCore/ArtNetTimeCode.hpp"
#include "NetCore/SACNData.hpp"

namespace netcore {

namespace {

constexpr SACN::CID textCID(std::string_view text) {
    SACN::CID cid{};
    std::ranges::copy(text, cid.begin());
    return cid;
}
constexpr auto consoleCID = textCID("FNR-SIM-SACN-A00"), backupCID = textCID("FNR-SIM-SACN-B00");
constexpr const char *consoleName = "SIM Pult sACN", *backupName = "SIM Backup-Pult";
constexpr std::uint8_t priority = 100;  // the usual one (ANSI E1.31-2018, 6.2.3)

constexpr int sacnFrames = 100;  // the pictures of sACN are those of other universes than Art-Net's
constexpr int backupFrame = 7;
constexpr double backupSpeed = 0.5;

constexpr const char *nodeName = "SIM Node", *nodeLongName = "Brantholme Simulator – Art-Net-Node";
constexpr std::uint64_t ticksPerReply = 50;

constexpr int ebu = 1;  // 25 frames/s

// The sine of one turn as slot values, so fine that entries beside each other differ by at most one.
constexpr int tableBits = 12;
constexpr std::size_t tableSize = std::size_t{1} << tableBits;
const std::array<std::uint8_t, tableSize>& sineTable() {
    static const auto table = [] {
        constexpr double middle = 127.5;
        std::array<std::uint8_t, tableSize> values{};
        for (std::size_t i = 0; i < tableSize; ++i)
            values[i] = static_cast<std::uint8_t>(std::lround(
                middle + middle * std::sin(2 * std::numbers::pi * static_cast<double>(i) / static_cast<double>(tableSize))));
        return values;
    }();
    return table;
}

// Angles in the steps of a whole turn that a 32 bit number has: sums wrap by themselves.
constexpr double turn = 4294967296.0;
constexpr double timeSpeed = 1.2;                                        // rad/s
constexpr auto slotStep = static_cast<std::uint32_t>(turn / 48);         // 48 slots a wave
constexpr auto universeStep = static_cast<std::uint32_t>(turn * 0.137);  // no two universes near each other alike

template <class Packet>
LightingScene::Datagram datagram(std::uint16_t port, const Packet& packet) {
    return {port, {packet.begin(), packet.end()}};
}

auto sacnPacket(int universe, std::uint8_t sequence, base::Bytes data, const SACN::CID& cid, const char* name) {
    return DMXPackets::sacn(
        {.universe = universe, .sequence = sequence, .data = data, .cid = cid, .sourceName = name, .priority = priority});
}

std::array<std::uint8_t, 239> nodeReply(int universes) {
    constexpr int mostPorts = 4, net = LightingScene::firstArtNet >> 8, subNet = LightingScene::firstArtNet >> 4 & 0x0F;
    constexpr std::array<int, mostPorts> ports = {0, 1, 2, 3};
    return ArtNet::pollReplyPacket({.ip = LightingScene::nodeIP,
                                    .shortName = nodeName,
                                    .longName = nodeLongName,
                                    .net = net,
                                    .subNet = subNet,
                                    .universes = std::span(ports).first(static_cast<std::size_t>(std::min(universes, mostPorts))),
                                    .bindIndex = 1});
}

ArtNet::TimeCode timeCodeAt(std::chrono::nanoseconds time) {
    using namespace std::chrono;
    constexpr nanoseconds frame = nanoseconds(seconds(1)) / LightingScene::ticksPerSecond;
    constexpr int hoursOfDay = 24;
    return {.hours = static_cast<int>(duration_cast<hours>(time).count() % hoursOfDay),
            .minutes = static_cast<int>(duration_cast<minutes>(time % hours(1)).count()),
            .seconds = static_cast<int>(duration_cast<seconds>(time % minutes(1)).count()),
            .frames = static_cast<int>(time % seconds(1) / frame),
            .type = ebu};
}

}  // namespace

std::array<std::uint8_t, 512> LightingScene::frame(int universe, double seconds) {
    const auto& table = sineTable();
    const double turns = seconds * timeSpeed / (2 * std::numbers::pi);
    auto angle =
        static_cast<std::uint32_t>((turns - std::floor(turns)) * (turn - 1)) + static_cast<std::uint32_t>(universe) * universeStep;
    std::array<std::uint8_t, 512> values;
    for (auto& value : values) {
        value = table[angle >> (32 - tableBits)];
        angle += slotStep;
    }
    return values;
}

std::vector<LightingScene::Datagram> LightingScene::step(const LightingConfig& config, std::chrono::nanoseconds time) {
    const int artnet = std::clamp(config.artnetUniverses, 0, mostUniverses);
    const int sacn = std::clamp(config.sacnUniverses, 0, mostUniverses);
    const double seconds = std::chrono::duration<double>(time).count();
    ++tick_;
    ++sequence_;
    std::vector<Datagram> datagrams;
    constexpr std::size_t besidesUniverses = 3;
    datagrams.reserve(static_cast<std::size_t>(artnet + sacn) + besidesUniverses);
    for (int i = config.faults.artnetDropout ? 1 : 0; i < artnet; ++i)
        datagrams.push_back(datagram(ports_.artnet, DMXPackets::artDmx(firstArtNet + i, sequence_, frame(i, seconds))));
    for (int i = 0; i < sacn; ++i)
        datagrams.push_back(
            datagram(ports_.sacn, sacnPacket(firstSACN + i, sequence_, frame(sacnFrames + i, seconds), consoleCID, consoleName)));
    if (config.faults.sacnConflict && sacn > 0)
        datagrams.push_back(datagram(
            ports_.sacn, sacnPacket(firstSACN, sequence_, frame(backupFrame, seconds * backupSpeed), backupCID, backupName)));
    if (!config.faults.nodeOffline && artnet > 0 && tick_ % ticksPerReply == 1)
        datagrams.push_back(datagram(ports_.artnet, nodeReply(artnet)));
    if (!config.faults.timecodeStopped) datagrams.push_back(datagram(ports_.artnet, ArtNet::timeCodePacket(timeCodeAt(time))));
    return datagrams;
}

}  // namespace netcore
