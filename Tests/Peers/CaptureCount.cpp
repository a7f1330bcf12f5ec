// What the program reads in capture files, one line each: "<file> <what was read>". For a comparison with what others read there.
//   CaptureCount parse FILE…    every frame through the parsers
//   CaptureCount play FILE…     each file through a capture of its own, all at once

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <pcap/pcap.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Base/Mutex.hpp"
#include "Base/Reaper.hpp"
#include "NetCore/ArtNet.hpp"
#include "NetCore/NetError.hpp"
#include "NetCore/PTP.hpp"
#include "NetCore/PacketCapture.hpp"
#include "NetCore/SACN.hpp"

using namespace netcore;

namespace {

std::string number(const std::optional<int>& value) { return value ? std::to_string(*value) : "-"; }

struct ArtNetLine {
    std::string operator()(const ArtNet::DmxInfo& dmx) const {
        return fmt::format("artnet dmx {} {} {}", dmx.universe, dmx.sequence, dmx.length);
    }
    std::string operator()(const ArtNet::PollReply& reply) const { return "artnet reply " + reply.ip; }
    std::string operator()(const ArtNet::Poll&) const { return "artnet poll"; }
    std::string operator()(const ArtNet::TimeCode&) const { return "artnet timecode"; }
    std::string operator()(const ArtNet::TodData&) const { return "artnet tod"; }
    std::string operator()(const ArtNet::RdmData&) const { return "artnet rdm"; }
    std::string operator()(const ArtNet::Other&) const { return "artnet other"; }
};
struct SACNLine {
    std::string operator()(const SACN::DataPacket& data) const {
        return fmt::format("sacn data {} {} {}", data.universe, data.priority, data.sequence);
    }
    std::string operator()(const SACN::Discovery&) const { return "sacn discovery"; }
    std::string operator()(const SACN::Sync&) const { return "sacn sync"; }
};

struct Line {
    std::string operator()(const ARPSeen& arp) const {
        return fmt::format("arp {} {} {}", arp.ip, arp.mac, arp.isRequest ? "request" : "other");
    }
    std::string operator()(const IGMPQuery& query) const {
        return fmt::format("query {} {} {}", query.querier, query.group, query.version);
    }
    std::string operator()(const IGMPReport& report) const {
        return fmt::format("{} {} {}", report.leave ? "leave" : "report", report.host, fmt::join(report.groups, ","));
    }
    std::string operator()(const UDPSeen& datagram) const {
        if (datagram.dstPort == PTP::eventPort || datagram.dstPort == PTP::generalPort) {
            const auto seen = PTP::parse(datagram.payload);
            return seen ? fmt::format("ptp {} {} {} {} {} {} {} {}", seen->version, seen->domain, seen->sender, seen->grandmaster,
                                      number(seen->priority1), number(seen->priority2), number(seen->clockClass),
                                      number(seen->stepsRemoved))
                        : "ptp nothing";
        }
        if (datagram.dstPort == 6454) {
            const auto packet = ArtNet::parse(datagram.payload);
            return packet ? std::visit(ArtNetLine(), *packet) : "artnet nothing";
        }
        if (datagram.dstPort == 5568) {
            const auto packet = SACN::parse(datagram.payload);
            return packet ? std::visit(SACNLine(), *packet) : "sacn nothing";
        }
        return "udp";
    }
};

void print(const std::string& file, const CapturedFrame& frame) {
    std::puts(fmt::format("{} {}", file, std::visit(Line(), frame)).c_str());
}

int parse(const std::vector<std::string>& files) {
    for (const auto& file : files) {
        char reason[PCAP_ERRBUF_SIZE] = {};
        const std::unique_ptr<pcap_t, decltype(&pcap_close)> handle(pcap_open_offline(file.c_str(), reason), pcap_close);
        if (!handle) {
            std::fprintf(stderr, "%s\n", reason);
            return 1;
        }
        pcap_pkthdr* header = nullptr;
        const std::uint8_t* bytes = nullptr;
        while (pcap_next_ex(handle.get(), &header, &bytes) == 1)
            if (const auto frame = parseFrame({bytes, header->caplen}, pcap_datalink(handle.get()))) print(file, *frame);
    }
    return 0;
}

int play(const std::vector<std::string>& files) {
    base::Mutex output;
    {
        std::vector<std::unique_ptr<PacketCapture>> captures;
        for (const auto& file : files) {
            captures.push_back(std::make_unique<PacketCapture>(file));
            captures.back()->start([&output, file](PacketCapture::Event event) {
                const base::Lock lock(output);
                print(file, event.frame);
            });
        }
        for (const auto& capture : captures)
            while (capture->running()) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    base::Reaper::shared().join();
    return 0;
}

}  // namespace

int main(int count, char** words) {
    const std::vector<std::string> arguments(words + 1, words + count);
    if (arguments.size() < 2) return 64;
    const std::vector<std::string> files(arguments.begin() + 1, arguments.end());
    try {
        return arguments[0] == "play" ? play(files) : parse(files);
    } catch (const NetError& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
