#pragma once
// A URL reference (RFC 3986, 4.1) as the target of a request names it: "/path?query", "//host/path", "http://host/path".

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace kestrelyne {

struct URLReference {
    std::string host;  // lower case, without user and port; "" when there is none
    std::string path;  // percent-decoded; dot segments stay
    std::map<std::string, std::string>
        query;  // percent-decoded ("+" stays); an item without "=" maps to ""; the last of a name counts
};

/// Absent when a percent escape of path or query is broken or does not give UTF-8, or when a colon in the first segment follows no
/// scheme. Characters that RFC 3986 wants escaped are taken as they are, as browsers send some of them. Pure; any thread.
std::optional<URLReference> parseURLReference(std::string_view text);

}  // namespace kestrelyne
