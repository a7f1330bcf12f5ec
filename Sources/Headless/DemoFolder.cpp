#include "DemoFolder.hpp"

#include <netinet/in.h>
#include <stdlib.h>
#include <sys/socket.h>

#include <cerrno>
#include <stdexcept>
#include <string>

#include "Base/FileDescriptor.hpp"
#include "Base/Text.hpp"
#include "Base/UUID.hpp"

namespace kestrelyne {

DemoFolder::DemoFolder() {
    std::error_code error;
    const auto parent = std::filesystem::temp_directory_path(error);
    auto name = ((error ? "/tmp" : parent) / "kestrelyne-demo-XXXXXX").string();
    if (!mkdtemp(name.data()))
        throw std::runtime_error("Der Ordner der Demo „" + name + "“ lässt sich nicht anlegen: " + base::errnoText(errno));
    path_ = name;
}

void DemoFolder::remove(const std::filesystem::path& path) {
    constexpr int attempts = 5;
    for (int i = 0; i < attempts; ++i) {
        std::error_code error;
        std::filesystem::remove_all(path, error);
        if (!error) return;
    }
}

namespace {

/// Somebody listens on all addresses or on loopback, IPv4 or IPv6.
bool isTaken(int port) {
    const base::FileDescriptor probe(socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const int off = 0, on = 1;
    sockaddr_in6 all{};
    all.sin6_family = AF_INET6;
    all.sin6_port = htons(static_cast<in_port_t>(port));
    if (probe && setsockopt(probe.get(), IPPROTO_IPV6, IPV6_V6ONLY, &off, sizeof off) == 0 &&
        setsockopt(probe.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0)
        return (bind(probe.get(), reinterpret_cast<const sockaddr*>(&all), sizeof all) != 0 || listen(probe.get(), 1) != 0) &&
               errno == EADDRINUSE;
    // A computer without IPv6.
    const base::FileDescriptor old(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in any{};
    any.sin_family = AF_INET;
    any.sin_port = htons(static_cast<in_port_t>(port));
    setsockopt(old.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    return (bind(old.get(), reinterpret_cast<const sockaddr*>(&any), sizeof any) != 0 || listen(old.get(), 1) != 0) &&
           errno == EADDRINUSE;
}

}  // namespace

int freePort(int port) {
    constexpr int highest = 65535;
    for (int candidate = port; candidate <= highest; ++candidate)
        if (!isTaken(candidate)) return candidate;
    return port;
}

std::string randomDigits(std::size_t count) {
    constexpr unsigned fair = 250;  // the largest multiple of ten that a byte holds
    std::string digits;
    while (digits.size() < count) {
        const auto byte = static_cast<unsigned char>(base::randomBytes(1)[0]);
        if (byte < fair) digits += static_cast<char>('0' + byte % 10);
    }
    return digits;
}

}  // namespace kestrelyne
