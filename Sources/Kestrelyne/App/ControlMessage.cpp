#include "Kestrelyne/App/ControlMessage.hpp"

#include <algorithm>
#include <utility>

#include "Base/JSONFields.hpp"

namespace kestrelyne {

void LineSplitter::feed(std::string_view bytes) {
    if (!tooLong_) bytes_ += bytes;
}

std::optional<std::string> LineSplitter::next() {
    if (tooLong_) return std::nullopt;
    const auto end = bytes_.find('\n', searched_);
    if (std::min(end, bytes_.size()) > limit_) {
        tooLong_ = true;
        bytes_ = {};
        return std::nullopt;
    }
    if (end == std::string::npos) {
        searched_ = bytes_.size();
        return std::nullopt;
    }
    std::string line;
    if (end + 1 == bytes_.size()) {
        // A long one is not copied, and its room goes with it.
        line = std::exchange(bytes_, {});
        line.pop_back();
    } else {
        line = bytes_.substr(0, end);
        bytes_.erase(0, end + 1);
    }
    searched_ = 0;
    if (line.ends_with('\r')) line.pop_back();
    return line;
}

nlohmann::json controlErrorAnswer(const char* text, ExitCode code) { return {{"error", text}, {"code", static_cast<int>(code)}}; }

nlohmann::json parseControlRequest(std::string_view line) {
    try {
        auto request = base::parseJSON(line);
        base::asText(base::required(request, "verb"));
        return request;
    } catch (const base::DecodeError&) {
        throw ControlError("Die Anfrage ist kein JSON-Objekt mit einem Text „verb“.", ExitCode::wrongWords);
    }
}

}  // namespace kestrelyne
