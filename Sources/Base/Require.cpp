#include "Base/Require.hpp"

#include <cstdio>
#include <cstdlib>

namespace base {

void requireFailed(const char* file, int line, const char* condition, const char* why) {
    std::fprintf(stderr, "%s:%d: %s (%s)\n", file, line, why, condition);
    std::abort();
}

}  // namespace base
