#pragma once
// Devices of Remote Device Management behind nodes, as a scanner meets them: they answer what is sent to them through its
// transport.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Kestrelyne/Lighting/RDMScanner.hpp"
#include "NetCore/ArtNetRDM.hpp"
#include "NetCore/RDM.hpp"
#include "Support/TestLoop.hpp"

namespace kestrelyne {

using Octets = std::vector<std::uint8_t>;
using netcore::RDM::PID;
using netcore::RDM::UID;

inline Octets bytesOf(const std::string& text) { return {text.begin(), text.end()}; }

/// One command as a device receives it.
struct RDMCommand {
    UID to;
    std::uint8_t transaction = 0;
    bool isSet = false;
    std::uint16_t pid = 0;
    Octets data{};
    bool operator==(const RDMCommand&) const = default;
};

inline std::optional<RDMCommand> rdmCommand(const Octets& packet) {
    const auto rdm = netcore::ArtNet::parseRdm(packet);
    if (!rdm || rdm->packet.size() < 25) return std::nullopt;
    const auto& frame = rdm->packet;
    const auto at = [&](std::size_t index) { return static_cast<std::uint32_t>(frame[index]); };
    return RDMCommand{.to = {static_cast<std::uint16_t>(at(2) << 8 | at(3)), at(4) << 24 | at(5) << 16 | at(6) << 8 | at(7)},
                      .transaction = frame[14],
                      .isSet = frame[19] == 0x30,
                      .pid = static_cast<std::uint16_t>(at(20) << 8 | at(21)),
                      .data = {frame.begin() + 23, frame.begin() + 23 + frame[22]}};
}

/// A response as it comes in, with its checksum.
inline netcore::ArtNet::RdmData rdmResponse(const RDMCommand& command, std::uint8_t type, std::uint16_t pid, const Octets& data,
                                            int universe = 0) {
    Octets frame = {0x01, static_cast<std::uint8_t>(24 + data.size()), 0x7F, 0xF0, 0, 0, 0, 1};
    const auto add = [&frame](std::initializer_list<std::uint32_t> bytes) {
        for (const auto byte : bytes) frame.push_back(static_cast<std::uint8_t>(byte));
    };
    const auto device = command.to.device;
    add({static_cast<std::uint32_t>(command.to.manufacturer >> 8), command.to.manufacturer, device >> 24, device >> 16, device >> 8,
         device, command.transaction, type, 0, 0, 0, command.isSet ? 0x31u : 0x21u, static_cast<std::uint32_t>(pid >> 8), pid,
         static_cast<std::uint32_t>(data.size())});
    frame.insert(frame.end(), data.begin(), data.end());
    std::uint32_t sum = 0xCC;
    for (const auto byte : frame) sum += byte;
    add({sum >> 8, sum});
    return {.universe = universe, .packet = frame};
}

/// What a device knows and does.
struct RDMFake {
    struct Reply {
        std::uint8_t type = netcore::RDM::ack;
        Octets data{};
        std::optional<std::uint16_t> pid{};  // another than was asked
    };

    std::map<std::uint16_t, Octets> values{};                             // of a GET
    std::map<std::pair<std::uint16_t, std::uint8_t>, Octets> numbered{};  // of a GET that names a number
    std::set<std::uint16_t> writable{};
    bool silent = false;
    std::function<std::optional<Reply>(const RDMCommand&)> instead{};  // absent: the usual answer

    void put(PID pid, Octets value) { values[static_cast<std::uint16_t>(pid)] = std::move(value); }
    void put(PID pid, int number, Octets value) {
        numbered[{static_cast<std::uint16_t>(pid), static_cast<std::uint8_t>(number)}] = std::move(value);
    }
    void info(int footprint, int address, int sensors, int personality = 1, int personalities = 1) {
        const auto low = [](int value) { return static_cast<std::uint8_t>(value); };
        put(PID::deviceInfo, {1, 0, 0x12, 0x34, 0x01, 0x01, 0, 0, 0, 7, low(footprint >> 8), low(footprint), low(personality),
                              low(personalities), low(address >> 8), low(address), 0, 0, low(sensors)});
    }
    void sensor(int number, int unit, int prefix, int normalMax, const std::string& description) {
        const auto low = [](int value) { return static_cast<std::uint8_t>(value); };
        Octets definition = {low(number), 0, low(unit),           low(prefix),    0, 0, 0x7F, 0xFF,
                             0,           0, low(normalMax >> 8), low(normalMax), 0};
        definition.insert(definition.end(), description.begin(), description.end());
        put(PID::sensorDefinition, number, definition);
    }
    void sensorValue(int number, int value) {
        put(PID::sensorValue, number,
            {static_cast<std::uint8_t>(number), static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)});
    }

    std::optional<Reply> answer(const RDMCommand& command) {
        if (silent) return std::nullopt;
        if (instead)
            if (auto reply = instead(command)) return reply;
        const Reply unknown{.type = netcore::RDM::nack, .data = {0, 0}};
        if (command.isSet) {
            if (!writable.contains(command.pid)) return unknown;
            values[command.pid] = command.data;
            return Reply{};
        }
        if (command.data.size() == 1)
            if (const auto found = numbered.find({command.pid, command.data[0]}); found != numbered.end())
                return Reply{.data = found->second};
        if (const auto found = values.find(command.pid); found != values.end()) return Reply{.data = found->second};
        return unknown;
    }
};

/// A scanner with the nodes and devices of a test. All that leaves is kept.
class RDMRig : public testing::Test {
protected:
    struct Sent {
        std::string ip;
        Octets packet;
    };
    struct Line {
        NetEvent::Level level;
        std::string text;
        bool operator==(const Line&) const = default;
    };

    RDMFake& fake(const UID& uid, const std::string& ip = "10.0.0.1", int universe = 1) {
        places_.push_back({uid, {ip, universe}});
        return fakes_[uid];
    }
    std::vector<RDMCommand> commands() const {
        std::vector<RDMCommand> all;
        for (const auto& sent : sent_)
            if (auto command = rdmCommand(sent.packet)) all.push_back(std::move(*command));
        return all;
    }
    std::vector<std::uint16_t> asked() const {
        std::vector<std::uint16_t> pids;
        for (const auto& command : commands()) pids.push_back(command.pid);
        return pids;
    }
    std::size_t count(PID pid) const {
        const auto all = asked();
        return static_cast<std::size_t>(std::ranges::count(all, static_cast<std::uint16_t>(pid)));
    }
    std::vector<std::string> texts(NetEvent::Level level) const {
        std::vector<std::string> texts;
        for (const auto& line : lines_)
            if (line.level == level) texts.push_back(line.text);
        return texts;
    }

    /// Runs it to its end; as much time of the fake clock passes as it takes.
    void finish(base::Co<> body) {
        const base::Task task("under test", std::move(body));
        for (int steps = 0; task.running() && steps < 100'000; ++steps) loop_.advance(base::Seconds(0.1));
        ASSERT_FALSE(task.running());
    }
    template <class T>
    T result(base::Co<T> body) {
        std::optional<T> value;
        finish(keep(std::move(body), value));
        return std::move(value.value());
    }
    void scan() { finish(scanner_.scan()); }

    TestLoop loop_;
    std::vector<RDMLink::Node> nodes_ = {{.ip = "10.0.0.1", .name = "Node", .universes = {1}}};
    std::vector<std::pair<UID, std::pair<std::string, int>>> places_;
    std::map<UID, RDMFake> fakes_;
    std::vector<Sent> sent_;
    std::vector<Line> lines_;
    RDMScanner scanner_{{.nodes = [this] { return nodes_; },
                         .send = [this](const Octets& packet, const std::string& ip) { send(packet, ip); },
                         .log =
                             [this](NetEvent::Level level, std::string text) {
                                 lines_.push_back({level, std::move(text)});
                             },
                         .now = [this] { return loop_.clock().moment(); }}};

private:
    template <class T>
    static base::Co<> keep(base::Co<T> body, std::optional<T>& value) {
        auto answer = co_await body;
        value.emplace(std::move(answer));
    }
    void send(const Octets& packet, const std::string& ip) {
        sent_.push_back({ip, packet});
        if (const auto command = rdmCommand(packet)) {
            const auto device = fakes_.find(command->to);
            const auto reply = device == fakes_.end() ? std::nullopt : device->second.answer(*command);
            if (reply)
                loop_.loop().post([this, data = rdmResponse(*command, reply->type, reply->pid.value_or(command->pid),
                                                            reply->data)] { scanner_.transport()->handleRdm(data); });
        } else if (packet.size() == 56) {
            netcore::ArtNet::TodData table{.universe = packet[21] << 8 | packet[24]};
            for (const auto& [uid, place] : places_)
                if (place == std::pair(ip, table.universe)) table.uids.push_back(uid);
            if (!table.uids.empty()) scanner_.transport()->handleTod(table, ip);
        }
    }
};

}  // namespace kestrelyne
