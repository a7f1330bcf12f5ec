#pragma once
// Tells when the system's adapters or their addresses change (rtnetlink(7)), without asking again and again.

#include <memory>

#include "Base/Function.hpp"

namespace netcore {

/// Calls `changed` on a queue of its own, at most once in 300 ms of changes, for as long as it lives. Without netlink it stays
/// silent.
class AdapterWatch {
public:
    explicit AdapterWatch(base::Function<void()> changed);
    ~AdapterWatch();
    AdapterWatch(const AdapterWatch&) = delete;
    AdapterWatch& operator=(const AdapterWatch&) = delete;

private:
    class Core;
    std::shared_ptr<Core> core_;
};

}  // namespace netcore
