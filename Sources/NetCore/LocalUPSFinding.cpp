#include "NetCore/LocalUPSFinding.hpp"

#include <algorithm>
#include <utility>

#include "Base/Text.hpp"

namespace netcore {

std::string deviceText(std::string_view told) {
    constexpr std::size_t longest = 64;
    return base::firstCharacters(base::printable(base::trimmed(told)), longest);
}

std::vector<LocalUPS::Entry> LocalUPSNumbers::entries(std::vector<LocalUPSFinding> findings) {
    std::ranges::sort(findings, {}, &LocalUPSFinding::key);
    std::vector<LocalUPS::Entry> entries;
    for (auto& finding : findings) {
        auto number = numbers_.find(finding.key);
        if (number == numbers_.end()) {
            if (numbers_.size() == mostKeys) continue;
            number = numbers_.emplace(finding.key, numbers_.size()).first;
        }
        entries.push_back({"usb-" + std::to_string(number->second), std::move(finding.name), std::move(finding.status)});
    }
    return entries;
}

void ServiceRetry::note(bool answered, base::SteadyTime now) {
    notBefore_.reset();
    if (!answered && !answered_) notBefore_ = now + pause_;
    answered_ = answered;
}

}  // namespace netcore
