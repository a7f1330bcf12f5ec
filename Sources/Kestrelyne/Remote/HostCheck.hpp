#pragma once
// Which Host headers the web interface answers: a page of a stranger whose name was rebound to this computer is refused. Pure; any
// thread.

#include <string_view>

namespace kestrelyne {

/// The header's value as sent, "" when missing; `publicHost` in lower case, "" when there is none. Allowed are: no host,
/// "localhost", names below ".local" and ".ts.net", any dotted quad (a number cannot be rebound; its range is not looked at) and
/// the public host. The port is cut off at the first ":", so that an IPv6 literal is refused.
bool hostAllowed(std::string_view hostHeader, std::string_view publicHost);

}  // namespace kestrelyne
