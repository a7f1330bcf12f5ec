#include "NetCore/MANet.hpp"

#include <bitset>

#include "Base/Text.hpp"
#include "NetCore/IPv4.hpp"

namespace netcore::MANet {

namespace {

bool isReadable(std::uint8_t byte) { return byte >= 32 && byte <= 126; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isLetterOrDigit(char c) { return isDigit(c) || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

/// Gathers characters; what is worth showing becomes a text when the run ends.
class Run {
public:
    Run(std::size_t minLength, std::vector<std::string>& texts) : minLength_(minLength), texts_(texts) {}
    void add(std::uint8_t byte) { run_.push_back(static_cast<char>(byte)); }
    void end() {
        const auto text = base::trimmed(run_);
        if (text.size() >= minLength_ && isWorthShowing(text)) texts_.emplace_back(text);
        run_.clear();
    }

private:
    // Fill bytes and ornaments are texts of one or two characters repeated, or of signs alone.
    static bool isWorthShowing(std::string_view text) {
        std::bitset<128> seen;
        bool hasLetterOrDigit = false;
        for (const char c : text) {
            seen.set(static_cast<std::size_t>(c));
            hasLetterOrDigit = hasLetterOrDigit || isLetterOrDigit(c);
        }
        return hasLetterOrDigit && seen.count() > 2;
    }

    const std::size_t minLength_;
    std::vector<std::string>& texts_;
    std::string run_;
};

// Three numbers of at most 2, 2 and 3 digits, and a fourth of at most 4 where there is one.
bool isVersion(std::string_view token) {
    constexpr std::size_t mostDigits[] = {2, 2, 3, 4};
    const auto numbers = base::split(token, '.', true);
    if (numbers.size() < 3 || numbers.size() > 4) return false;
    for (std::size_t i = 0; i < numbers.size(); ++i)
        if (numbers[i].empty() || numbers[i].size() > mostDigits[i]) return false;
    return true;
}

std::vector<std::string> addresses(std::uint32_t first, std::uint32_t count) {
    std::vector<std::string> texts;
    for (std::uint32_t i = 0; i < count; ++i) texts.push_back(uint32ToIP(first + i));
    return texts;
}

constexpr std::uint32_t address(std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d) {
    return a << 24 | b << 16 | c << 8 | d;
}

}  // namespace

std::string_view text(Version version) { return version == Version::ma2 ? "MA-Net2" : "MA-Net3"; }

const std::vector<std::string>& ma3Groups() {
    static const auto groups = [] {
        auto texts = addresses(address(236, 4, 1, 0), 5);
        for (auto& text : addresses(address(239, 4, 1, 0), 5)) texts.push_back(std::move(text));
        return texts;
    }();
    return groups;
}

const std::vector<std::string>& ma2Groups() {
    static const auto groups = addresses(address(236, 4, 0, 0), 256);
    return groups;
}

std::vector<std::string> strings(base::Bytes bytes, std::size_t minLength) {
    std::vector<std::string> texts;
    Run run(minLength, texts);
    for (const auto byte : bytes)
        if (isReadable(byte))
            run.add(byte);
        else
            run.end();
    run.end();
    // 16-bit characters, low byte first, at even offsets.
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2)
        if (isReadable(bytes[i]) && bytes[i + 1] == 0)
            run.add(bytes[i]);
        else
            run.end();
    run.end();
    return texts;
}

std::vector<std::string> versions(const std::vector<std::string>& texts) {
    // Neither a digit nor a point may stand before or behind a version: it is all of a run of digits and points, or nothing of it.
    constexpr std::string_view digitsAndPoint = "0123456789.";
    std::vector<std::string> found;
    for (const std::string_view text : texts)
        for (auto begin = text.find_first_of(digitsAndPoint); begin != std::string_view::npos;) {
            const auto end = std::min(text.find_first_not_of(digitsAndPoint, begin), text.size());
            const auto token = text.substr(begin, end - begin);
            if (isVersion(token)) found.emplace_back(token);
            begin = text.find_first_of(digitsAndPoint, end);
        }
    return found;
}

std::string channelName(const std::string& group) {
    if (group.empty()) return "Unicast/Broadcast";
    constexpr std::string_view names[] = {"Administration", "Allgemein", "Erweitert", "Erweitert DMX"};
    for (std::size_t i = 0; i < std::size(names); ++i)
        if (group == ma3Groups()[i] || group == ma3Groups()[i + 5]) return std::string(names[i]);
    if (group.starts_with("236.4.0.")) return "Gruppe " + group.substr(group.rfind('.') + 1);
    return group;
}

}  // namespace netcore::MANet
