// The stored list of meters: whatever bytes a settings file holds, reading ends with a list or an error, and a list can be stored
// again.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "Base/JSONFields.hpp"
#include "Kestrelyne/Metering/Device.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        const auto devices = kestrelyne::decodeDevices(std::string_view(reinterpret_cast<const char*>(data), size));
        for (const auto& device : devices) {
            device.connectionSummary();
            device.makeTransport();
        }
        if (kestrelyne::decodeDevices(kestrelyne::encodeDevices(devices)).size() != devices.size()) std::abort();
    } catch (const base::DecodeError&) {}
    return 0;
}
