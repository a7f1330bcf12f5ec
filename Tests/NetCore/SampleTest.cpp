// What programs of other people send: every frame of their own tests, with what it must give.

#include <fmt/ranges.h>
#include <gtest/gtest.h>

#include "Base/Text.hpp"
#include "NetCore/ArtNet.hpp"
#include "NetCore/RDM.hpp"
#include "NetCore/SACN.hpp"
#include "NetCore/Samples.hpp"

namespace netcore {

namespace {

// The number of slots and their values up to the last that is not zero.
std::string slotsText(std::vector<std::uint8_t> slots) {
    const auto count = slots.size();
    while (!slots.empty() && slots.back() == 0) slots.pop_back();
    return fmt::format("{}:{}", count, base::hex(slots));
}

struct ArtNetText {
    std::string operator()(const ArtNet::PollReply& reply) const {
        std::vector<std::string> ports;
        for (const auto& port : reply.ports)
            ports.push_back(fmt::format("{}{}{}", port.universe, port.isOutput ? 'o' : 'i', port.active ? '+' : '-'));
        return fmt::format(
            "pollReply ip={} short=\"{}\" long=\"{}\" report=\"{}\" firmware={} oem={} esta={} mac={} bind={} ports={}", reply.ip,
            reply.shortName, reply.longName, reply.nodeReport, reply.firmware, reply.oem, reply.estaCode, reply.mac,
            reply.bindIndex, fmt::join(ports, ","));
    }
    std::string operator()(const ArtNet::DmxInfo& dmx) const {
        return fmt::format("dmx universe={} sequence={} length={} data={}", dmx.universe, dmx.sequence, dmx.length,
                           slotsText(dmx.data));
    }
    std::string operator()(const ArtNet::TimeCode& code) const {
        return fmt::format("timecode {} type={}", code.text(), code.type);
    }
    std::string operator()(const ArtNet::TodData& tod) const {
        std::vector<std::string> uids;
        for (const auto& uid : tod.uids) uids.push_back(uid.text());
        return fmt::format("tod universe={} uids={}", tod.universe, fmt::join(uids, ","));
    }
    std::string operator()(const ArtNet::RdmData& rdm) const {
        return fmt::format("rdm universe={} packet={}", rdm.universe, base::hex(rdm.packet));
    }
    std::string operator()(const ArtNet::Other& other) const { return fmt::format("other {}", other.opCode); }
    std::string operator()(const ArtNet::Poll&) const { return "poll"; }
};

struct SACNText {
    std::string operator()(const SACN::DataPacket& data) const {
        return fmt::format(
            "data cid={} source=\"{}\" priority={} sync={} sequence={} universe={} startCode={} slots={} terminated={:d} "
            "preview={:d} values={}",
            data.cid, data.sourceName, data.priority, data.syncUniverse, data.sequence, data.universe, data.startCode, data.slots,
            data.terminated, data.previewData, slotsText(data.values));
    }
    std::string operator()(const SACN::Discovery& discovery) const {
        return fmt::format("discovery cid={} source=\"{}\" page={} lastPage={} universes={}", discovery.cid, discovery.sourceName,
                           discovery.page, discovery.lastPage, fmt::join(discovery.universes, ","));
    }
    std::string operator()(const SACN::Sync&) const { return "sync"; }
};

struct RDMText {
    std::string operator()(const RDM::Response& response) const {
        return fmt::format("response source={} transaction={} type={} pid={:04x} set={:d} data={}:{}", response.source.text(),
                           response.transaction, response.responseType, response.pid, response.isSetResponse, response.data.size(),
                           base::hex(response.data));
    }
};

// Every frame of the recording against its line in the folder Expected.
template <class Parse, class Text>
void compare(const std::string& folder, const std::string& file, Parse parse, Text text) {
    const auto samples = support::samplesFolder();
    if (!samples) GTEST_SKIP() << "no recordings: KESTRELYNE_SAMPLES names no folder, and none lies beside the project";
    const auto* source = std::getenv("KESTRELYNE_SOURCE_DIR");
    if (source == nullptr) GTEST_SKIP() << "KESTRELYNE_SOURCE_DIR is not set";
    const auto frames = support::sampleFrames(*samples / folder / file);
    const auto expected = support::linesOf(std::filesystem::path(source) / "Tests/NetCore/Expected" / file);
    ASSERT_FALSE(expected.empty());
    ASSERT_EQ(frames.size(), expected.size());
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const auto packet = parse(frames[i].bytes);
        EXPECT_EQ(fmt::format("[{}] {}", frames[i].name, packet ? std::visit(text, *packet) : "nothing"), expected[i]);
    }
}

}  // namespace

// Responses are read, with the start code left out; of commands nothing is.
TEST(Samples, RDMOfETC) {
    compare(
        "rdm", "etc_rdm_frames.txt",
        [](base::Bytes frame) -> std::optional<std::variant<RDM::Response>> {
            if (frame.empty() || frame[0] != 0xCC) return std::nullopt;
            return RDM::parse(frame.subspan(1));
        },
        RDMText());
}

TEST(Samples, ArtNetOfOLA) { compare("artnet", "ola_artnet_frames.txt", ArtNet::parse, ArtNetText()); }

TEST(Samples, ArtNetOfGoArtNet) { compare("artnet", "go_artnet_frames.txt", ArtNet::parse, ArtNetText()); }

TEST(Samples, SACNOfRustLight) { compare("sacn", "rustlight_sacn_frames.txt", SACN::parse, SACNText()); }

}  // namespace netcore
