#pragma once
// Time and findings as the tests of the watchers write them.

#include <algorithm>
#include <string>
#include <vector>

#include "Kestrelyne/Network/NetEvent.hpp"

namespace kestrelyne {

/// So many seconds after the test began, on both clocks.
inline base::Moment at(double seconds) {
    const auto passed = base::nanoseconds(base::Seconds(seconds));
    return {base::WallTime(std::chrono::seconds(1782900000)) + passed, base::SteadyTime(std::chrono::seconds(100000)) + passed};
}

/// "alarm: IP-Konflikt: …": level and text, in the order in which they are told.
inline std::vector<std::string> told(const NetFindings& findings) {
    std::vector<std::string> lines;
    for (const auto& finding : findings) lines.push_back(std::string(word(finding.level)) + ": " + finding.text);
    return lines;
}

using Lines = std::vector<std::string>;

}  // namespace kestrelyne
