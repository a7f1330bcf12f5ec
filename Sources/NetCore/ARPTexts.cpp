#include <netinet/in.h>

#include <algorithm>

#include "Base/Text.hpp"
#include "NetCore/ARPTable.hpp"
#include "NetCore/HardwareAddress.hpp"
#include "NetCore/IPv4.hpp"

namespace netcore::ARPTexts {

namespace {

// A row of one host; absent when it is a group, incomplete or no row at all.
std::optional<ARPRow> row(std::string_view ip, std::string_view mac, std::string_view device) {
    const auto address = ipToUInt32(ip);
    const auto hardware = parseHardwareAddress(mac);
    if (!address || !hardware || !isHost(*hardware) || IN_MULTICAST(*address) || *address == INADDR_BROADCAST) return std::nullopt;
    return ARPRow{.ip = std::string(ip), .mac = hardwareAddressText(*hardware), .device = base::repairUTF8(device)};
}

// The word behind the word; empty when there is none.
std::string_view wordBehind(const std::vector<std::string_view>& words, std::string_view word) {
    const auto found = std::ranges::find(words, word);
    return found == words.end() || found + 1 == words.end() ? std::string_view() : *(found + 1);
}

std::vector<std::string_view> wordsOf(std::string_view line) { return base::split(base::trimmed(line), ' ', false); }

}  // namespace

std::vector<ARPRow> parseARP(std::string_view text) {
    std::vector<ARPRow> rows;
    for (const auto line : base::split(text, '\n', false)) {
        const auto open = line.find('('), close = line.find(')', open == std::string_view::npos ? 0 : open);
        if (open == std::string_view::npos || close == std::string_view::npos) continue;
        const auto words = wordsOf(line.substr(close + 1));
        const auto device = wordBehind(words, "on");
        if (device.empty()) continue;
        if (auto found = row(line.substr(open + 1, close - open - 1), wordBehind(words, "at"), device))
            rows.push_back(std::move(*found));
    }
    return rows;
}

std::vector<ARPRow> parseProc(std::string_view text) {
    // IP address, HW type, Flags, HW address, Mask, Device.
    constexpr std::size_t ipAt = 0, flagsAt = 2, macAt = 3, deviceAt = 5, columns = 6;
    std::vector<ARPRow> rows;
    for (const auto line : base::split(text, '\n', false)) {
        const auto words = wordsOf(line);
        if (words.size() != columns || words[flagsAt] == "0x0") continue;
        if (auto found = row(words[ipAt], words[macAt], words[deviceAt])) rows.push_back(std::move(*found));
    }
    return rows;
}

}  // namespace netcore::ARPTexts
