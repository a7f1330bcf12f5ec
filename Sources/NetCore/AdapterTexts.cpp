#include <algorithm>

#include "Base/Text.hpp"
#include "NetCore/AdapterEntry.hpp"
#include "NetCore/HardwareAddress.hpp"
#include "NetCore/NetInterface.hpp"

namespace netcore::AdapterTexts {

namespace {

// The rest of the line behind the beginning; absent when it begins otherwise.
std::optional<std::string_view> behind(std::string_view line, std::string_view beginning) {
    if (!line.starts_with(beginning)) return std::nullopt;
    return line.substr(beginning.size());
}

std::vector<std::string_view> linesOf(std::string_view text) {
    auto lines = base::split(text, '\n', true);
    for (auto& line : lines)
        if (line.ends_with('\r')) line.remove_suffix(1);
    return lines;
}

bool isText(std::string_view bytes) { return base::repairUTF8(bytes) == bytes; }

}  // namespace

std::map<std::string, std::string> parseHardwarePorts(std::string_view text) {
    std::map<std::string, std::string> names;
    if (!isText(text)) return names;
    std::optional<std::string_view> port;
    for (const auto line : linesOf(text)) {
        if (const auto name = behind(line, "Hardware Port: ")) port = name;
        const auto device = behind(line, "Device: ");
        if (device && port) names.insert_or_assign(std::string(*device), std::string(*port));
    }
    return names;
}

std::map<std::string, Link> parseInterfaces(std::string_view text) {
    std::map<std::string, Link> links;
    if (!isText(text)) return links;
    Link* current = nullptr;
    for (const auto line : linesOf(text)) {
        const auto colon = line.find(':');
        if (colon != std::string_view::npos && !line.starts_with(' ') && !line.starts_with('\t')) {
            current = &links[std::string(line.substr(0, colon))];
            continue;
        }
        if (current == nullptr) continue;
        const auto entry = base::trimmed(line);
        if (entry.starts_with("status:")) current->linkActive = entry.ends_with("active") && !entry.ends_with("inactive");
        const auto words = base::split(entry, ' ', false);
        if (entry.starts_with("inet ") && words.size() > 1 && !current->ipv4) current->ipv4 = std::string(words[1]);
    }
    return links;
}

std::vector<NetInterface::Adapter> adapters(const std::map<std::string, std::string>& names,
                                            const std::map<std::string, Link>& links) {
    std::vector<NetInterface::Adapter> result;
    for (const auto& [device, name] : names) {
        const auto link = links.find(device);
        result.push_back({.device = device,
                          .name = NetInterface::uniqueName(device, names),
                          .ipv4 = link == links.end() ? std::nullopt : link->second.ipv4,
                          .linkActive = link != links.end() && link->second.linkActive});
    }
    sortAdapters(result);
    return result;
}

std::vector<std::uint8_t> parseEther(std::string_view text) {
    for (const auto line : linesOf(text)) {
        const auto entry = base::trimmed(line);
        if (!entry.starts_with("ether ")) continue;
        const auto words = base::split(entry, ' ', false);
        const auto address = words.size() > 1 ? parseHardwareAddress(words[1]) : std::nullopt;
        return address ? std::vector<std::uint8_t>(address->begin(), address->end()) : std::vector<std::uint8_t>();
    }
    return {};
}

}  // namespace netcore::AdapterTexts
