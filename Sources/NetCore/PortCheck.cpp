#include "NetCore/PortCheck.hpp"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>

#include "Base/FileDescriptor.hpp"
#include "NetCore/Deadline.hpp"
#include "NetCore/IPv4.hpp"
#include "NetCore/SocketAddress.hpp"

namespace netcore::PortCheck {

bool isOpen(const std::string& ip, std::uint16_t port, base::Seconds timeout) {
    const auto address = ipToUInt32(ip);
    if (!address) return false;
    const base::FileDescriptor descriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!descriptor) return false;
    const auto target = socketAddress(*address, port);
    if (connect(descriptor.get(), generic(target), sizeof target) == 0) return true;
    if (errno != EINPROGRESS || !waitFor(descriptor.get(), POLLOUT, Deadline(timeout))) return false;
    int error = 0;
    socklen_t size = sizeof error;
    return getsockopt(descriptor.get(), SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0;
}

}  // namespace netcore::PortCheck
