#include "NetCore/UDPPacket.hpp"

#include "NetCore/IPv4.hpp"

namespace netcore {

UDPPacket UDPView::packet() const {
    return {.data = {data.begin(), data.end()},
            .sourceIP = uint32ToIP(source),
            .sourcePort = sourcePort,
            .interfaceIndex = interfaceIndex,
            .time = time,
            .destination = destination == 0 ? std::string() : uint32ToIP(destination)};
}

}  // namespace netcore
