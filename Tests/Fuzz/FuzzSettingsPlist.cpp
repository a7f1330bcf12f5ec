#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "Kestrelyne/App/SettingsPlist.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kestrelyne;
    try {
        const auto values = settingsFromPlist({reinterpret_cast<const char*>(data), size});
        try {
            // What was taken over is written and read again as it is.
            if (settingsFromPlist(settingsToPlist(values)) != values) std::abort();
        } catch (const PlistError&) {
            // A text that XML can name but not carry.
        }
    } catch (const PlistError&) {}
    return 0;
}
