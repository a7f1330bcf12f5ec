#pragma once
// sACN universe discovery: which universes a source sends (ANSI E1.31-2018, 4.3 and 8).

#include <optional>
#include <string>
#include <vector>

#include "Base/ByteReader.hpp"

namespace netcore::SACN {

struct Discovery {
    std::string cid = {};         // 32 lower-case hexadecimal digits
    std::string sourceName = {};  // up to 64 bytes on the wire; foreign text, valid UTF-8 after repair
    int page = 0;                 // of a list that spans several packets, from 0
    int lastPage = 0;
    std::vector<int> universes = {};  // of this page, as sent
    bool operator==(const Discovery&) const = default;
};

/// Reads a universe discovery packet; absent when the datagram is none or shorter than 120 bytes. The list reaches to the end of
/// the datagram; an odd last byte does not count. Pure; any thread.
std::optional<Discovery> parseDiscovery(base::Bytes packet);

}  // namespace netcore::SACN
