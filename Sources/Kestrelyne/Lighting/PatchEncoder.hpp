#pragma once
// The patch as the text of its file, made in steps: a rig of many thousand lamps takes longer than the main thread may be held.

#include <cstddef>
#include <string>

#include "Base/JSONWriter.hpp"
#include "Kestrelyne/Lighting/Patch.hpp"

namespace kestrelyne {

/// The patch stays where it is and as it is while it is encoded. Pure; any thread.
class PatchEncoder {
public:
    explicit PatchEncoder(const Patch& patch);
    /// Encodes so many fixtures more. True when nothing is left to do.
    bool step(std::size_t fixtures);
    /// The text, once step() has answered true.
    std::string take();
    /// All in one go.
    static std::string text(const Patch& patch);

private:
    const Patch& patch_;
    base::JSONWriter writer_;
    std::size_t next_ = 0;
    bool ended_ = false;
};

}  // namespace kestrelyne
