#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "Kestrelyne/App/ControlMessage.hpp"

namespace {

using namespace kestrelyne;

constexpr std::size_t limit = 64;

/// The lines of a stream that comes in pieces of this size.
std::vector<std::string> linesOf(std::string_view stream, std::size_t piece, bool& tooLong) {
    LineSplitter splitter(limit);
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < stream.size(); i += piece) {
        splitter.feed(stream.substr(i, piece));
        while (auto line = splitter.next()) lines.push_back(std::move(*line));
    }
    tooLong = splitter.tooLong();
    return lines;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::string_view stream(reinterpret_cast<const char*>(data + 1), size - 1);
    bool wholeTooLong = false, piecesTooLong = false;
    const auto lines = linesOf(stream, stream.size() + 1, wholeTooLong);
    // How the stream is cut on its way changes nothing.
    if (linesOf(stream, data[0] % 80u + 1, piecesTooLong) != lines || wholeTooLong != piecesTooLong) std::abort();
    for (const auto& line : lines) {
        if (line.size() > limit || line.find('\n') != std::string::npos) std::abort();
        try {
            if (!parseControlRequest(line)["verb"].is_string()) std::abort();
        } catch (const ControlError& error) {
            if (error.code() != ExitCode::wrongWords) std::abort();
        }
    }
    return 0;
}
