#pragma once
// The captures of raw frames, one an adapter, and one more of a file where a test asks for it.

#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Kestrelyne/Network/NetworkIntake.hpp"
#include "NetCore/PacketCapture.hpp"

namespace kestrelyne {

/// Main thread; frames go to the intake on the captures' threads.
class NetworkCaptures {
public:
    explicit NetworkCaptures(std::shared_ptr<NetworkIntake> intake) : intake_(std::move(intake)) {}

    struct Outcome {
        std::vector<std::string> begun;                           // sources that are read from now on
        std::vector<std::pair<std::string, std::string>> failed;  // source and reason
    };
    /// Opens the sources (device names, file paths) that are not read. A file is read once in the life of this object.
    Outcome open(const std::vector<std::string>& sources);
    void close();

private:
    std::shared_ptr<NetworkIntake> intake_;
    std::map<std::string, std::unique_ptr<netcore::PacketCapture>> captures_;
    std::set<std::string> playedFiles_;
};

}  // namespace kestrelyne
