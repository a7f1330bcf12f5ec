#pragma once
// Where the companions of the network monitor attach. Each may be empty: the monitor then goes without.

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "NetCore/ArtNetRDM.hpp"

namespace kestrelyne {

/// Takes in what arrives of Remote Device Management. Called on the Art-Net socket's queue; must not block.
class RDMReceiver {
public:
    virtual ~RDMReceiver() = default;
    virtual void handleTod(const netcore::ArtNet::TodData& tod, const std::string& sender) = 0;
    virtual void handleRdm(const netcore::ArtNet::RdmData& rdm) = 0;
    /// The tables of devices are forgotten. Main thread.
    virtual void clear() = 0;
};

/// A lamp of the patch on a universe, as the DMX view shows it.
struct PatchedFixture {
    std::string fid, name, type;
    int start = 1;  // 1…512
    int footprint = 0;
};

struct NetworkSeams {
    std::shared_ptr<RDMReceiver> rdm;
    /// The power distributors are watched with the network.
    std::function<void()> startStageSmarts, stopStageSmarts;
    /// Art-Net universes of the patch.
    std::function<std::set<int>()> patchUniverses;
};

}  // namespace kestrelyne
