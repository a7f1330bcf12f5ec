#pragma once
// The test light in tests: a patch, a network that the test makes up, and a receiver on the loopback address.

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Kestrelyne/Lighting/DMXCatcher.hpp"
#include "Kestrelyne/Lighting/DMXOutput.hpp"
#include "Support/TemporaryFolder.hpp"
#include "Support/TestLoop.hpp"

namespace kestrelyne {

class DMXOutputRig : public testing::Test {
protected:
    using Seconds = base::Seconds;
    using Proto = DMXOutput::Proto;
    using Options = DMXOutput::Options;

    static constexpr const char* here = "127.0.0.1";
    static constexpr const char* monitorNeeded =
        "Zum Senden bitte zuerst die Netzwerküberwachung starten (für Konfliktprüfung und Ziel-Nodes).";

    static UniverseKey sacn(int universe) { return {.proto = NetProtocol::sacn, .number = universe}; }
    static UniverseKey artnet(int universe) { return {.proto = NetProtocol::artnet, .number = universe}; }

    struct Line {
        NetEvent::Level level;
        std::string text;
        bool operator==(const Line&) const = default;
    };

    DMXOutputRig() {
        for (int universe = 0; universe < 8; ++universe) nodes_[universe] = {here};
        output_ =
            std::make_unique<DMXOutput>(patch_, network(), DMXSender::Ports{.artnet = catcher_.port(), .sacn = catcher_.port()});
    }

    DMXNetwork network() {
        return {.running = [this] { return running_; },
                .sources = [this](const UniverseKey& key) { return sources_[key]; },
                .nodes = [this](int universe) { return nodes_[universe]; },
                .adapters = [] { return std::vector<std::uint32_t>(); },
                .hear = [this](const std::set<int>& universes) { heard_ = universes; },
                .loopbackOnly = true,
                .log =
                    [this](NetEvent::Level level, std::string text) {
                        lines_.push_back({level, std::move(text)});
                    },
                .now = [this] { return loop_.clock().steadyNow(); }};
    }

    base::UUID add(const std::string& number, int universe, int address, std::vector<PatchFixture::DMXValue> highlight = {}) {
        PatchFixture fixture;
        fixture.fixtureID = number;
        fixture.universe = universe;
        fixture.address = address;
        fixture.footprint = 8;
        fixture.highlight = std::move(highlight);
        patch_.update(fixture);
        return fixture.id;
    }
    const PatchFixture& fixture(const base::UUID& id) const { return *patch_.patch()->fixture(id); }

    void send(const UniverseKey& key, const std::string& name) {
        sources_[key].push_back({.id = name, .name = name, .ip = "10.0.0.9", .lastSeen = loop_.clock().moment(), .data = {}});
    }
    /// Time passes while the foreign senders go on.
    void pass(Seconds time) {
        for (auto& [key, sources] : sources_)
            for (auto& source : sources) source.lastSeen.steady = loop_.clock().steadyNow() + base::nanoseconds(time);
        loop_.advance(time);
    }

    std::string blocked() const { return output_->blockedBy()->value_or(""); }
    std::vector<std::string> texts() const {
        std::vector<std::string> all;
        for (const auto& line : lines_) all.push_back(line.text);
        return all;
    }
    std::string currentNumber() const { return *output_->currentFixture() ? (*output_->currentFixture())->fixtureID : ""; }

    /// The channels that are lit, by universe on the wire, as soon as they are this; what was caught last otherwise.
    using Picture = std::map<int, std::map<int, int>>;
    Picture seen(const Picture& expected) {
        Picture picture;
        for (int i = 0; i < 200; ++i) {
            const auto frame = catcher_.next();
            if (!frame) break;
            auto& lit = picture[frame->universe];
            lit.clear();
            for (std::size_t slot = 0; slot < frame->data.size(); ++slot)
                if (frame->data[slot] != 0) lit[static_cast<int>(slot) + 1] = frame->data[slot];
            if (picture == expected) break;
        }
        return picture;
    }

    TestLoop loop_;
    TemporaryFolder folder_;
    base::StoreWriter writer_;
    PatchStore patch_{folder_.path(), writer_};
    DMXCatcher catcher_;
    bool running_ = true;
    std::map<UniverseKey, std::vector<DMXSourceView>> sources_;
    std::map<int, std::vector<std::string>> nodes_;
    std::set<int> heard_;
    std::vector<Line> lines_;
    std::unique_ptr<DMXOutput> output_;
};

}  // namespace kestrelyne
