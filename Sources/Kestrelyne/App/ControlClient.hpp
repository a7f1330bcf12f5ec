#pragma once
// Asks a running program over its control socket. Blocking: for the command line.

#include <filesystem>
#include <nlohmann/json_fwd.hpp>

#include "Base/Clock.hpp"
#include "Base/FileDescriptor.hpp"
#include "Kestrelyne/App/ControlMessage.hpp"

namespace kestrelyne {

class ControlClient {
public:
    /// Throws ControlError: notRunning when nobody listens there, failed when the connection is refused for another reason.
    explicit ControlClient(const std::filesystem::path& socket);

    /// Sends the request and waits for its result; progress lines are passed over. Throws ControlError with the program's text and
    /// code, or when nothing comes within the time.
    nlohmann::json request(const nlohmann::json& request, base::Seconds limit = base::Seconds(30));

private:
    std::filesystem::path path_;
    base::FileDescriptor socket_;
    LineSplitter lines_;
};

}  // namespace kestrelyne
