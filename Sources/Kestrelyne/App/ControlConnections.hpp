#pragma once
// The sockets of the control server: accepts, cuts what comes into lines, sends what is answered. Everything here runs on its own
// queue.

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "Base/FileDescriptor.hpp"
#include "Base/SerialQueue.hpp"
#include "Kestrelyne/App/ControlMessage.hpp"
#include "Kestrelyne/App/ControlServer.hpp"

namespace kestrelyne {

class ControlServer::Connections : public std::enable_shared_from_this<ControlServer::Connections> {
public:
    /// `onLine` is called on the queue with the client's number and one request; the client's next one waits for reply().
    using OnLine = std::function<void(std::uint64_t client, const std::string& line)>;
    Connections(Limits limits, bool forGroup, OnLine onLine) : limits_(limits), forGroup_(forGroup), onLine_(std::move(onLine)) {}

    /// Any thread. Everything is closed when the last owner lets go.
    void listen(base::FileDescriptor listener);
    void reply(std::uint64_t client, nlohmann::json answer);

private:
    struct Client {
        base::FileDescriptor socket;
        LineSplitter lines;
        bool waiting = false;  // its request is being answered
        bool ended = false;    // it has closed its sending side
        bool closing = false;  // as soon as everything is sent
        std::string unsent{};
        std::size_t sent = 0;  // of `unsent`
        base::SerialQueue::Source source{};
        base::SerialQueue::Timer silence{};
    };
    using Clients = std::map<std::uint64_t, Client>;

    template <class Work>
    void onQueue(Work work);
    void watchListener();
    void acceptAll();
    bool mayCome(int socket) const;
    void handle(std::uint64_t number, std::uint32_t events);
    /// All of these may end the client.
    void read(Clients::iterator client);
    void proceed(Clients::iterator client);
    void send(Clients::iterator client);
    void resume(Clients::iterator client);
    void restartSilence(Clients::iterator client);

    const Limits limits_;
    const bool forGroup_;
    const OnLine onLine_;
    base::FileDescriptor listener_;
    std::uint64_t lastNumber_ = 0;
    Clients clients_;
    base::SerialQueue::Source listening_;
    base::SerialQueue::Timer again_;
    // Ends first: what is left of sources and timers then goes with it, on whatever thread the last owner stands.
    base::SerialQueue queue_{"kestrelyne.control"};
};

}  // namespace kestrelyne
