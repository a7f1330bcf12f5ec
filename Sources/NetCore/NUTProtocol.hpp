#pragma once
// Asks a server of the UPS management protocol (RFC 9271) for its UPSs and their variables: what to send, and what the answers
// mean. No socket, no clock.

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace netcore {

struct NUTDevice {
    std::string name;
    std::map<std::string, std::string> variables;
};

/// One asking from its first request to its end. A server that says anything else than was asked for ends it, and so does one that
/// says too much. One thread.
class NUTConversation {
public:
    static constexpr std::size_t longestLine = 2048, mostBytes = 262144, mostDevices = 32, mostVariables = 1000;
    enum class State { talking, done, failed };

    /// What is to be sent next; each request once.
    std::string takeRequest();
    /// Bytes of the server in any pieces.
    State receive(std::string_view bytes);
    State state() const { return state_; }
    /// When done. A device whose driver does not answer the server is left out.
    const std::vector<NUTDevice>& devices() const { return devices_; }

private:
    enum class Expected { devicesBegin, devices, variablesBegin, variables };
    using Words = std::vector<std::string>;

    bool readLine(std::string_view line);
    bool readDevice(const Words& words);
    bool readVariable(const Words& words);
    bool askForVariables();

    State state_ = State::talking;
    Expected expected_ = Expected::devicesBegin;
    std::string request_ = "LIST UPS\n", line_;
    std::size_t received_ = 0;
    std::vector<std::string> names_;  // of all devices
    std::size_t asked_ = 0;           // so many of them
    std::vector<NUTDevice> devices_;
};

}  // namespace netcore
