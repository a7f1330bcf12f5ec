#include "Kestrelyne/Remote/TailscaleInfo.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "Base/JSONFields.hpp"
#include "Base/Text.hpp"

namespace kestrelyne {

namespace {

bool isProgram(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) && access(path.c_str(), X_OK) == 0;
}

// RFC 6598: 100.64.0.0/10.
bool isInSharedRange(std::string_view address) {
    const auto parts = base::split(address, '.', true);
    if (parts.size() != 4) return false;
    std::vector<long long> numbers;
    for (const auto part : parts) {
        const auto number = base::parseInteger(part);
        if (!number) return false;
        numbers.push_back(*number);
    }
    return numbers[0] == 100 && numbers[1] >= 64 && numbers[1] <= 127;
}

// Of foreign JSON: what has another type counts as missing.
const base::JSON* object(const base::JSON& parent, const char* key) {
    const auto* value = base::member(parent, key);
    return value && value->is_object() ? value : nullptr;
}
std::optional<std::string> text(const base::JSON& parent, const char* key) {
    const auto* value = base::member(parent, key);
    if (!value || !value->is_string()) return std::nullopt;
    return value->get<std::string>();
}
bool isTrue(const base::JSON& parent, const char* key) {
    const auto* value = base::member(parent, key);
    return value && value->is_boolean() && value->get<bool>();
}
std::vector<std::string> texts(const base::JSON& parent, const char* key) {
    std::vector<std::string> result;
    const auto* list = base::member(parent, key);
    if (!list || !list->is_array()) return result;
    for (const auto& item : *list)
        if (item.is_string()) result.push_back(item.get<std::string>());
    return result;
}

}  // namespace

std::vector<std::string> TailscaleInfo::programPaths() {
    std::vector<std::string> paths;
    // For a program that lies elsewhere.
    if (const char* path = std::getenv("KESTRELYNE_TAILSCALE"); path && *path)
        paths.emplace_back(path);  // NOLINT(concurrency-mt-unsafe)
    for (const char* path :
         {"/usr/local/bin/tailscale", "/opt/homebrew/bin/tailscale", "/Applications/Tailscale.app/Contents/MacOS/Tailscale",
          "/usr/bin/tailscale"})  // the last is where packages of Linux distributions put it
        paths.emplace_back(path);
    return paths;
}

std::optional<std::string> TailscaleInfo::currentIP(const std::vector<base::HostAddress>& addresses) {
    const auto found = std::ranges::find_if(addresses, isInSharedRange, &base::HostAddress::address);
    if (found == addresses.end()) return std::nullopt;
    return found->address;
}

std::optional<base::ChildResult> TailscaleInfo::run(const base::ChildRunner& runner, const std::string& path,
                                                    const std::vector<std::string>& arguments, base::Seconds timeout) {
    auto result = runner(path, arguments, timeout);
    if (result && result->timedOut)
        result->output += "\n(abgebrochen nach " + std::to_string(static_cast<long long>(timeout.count())) + " s)";
    return result;
}

TailscaleInfo TailscaleInfo::detect(std::uint16_t port, const std::vector<base::HostAddress>& addresses,
                                    const std::vector<std::string>& paths, const base::ChildRunner& runner) {
    TailscaleInfo info;
    info.ip = currentIP(addresses);
    const auto program = std::ranges::find_if(paths, isProgram);
    if (program == paths.end()) return info;
    info.cliPath = *program;
    const auto status = run(runner, *program, {"status", "--json"}, callLimit);
    if (!status || !info.readStatus(status->output)) return info;
    const auto serve = run(runner, *program, {"serve", "status", "--json"}, callLimit);
    info.serveHTTPS = serve && servesPort(serve->output, port);
    return info;
}

bool TailscaleInfo::readStatus(std::string_view output) {
    // Warnings of the program (another version than its service, say) come on the same pipe and stand around the object.
    const auto begin = output.find('{'), end = output.rfind('}');
    if (begin == std::string_view::npos || end == std::string_view::npos || end < begin) return false;
    base::JSON status;
    try {
        status = base::parseJSON(output.substr(begin, end + 1 - begin));
    } catch (const base::DecodeError&) {
        return false;
    }
    if (!status.is_object()) return false;

    const auto nothing = base::JSON::object();
    const auto* self = object(status, "Self");
    if (!self) self = &nothing;
    if (auto name = text(*self, "DNSName")) {
        if (name->ends_with('.')) name->pop_back();
        if (!name->empty()) dnsName = std::move(name);
    }
    online = isTrue(*self, "Online") || text(status, "BackendState") == "Running";
    certDomains = texts(status, "CertDomains");
    if (const auto* peers = object(status, "Peer"))
        for (const auto& peer : *peers)
            if (peer.is_object() && isTrue(peer, "Online"))
                if (auto name = text(peer, "HostName")) peersOnline.push_back(std::move(*name));
    std::ranges::sort(peersOnline);
    if (!ip) {
        const auto own = texts(*self, "TailscaleIPs");
        const auto v4 =
            std::ranges::find_if(own, [](const std::string& address) { return address.find('.') != std::string::npos; });
        if (v4 != own.end()) ip = *v4;
    }
    return true;
}

bool TailscaleInfo::servesPort(std::string_view output, std::uint16_t port) {
    // The port ends where its digits end: 8470 is not 84701.
    for (const std::string_view host : {"127.0.0.1:", "localhost:"}) {
        const auto address = std::string(host) + std::to_string(port);
        for (auto at = output.find(address); at != std::string_view::npos; at = output.find(address, at + 1)) {
            const auto next = at + address.size();
            if (next == output.size() || output[next] < '0' || output[next] > '9') return true;
        }
    }
    return false;
}

}  // namespace kestrelyne
