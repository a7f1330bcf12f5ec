// What a meter answers: header and body as the client reads them. The first four bytes choose the request, so that byte counts
// match.

#include <algorithm>
#include <cstdlib>

#include "Base/ByteReader.hpp"
#include "MeterCore/JanitzaRegisterMap.hpp"
#include "MeterCore/ModbusFrame.hpp"
#include "MeterCore/ModbusTransport.hpp"

using namespace metercore;

namespace {

void require(bool condition) {
    if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    base::ByteReader reader({data, size});
    const auto choice = reader.u16(), address = reader.u16();
    if (!choice || !address) return 0;
    const std::uint8_t function = *choice & 0x8000 ? ModbusFrame::readInputRegisters : ModbusFrame::readHoldingRegisters;
    const auto count = static_cast<std::uint16_t>(1 + *choice % ModbusTransport::maximumCount);

    auto rest = reader.rest();
    while (const auto header = ModbusFrame::parseHeader(rest)) {
        if (!ModbusFrame::lengthIsValid(*header)) return 0;
        const auto frame = ModbusFrame::frameSize(*header);
        require(frame > ModbusFrame::headerSize && frame <= ModbusFrame::maximumSize);
        if (frame > rest.size()) return 0;
        const auto body = rest.subspan(ModbusFrame::headerSize, frame - ModbusFrame::headerSize);
        rest = rest.subspan(frame);

        const auto answer = ModbusFrame::parseReadAnswer(body, function, count);
        if (const auto* registers = std::get_if<std::vector<std::uint16_t>>(&answer)) {
            require(registers->size() == count);
            auto values = JanitzaRegisterMap::decode(*registers);
            require(values.size() <= JanitzaRegisterMap::measurements().size());
            values.overlay(JanitzaRegisterMap::decodeBlock(*registers, *address));
            JanitzaRegisterMap::addDerived(values);
            for (int last = -1; const auto& [id, value] : values) {
                require(id > last);
                last = id;
            }
            // What was understood is what a server with these registers would have said.
            const auto again = ModbusFrame::encodeReadAnswer(*header, function, *registers);
            require(std::equal(again.begin() + ModbusFrame::headerSize, again.end(), body.begin()));
        } else {
            require(!std::get<ModbusError>(answer).description().empty());
        }
        if (!ModbusFrame::checkWriteAnswer(body, *address, count)) require(body.size() >= 5);
    }
    return 0;
}
