#pragma once
// Recordings of other people's programs. They are no part of the project: what they must give is, in the folder Expected.

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

namespace support {

/// The folder of the recordings: KESTRELYNE_SAMPLES, else shared/samples beside the project; absent when there is none.
inline std::optional<std::filesystem::path> samplesFolder() {
    std::filesystem::path folder;
    if (const char* named = std::getenv("KESTRELYNE_SAMPLES"))
        folder = named;
    else if (const char* source = std::getenv("KESTRELYNE_SOURCE_DIR"))
        folder = std::filesystem::path(source).parent_path() / "shared" / "samples";
    if (folder.empty() || !std::filesystem::is_directory(folder)) return std::nullopt;
    return folder;
}

/// The lines of a file.
inline std::vector<std::string> linesOf(const std::filesystem::path& file) {
    std::ifstream stream(file);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

/// One datagram of a recording.
struct SampleFrame {
    std::string name;
    std::vector<std::uint8_t> bytes;
};

/// The datagrams of a text file: "[name] count bytes", remarks behind ";", then lines of hexadecimal digits.
inline std::vector<SampleFrame> sampleFrames(const std::filesystem::path& file) {
    std::vector<SampleFrame> frames;
    for (const auto& line : linesOf(file)) {
        const auto first = line.find_first_not_of(' ');
        if (first == std::string::npos || line[first] == ';' || line[first] == '#') continue;
        if (line[first] == '[') {
            frames.push_back({.name = line.substr(first + 1, line.find(']') - first - 1), .bytes = {}});
            continue;
        }
        if (frames.empty()) continue;
        for (auto at = first; at + 1 < line.size(); at += 2)
            frames.back().bytes.push_back(static_cast<std::uint8_t>(std::stoi(line.substr(at, 2), nullptr, 16)));
    }
    return frames;
}

}  // namespace support
