#pragma once
// Where the companions of the network monitor attach. Each may be empty: the monitor then goes without.

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace kestrelyne {

struct NetworkSeams {
    /// The power distributors are watched with the network.
    std::function<void()> startStageSmarts, stopStageSmarts;
    /// Universes of the patch: as Art-Net has them, and as sACN does.
    std::function<std::set<int>()> patchUniverses, patchSACNUniverses;
};

}  // namespace kestrelyne
