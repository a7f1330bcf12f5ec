// Any archive: it is refused with a text, or each of its entries is found, and is refused or given within the limits.

#include <cstdint>

#include "Base/Require.hpp"
#include "Kestrelyne/Lighting/ImportError.hpp"
#include "Kestrelyne/Lighting/ZipArchive.hpp"

using namespace kestrelyne;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t most = 1u << 20, largest = 100000;
    try {
        ZipArchive archive(std::string(reinterpret_cast<const char*>(data), size), "a.mvr", {.entries = 100, .unpacked = most});
        const auto names = archive.entries();
        KESTRELYNE_REQUIRE(names.size() <= 100, "a limit of entries");
        std::size_t sum = 0;
        for (const auto& name : names) {
            const auto entry = archive.find(name);
            KESTRELYNE_REQUIRE(entry.has_value(), "what is listed is found");
            try {
                const auto content = archive.read(*entry, largest);
                KESTRELYNE_REQUIRE(content.size() <= largest, "a limit of its own");
                sum += content.size();
            } catch (const ImportError& error) {
                KESTRELYNE_REQUIRE(std::string_view(error.what()).find(" in a.mvr ") != std::string_view::npos,
                                   "it names the archive");
            }
        }
        KESTRELYNE_REQUIRE(sum <= most, "a limit of all together");
    } catch (const ImportError& error) {
        KESTRELYNE_REQUIRE(std::string_view(error.what()).starts_with("a.mvr "), "it names the archive");
    }
    return 0;
}
