// The stored alarm settings and the stored alarm log of a meter; the first byte chooses.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "Base/JSONFields.hpp"
#include "Kestrelyne/Metering/AlarmRule.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
    try {
        if (data[0] % 2 == 0) {
            const auto config = kestrelyne::decodeAlarmConfig(text);
            for (const auto& rule : config.rules) rule.summary();
            if (kestrelyne::decodeAlarmConfig(kestrelyne::encodeAlarmConfig(config)).rules.size() != config.rules.size())
                std::abort();
        } else {
            std::string list = "[";
            for (const auto& event : kestrelyne::decodeAlarmLog(text))
                list += (list.size() > 1 ? "," : "") + kestrelyne::encodeAlarmEvent(event);
            kestrelyne::decodeAlarmLog(list + "]");
        }
    } catch (const base::DecodeError&) {}
    return 0;
}
