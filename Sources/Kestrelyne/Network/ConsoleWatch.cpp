#include "Kestrelyne/Network/ConsoleWatch.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <string_view>
#include <utility>

#include "Kestrelyne/Network/NaturalOrder.hpp"

namespace kestrelyne {

namespace {

constexpr base::Seconds minute{60};

}  // namespace

NetFindings ConsoleWatch::refresh(const std::vector<PacketAccumulator::Controller>& controllers, base::SteadyTime now,
                                  const std::function<std::string(std::uint32_t index)>& interfaceName,
                                  const std::function<std::string(const std::string& ip)>& displayName) {
    if (controllers.empty() && controllers_->empty()) return {};
    std::set<std::string_view> known;
    for (const auto& controller : *controllers_) known.insert(controller.ip);

    NetFindings findings;
    std::vector<ArtControllerState> list;
    list.reserve(controllers.size());
    for (const auto& controller : controllers) {
        const auto span = std::max(base::Seconds(now - controller.firstSeen), shortestSpan);
        list.push_back({.ip = controller.ip,
                        .name = displayName(controller.ip),
                        .interface = interfaceName(controller.interfaceIndex),
                        .lastSeen = controller.lastSeen,
                        .pollsPerMinute = static_cast<int>(std::lround(static_cast<double>(controller.count) * (minute / span)))});
    }
    std::ranges::sort(list, NaturalOrder{}, &ArtControllerState::ip);
    for (const auto& controller : list)
        if (!known.contains(controller.ip))
            findings.push_back(
                {NetEvent::Level::info, fmt::format("Art-Net-Controller erkannt: {} ({})", controller.name, controller.ip)});
    controllers_.set(std::move(list));
    return findings;
}

}  // namespace kestrelyne
