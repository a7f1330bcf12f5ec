#include "NetCore/NUTProtocol.hpp"

#include <algorithm>
#include <utility>

#include "Base/Text.hpp"

namespace netcore {

namespace {

using Words = std::vector<std::string>;

constexpr std::size_t mostWords = 8;

bool isControl(char character) { return static_cast<unsigned char>(character) < 0x20 || character == 0x7F; }

// Words between blanks, or in double quotes; a backslash takes the next character as it is (RFC 9271, 4). Absent when a quotation
// or an escape has no end, or the words are too many.
std::optional<Words> wordsOf(std::string_view line) {
    Words words;
    for (std::size_t at = 0; at < line.size();) {
        if (line[at] == ' ') {
            ++at;
            continue;
        }
        if (words.size() == mostWords) return std::nullopt;
        const bool quoted = line[at] == '"';
        if (quoted) ++at;
        auto& word = words.emplace_back();
        bool ended = !quoted;
        for (; at < line.size(); ++at) {
            const char character = line[at];
            if (character == (quoted ? '"' : ' ')) {
                ended = true;
                ++at;
                break;
            }
            if (character == '\\' && ++at == line.size()) return std::nullopt;
            word += line[at];
        }
        // Behind a quotation stands a blank or nothing.
        if (!ended || (quoted && at < line.size() && line[at] != ' ')) return std::nullopt;
    }
    return words;
}

// Only such a name can be sent back as a word of its own.
bool isName(std::string_view name) {
    return !name.empty() && std::ranges::all_of(name, [](char character) {
        return character > ' ' && character < 0x7F && character != '"' && character != '\\';
    });
}

}  // namespace

std::string NUTConversation::takeRequest() { return std::exchange(request_, {}); }

NUTConversation::State NUTConversation::receive(std::string_view bytes) {
    received_ += bytes.size();
    for (const char byte : bytes) {
        if (state_ != State::talking) return state_;
        if (byte == '\n') {
            if (!readLine(line_)) state_ = State::failed;
            line_.clear();
        } else if (isControl(byte) || line_.size() == longestLine) {
            state_ = State::failed;
        } else {
            line_ += byte;
        }
    }
    if (state_ == State::talking && received_ > mostBytes) state_ = State::failed;
    return state_;
}

bool NUTConversation::readLine(std::string_view line) {
    const auto words = wordsOf(line);
    if (!words) return false;
    switch (expected_) {
        case Expected::devicesBegin: expected_ = Expected::devices; return *words == Words{"BEGIN", "LIST", "UPS"};
        case Expected::devices: return readDevice(*words);
        case Expected::variablesBegin:
            if (words->size() >= 2 && words->front() == "ERR") return askForVariables();
            expected_ = Expected::variables;
            devices_.push_back({names_[asked_ - 1], {}});
            return *words == Words{"BEGIN", "LIST", "VAR", names_[asked_ - 1]};
        case Expected::variables: return readVariable(*words);
    }
    return false;
}

bool NUTConversation::readDevice(const Words& words) {
    if (words == Words{"END", "LIST", "UPS"}) return askForVariables();
    if (words.size() != 3 || words[0] != "UPS" || names_.size() == mostDevices) return false;
    // One that cannot be asked for is left out.
    if (isName(words[1])) names_.push_back(words[1]);
    return true;
}

bool NUTConversation::readVariable(const Words& words) {
    auto& device = devices_.back();
    if (words == Words{"END", "LIST", "VAR", device.name}) return askForVariables();
    if (words.size() != 4 || words[0] != "VAR" || words[1] != device.name || device.variables.size() == mostVariables) return false;
    device.variables.insert_or_assign(words[2], words[3]);
    return true;
}

bool NUTConversation::askForVariables() {
    if (asked_ == names_.size()) {
        request_ = "LOGOUT\n";
        state_ = State::done;
    } else {
        request_ = "LIST VAR " + names_[asked_++] + "\n";
        expected_ = Expected::variablesBegin;
    }
    return true;
}

}  // namespace netcore
