#include "Kestrelyne/Network/NetworkCaptures.hpp"

#include "NetCore/NetError.hpp"

namespace kestrelyne {

namespace {
bool isFile(const std::string& source) { return source.ends_with(".pcap") || source.ends_with(".pcapng"); }
}  // namespace

NetworkCaptures::Outcome NetworkCaptures::open(const std::vector<std::string>& sources) {
    Outcome outcome;
    for (const auto& source : sources) {
        if (playedFiles_.contains(source)) continue;
        auto& place = captures_[source];
        if (place && place->running()) continue;
        place = std::make_unique<netcore::PacketCapture>(source);
        try {
            place->start([intake = intake_, source](netcore::PacketCapture::Event event) {
                intake->extras.handleCapture(source, std::move(event));
            });
            outcome.begun.push_back(source);
            if (isFile(source)) playedFiles_.insert(source);
        } catch (const netcore::NetError& error) {
            place.reset();
            outcome.failed.emplace_back(source, error.description());
        }
    }
    return outcome;
}

void NetworkCaptures::close() { captures_.clear(); }

}  // namespace kestrelyne
