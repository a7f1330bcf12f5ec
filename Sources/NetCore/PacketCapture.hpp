#pragma once
// Reads raw frames of one adapter, or of a capture file, through libpcap, to see what no UDP socket sees: ARP and IGMP.

#include <memory>
#include <string>

#include "Base/Clock.hpp"
#include "Base/Function.hpp"
#include "NetCore/CaptureFrame.hpp"

namespace netcore {

class PacketCapture {
public:
    struct Event {
        CapturedFrame frame;  // never a datagram
        base::Moment time{};  // of reading, not the frame's own stamp
    };
    /// Runs on the capture's own thread; hands over quickly.
    using Handler = base::Function<void(Event)>;

    /// A device name, or the path of a file that ends in ".pcap" or ".pcapng".
    explicit PacketCapture(std::string interface);
    /// Stops; never waits.
    ~PacketCapture();
    PacketCapture(const PacketCapture&) = delete;
    PacketCapture& operator=(const PacketCapture&) = delete;

    /// Throws NetError::socket: "Mitschnitt auf <interface> nicht möglich: <reason>", "Filter: <reason>". A file is played at no
    /// more than 50 frames a second, then ends silently. Once.
    void start(Handler handler);
    /// The handler is not called again, except for a call under way. Idempotent.
    void stop();
    /// False once the worker has ended by itself: end of the file, adapter gone.
    bool running() const;
    const std::string& interface() const { return interface_; }

private:
    class Worker;
    const std::string interface_;
    std::shared_ptr<Worker> worker_;
};

}  // namespace netcore
