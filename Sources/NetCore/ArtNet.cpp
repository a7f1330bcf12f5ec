#include "NetCore/ArtNet.hpp"

#include <fmt/format.h>

namespace netcore::ArtNet {

std::optional<Packet> parse(base::Bytes packet) {
    const auto code = opCode(packet);
    if (!code) return std::nullopt;
    switch (*code) {
        case opPoll: return Poll{};
        case opPollReply: return parsePollReply(packet);
        case opDmx:
            if (const auto view = viewDmx(packet)) return view->info();
            return std::nullopt;
        case opTodData: return parseTodData(packet);
        case opRdm: return parseRdm(packet);
        case opTimeCode: return parseTimeCode(packet);
        default: return Other{*code};
    }
}

std::string label(int universe) {
    constexpr int nibble = 0x0F;
    return fmt::format("{}:{}:{}", universe >> 8, universe >> 4 & nibble, universe & nibble);
}

}  // namespace netcore::ArtNet
