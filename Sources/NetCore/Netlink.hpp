#pragma once
// The system's own lists of adapters, addresses and neighbours (rtnetlink(7)): needs no right, tells of the calling thread's
// network namespace. Any thread.

#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <string>

#include "Base/ByteReader.hpp"
#include "Base/FileDescriptor.hpp"

namespace netcore::netlink {

/// A routing socket that hears the groups (RTMGRP_…; 0 for none); without a descriptor when the system refuses.
base::FileDescriptor openSocket(std::uint32_t groups);

/// Asks for a list (RTM_GETLINK …) of one address family and calls `entry` with the body of each answer. False when the system gave
/// no whole list; entries may have been told by then, and are told again from the beginning when the list changed meanwhile:
/// `begin` runs before each attempt.
bool dump(std::uint16_t request, std::uint8_t family, const std::function<void()>& begin,
          const std::function<void(base::Bytes)>& entry);

/// The value at the front of the bytes, which are in the computer's own order; absent when they are too short.
template <class Value>
std::optional<Value> read(base::Bytes bytes) {
    if (bytes.size() < sizeof(Value)) return std::nullopt;
    Value value;
    std::memcpy(&value, bytes.data(), sizeof value);
    return value;
}

/// The first attribute of the type among those that stand behind a header of `headerSize` bytes.
std::optional<base::Bytes> attribute(base::Bytes body, std::size_t headerSize, std::uint16_t type);
/// The same, one level down.
std::optional<base::Bytes> nested(base::Bytes attributes, std::uint16_t type);
/// The text before a closing zero.
std::string text(base::Bytes attribute);

}  // namespace netcore::netlink
