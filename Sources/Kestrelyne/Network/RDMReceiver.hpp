#pragma once
// Who takes in what arrives of Remote Device Management.

#include <string>

#include "NetCore/ArtNetRDM.hpp"

namespace kestrelyne {

/// Called on the Art-Net socket's queue; must not block.
class RDMReceiver {
public:
    virtual ~RDMReceiver() = default;
    virtual void handleTod(const netcore::ArtNet::TodData& tod, const std::string& sender) = 0;
    virtual void handleRdm(const netcore::ArtNet::RdmData& rdm) = 0;
    /// The tables of devices are forgotten. Main thread.
    virtual void clear() = 0;
};

}  // namespace kestrelyne
