#pragma once
// Traffic of lighting consoles that is watched but not decoded: ports and groups, readable texts and version numbers in it.

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Base/ByteReader.hpp"

/// Pure functions; any thread.
namespace netcore::MANet {

enum class Version { ma2, ma3 };
/// "MA-Net2", "MA-Net3"
std::string_view text(Version version);

inline constexpr std::uint16_t ma3Port = 30020;
inline constexpr std::array<std::uint16_t, 2> ma2Ports = {29998, 29999};
/// 236.4.1.0 to .4, then 239.4.1.0 to .4.
const std::vector<std::string>& ma3Groups();
/// 236.4.0.0 to 236.4.0.255.
const std::vector<std::string>& ma2Groups();

/// Readable texts of at least so many characters: plain ones first, then 16-bit ones, each in order of appearance.
std::vector<std::string> strings(base::Bytes bytes, std::size_t minLength);
/// Version numbers in the texts ("1.9.2", "3.4.0.1"), in order, duplicates included.
std::vector<std::string> versions(const std::vector<std::string>& texts);
/// What travels on a group; the group itself when that is not known.
std::string channelName(const std::string& group);

}  // namespace netcore::MANet
