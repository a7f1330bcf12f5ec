#include "NetCore/SACNData.hpp"

#include <algorithm>

#include "Base/Text.hpp"
#include "NetCore/WireFields.hpp"

namespace netcore {

namespace {

using namespace SACN;

// Framing layer (6.2)
constexpr std::size_t priorityAt = 108, syncAddressAt = 109, sequenceAt = 111, optionsAt = 112, universeAt = 113;
constexpr std::uint8_t previewBit = 0x80, terminatedBit = 0x40;

// DMP layer (7)
constexpr std::size_t dmpLengthAt = 115, dmpVectorAt = 117, addressTypeAt = 118, addressIncrementAt = 121, propertyCountAt = 123,
                      startCodeAt = 125, valuesAt = 126, minimumLength = valuesAt;
constexpr std::size_t maximumSlots = 512, dataPacketSize = valuesAt + maximumSlots;
constexpr std::uint8_t dmpSetProperty = 0x02, dmpAddressType = 0xA1;

// "Flags and Length" of a layer that reaches from here to the end of a full packet.
constexpr std::uint16_t flagsAndLength(std::size_t layerAt) {
    return static_cast<std::uint16_t>(0x7000 | (dataPacketSize - layerAt));
}

}  // namespace

std::string DataView::repairedSourceName() const { return base::repairUTF8(sourceName); }

DataPacket DataView::packet() const {
    return {.cid = text(cid),
            .sourceName = repairedSourceName(),
            .priority = priority,
            .syncUniverse = syncUniverse,
            .sequence = sequence,
            .universe = universe,
            .startCode = startCode,
            .slots = slots,
            .terminated = terminated,
            .previewData = previewData,
            .values = {values.begin(), values.end()}};
}

std::optional<DataView> SACN::viewData(base::Bytes packet) {
    const auto found = vectors(packet);
    if (!found || found->root != rootData || found->framing != framingData || packet.size() < minimumLength) return std::nullopt;
    // The start code is the first property.
    const std::size_t slots = std::max<std::size_t>(wire::big16(packet, propertyCountAt), 1) - 1;
    return DataView{.cid = cidOf(packet),
                    .sourceName = wire::beforeZero(packet.subspan(sourceNameAt, sourceNameSize)),
                    .priority = packet[priorityAt],
                    .syncUniverse = wire::big16(packet, syncAddressAt),
                    .sequence = packet[sequenceAt],
                    .universe = wire::big16(packet, universeAt),
                    .startCode = packet[startCodeAt],
                    .slots = static_cast<int>(slots),
                    .terminated = (packet[optionsAt] & terminatedBit) != 0,
                    .previewData = (packet[optionsAt] & previewBit) != 0,
                    .values = packet.subspan(valuesAt, std::min({slots, maximumSlots, packet.size() - valuesAt}))};
}

std::array<std::uint8_t, 638> DMXPackets::sacn(const SACNFields& fields) {
    std::array<std::uint8_t, 638> packet{};
    static_assert(sizeof packet == dataPacketSize);
    const wire::MutableBytes bytes(packet);
    wire::putBig16(bytes, preambleSizeAt, preambleSize);
    wire::put(bytes.subspan(acnIDAt), acnID);
    wire::putBig16(bytes, rootLengthAt, flagsAndLength(rootLengthAt));
    wire::putBig32(bytes, rootVectorAt, rootData);
    wire::put(bytes.subspan(cidAt, sizeof(CID)), fields.cid);
    wire::putBig16(bytes, framingLengthAt, flagsAndLength(framingLengthAt));
    wire::putBig32(bytes, framingVectorAt, framingData);
    wire::putText(bytes.subspan(sourceNameAt, sourceNameSize), fields.sourceName);
    packet[priorityAt] = fields.priority;
    packet[sequenceAt] = fields.sequence;
    packet[optionsAt] = fields.terminated ? terminatedBit : 0;
    wire::putBig16(bytes, universeAt, static_cast<std::uint16_t>(fields.universe));
    wire::putBig16(bytes, dmpLengthAt, flagsAndLength(dmpLengthAt));
    packet[dmpVectorAt] = dmpSetProperty;
    packet[addressTypeAt] = dmpAddressType;
    wire::putBig16(bytes, addressIncrementAt, 1);
    wire::putBig16(bytes, propertyCountAt, maximumSlots + 1);
    wire::put(bytes.subspan(valuesAt), fields.data);
    return packet;
}

}  // namespace netcore
