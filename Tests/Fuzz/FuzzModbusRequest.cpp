// What a client sends to the simulated meter: frames of a stream, answered as the server does.

#include <cstdlib>

#include "Base/Clock.hpp"
#include "MeterCore/DemoDevice.hpp"
#include "MeterCore/ModbusFrame.hpp"

using namespace metercore;

namespace {

void require(bool condition) {
    if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static DemoDevice device(base::SystemClock::shared(), 1);
    base::Bytes rest(data, size);
    while (const auto header = ModbusFrame::parseHeader(rest)) {
        if (!ModbusFrame::lengthIsValid(*header)) return 0;
        const auto frame = ModbusFrame::frameSize(*header);
        if (frame > rest.size()) return 0;
        const auto body = rest.subspan(ModbusFrame::headerSize, frame - ModbusFrame::headerSize);
        rest = rest.subspan(frame);

        std::vector<std::uint8_t> answer;
        const auto request = ModbusFrame::parseRequest(body);
        if (const auto* read = std::get_if<ModbusFrame::ReadRequest>(&request)) {
            answer = ModbusFrame::encodeReadAnswer(*header, read->function,
                                                   device.readRegisters(read->function, read->address, read->count));
            require(answer.size() == ModbusFrame::headerSize + 2 + 2u * read->count);
        } else if (const auto* write = std::get_if<ModbusFrame::WriteRequest>(&request)) {
            answer = ModbusFrame::encodeWriteAnswer(*header, write->address, write->value);
        } else {
            const auto& refusal = std::get<ModbusFrame::Refusal>(request);
            answer = ModbusFrame::encodeException(*header, refusal.function, refusal.code);
        }
        const auto back = ModbusFrame::parseHeader(answer);
        require(back && back->transactionID == header->transactionID && back->unitID == header->unitID);
        require(ModbusFrame::lengthIsValid(*back) && ModbusFrame::frameSize(*back) == answer.size());
    }
    return 0;
}
