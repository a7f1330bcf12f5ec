// Any datagram on the Art-Net port: the views and the values agree, nothing is read beyond the datagram, and what is built from
// what was read is read the same again.

#include <algorithm>
#include <cstdint>

#include "Base/Require.hpp"
#include "Base/Text.hpp"
#include "NetCore/ArtNet.hpp"

using namespace netcore;

namespace {

bool isRepaired(const std::string& text) { return base::repairUTF8(text) == text; }

struct Check {
    base::Bytes bytes;

    void operator()(const ArtNet::PollReply& reply) const {
        KESTRELYNE_REQUIRE(reply.ports.size() <= 8, "four ports of two directions at most");
        for (const auto& port : reply.ports)
            KESTRELYNE_REQUIRE(port.universe >= 0 && port.universe <= 0x7FFF, "a Port-Address has 15 bits");
        KESTRELYNE_REQUIRE(isRepaired(reply.shortName) && isRepaired(reply.longName) && isRepaired(reply.nodeReport),
                           "names are UTF-8");
        KESTRELYNE_REQUIRE(reply.mac.size() == 17, "a MAC has six bytes");
        const auto again = ArtNet::parsePollReply(
            ArtNet::pollReplyPacket({.ip = reply.ip, .shortName = reply.shortName, .bindIndex = reply.bindIndex}));
        KESTRELYNE_REQUIRE(again && again->ip == reply.ip && again->bindIndex == reply.bindIndex, "what is sent is read the same");
        KESTRELYNE_REQUIRE(reply.shortName.starts_with(again->shortName), "names are only cut");
    }
    void operator()(const ArtNet::DmxInfo& dmx) const {
        KESTRELYNE_REQUIRE(dmx.data.size() <= 512 && dmx.data.size() <= bytes.size() - 18, "only slots that were sent");
        KESTRELYNE_REQUIRE(dmx.data.size() <= static_cast<std::size_t>(dmx.length), "only slots that were declared");
        const auto packet = DMXPackets::artDmx(dmx.universe, static_cast<std::uint8_t>(dmx.sequence), dmx.data);
        const auto again = ArtNet::viewDmx(packet);
        KESTRELYNE_REQUIRE(again && again->universe == (dmx.universe & 0x7FFF) && again->sequence == dmx.sequence &&
                               std::equal(dmx.data.begin(), dmx.data.end(), again->data.begin()),
                           "what is sent is read the same");
    }
    void operator()(const ArtNet::TimeCode& code) const {
        KESTRELYNE_REQUIRE(code.text().size() >= 11 && !code.fpsLabel().empty(), "any time has a text");
    }
    void operator()(const ArtNet::TodData& tod) const {
        KESTRELYNE_REQUIRE(28 + 6 * tod.uids.size() <= bytes.size(), "only devices that were sent");
    }
    void operator()(const ArtNet::RdmData& rdm) const {
        const auto again = ArtNet::parseRdm(ArtNet::rdmPacket(rdm.universe, rdm.packet));
        KESTRELYNE_REQUIRE(again && again->universe == (rdm.universe & 0x7FFF) && again->packet == rdm.packet,
                           "what is sent is read the same");
    }
    void operator()(const ArtNet::Other&) const {}
    void operator()(const ArtNet::Poll&) const {}
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const base::Bytes bytes(data, size);
    const auto packet = ArtNet::parse(bytes);
    const auto view = ArtNet::viewDmx(bytes);
    const auto* dmx = packet ? std::get_if<ArtNet::DmxInfo>(&*packet) : nullptr;
    KESTRELYNE_REQUIRE(view.has_value() == (dmx != nullptr), "view and value agree");
    if (view) KESTRELYNE_REQUIRE(view->info() == *dmx, "view and value agree");
    if (packet) std::visit(Check{bytes}, *packet);
    return 0;
}
