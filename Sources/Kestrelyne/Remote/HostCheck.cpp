#include "Kestrelyne/Remote/HostCheck.hpp"

#include <algorithm>

#include "Base/Text.hpp"

namespace kestrelyne {

namespace {

bool isNumber(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

bool isDottedQuad(std::string_view host) {
    const auto parts = base::split(host, '.', true);
    return parts.size() == 4 && std::ranges::all_of(parts, isNumber);
}

}  // namespace

bool hostAllowed(std::string_view hostHeader, std::string_view publicHost) {
    const auto host = base::lowerASCII(hostHeader.substr(0, hostHeader.find(':')));
    return host.empty() || host == "localhost" || host.ends_with(".ts.net") || host.ends_with(".local") || isDottedQuad(host) ||
           host == publicHost;
}

}  // namespace kestrelyne
