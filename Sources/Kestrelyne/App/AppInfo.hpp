#pragma once
// What the program says about itself. Any thread.

#include <string>

namespace kestrelyne::AppInfo {

/// "0.1.0".
const std::string& version();
/// The build number; "0" for a build without one.
const std::string& build();
/// One line.
const std::string& copyright();
/// "Brantholme <version> (<build>)".
std::string full();

}  // namespace kestrelyne::AppInfo
