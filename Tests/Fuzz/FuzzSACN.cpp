// Any datagram on the sACN port: the views and the values agree, nothing is read beyond the datagram, and what is built from what
// was read is read the same again.

#include <algorithm>
#include <cstdint>

#include "Base/Require.hpp"
#include "Base/Text.hpp"
#include "NetCore/SACN.hpp"

using namespace netcore;

namespace {

bool isRepaired(const std::string& text) { return base::repairUTF8(text) == text; }

void check(const SACN::DataView& view, const SACN::DataPacket& packet, std::size_t size) {
    KESTRELYNE_REQUIRE(view.packet() == packet, "view and value agree");
    KESTRELYNE_REQUIRE(packet.values.size() <= 512 && packet.values.size() <= size - 126, "only slots that were sent");
    KESTRELYNE_REQUIRE(packet.values.size() <= static_cast<std::size_t>(packet.slots), "only slots that were declared");
    KESTRELYNE_REQUIRE(packet.cid.size() == 32 && isRepaired(packet.sourceName), "texts are texts");

    const auto sent = DMXPackets::sacn({.universe = view.universe,
                                        .sequence = static_cast<std::uint8_t>(view.sequence),
                                        .data = view.values,
                                        .cid = view.cid,
                                        .sourceName = packet.sourceName,
                                        .priority = static_cast<std::uint8_t>(view.priority),
                                        .terminated = view.terminated});
    const auto again = SACN::viewData(sent);
    KESTRELYNE_REQUIRE(again && again->universe == view.universe && again->sequence == view.sequence && again->cid == view.cid &&
                           again->priority == view.priority && again->terminated == view.terminated && again->slots == 512 &&
                           std::equal(view.values.begin(), view.values.end(), again->values.begin()),
                       "what is sent is read the same");
    KESTRELYNE_REQUIRE(packet.sourceName.starts_with(again->repairedSourceName()), "names are only cut, between characters");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const base::Bytes bytes(data, size);
    const auto packet = SACN::parse(bytes);
    const auto view = SACN::viewData(bytes);
    const auto* values = packet ? std::get_if<SACN::DataPacket>(&*packet) : nullptr;
    KESTRELYNE_REQUIRE(view.has_value() == (values != nullptr), "view and value agree");
    if (view) check(*view, *values, size);
    if (packet)
        if (const auto* discovery = std::get_if<SACN::Discovery>(&*packet))
            KESTRELYNE_REQUIRE(discovery->universes.size() == (size - 120) / 2 && isRepaired(discovery->sourceName),
                               "only universes that were sent");
    return 0;
}
