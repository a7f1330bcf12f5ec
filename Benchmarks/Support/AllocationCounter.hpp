#pragma once
// How often memory was asked for.

#include <cstdint>

namespace support {

/// Calls of operator new on this thread since it began.
std::uint64_t allocations();

}  // namespace support
