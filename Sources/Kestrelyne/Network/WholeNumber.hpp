#pragma once
// Numbers in sentences.

#include <fmt/format.h>

#include <cmath>
#include <string>

namespace kestrelyne {

/// Cut to the whole number towards zero, not rounded: "69" of 69.9.
inline std::string wholeNumber(double value) {
    return fmt::format("{:.0f}", std::trunc(value) + 0.0);  // no "-0"
}

}  // namespace kestrelyne
