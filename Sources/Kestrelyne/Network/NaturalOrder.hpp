#pragma once
// Orders the keys of a map as people expect of names and addresses.

#include <string_view>

#include "Base/Text.hpp"

namespace kestrelyne {

struct NaturalOrder {
    using is_transparent = void;
    bool operator()(std::string_view left, std::string_view right) const { return base::naturalLess(left, right); }
};

}  // namespace kestrelyne
