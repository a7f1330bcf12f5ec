#pragma once
// A start of the test light as it is asked for in JSON, by a phone or by the command line.

#include <nlohmann/json_fwd.hpp>
#include <stdexcept>
#include <string_view>

#include "Kestrelyne/Lighting/DMXOutput.hpp"
#include "Kestrelyne/Lighting/Patch.hpp"

namespace kestrelyne {

struct DMXRequest {
    DMXOutput::Mode mode;
    DMXOutput::Options options;
};

/// "off", "fixtures", "raw", "all", "chase".
std::string_view word(const DMXOutput::Mode& mode);

/// What cannot be meant, in German.
class DMXRequestError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Reads "mode" ("fixtures", "all", "chase", "raw"); for fixtures "fixtures" (ids or numbers of the console); for raw "universe"
/// (the console's), "channel" (1…512), "value" (0…255); and where they are given "level" (0…1), "proto" ("artnet", "sacn"),
/// "priority" (0…200), "step" (seconds), "universes" (numbers). What is not given stays as in `options`. Throws DMXRequestError.
/// Pure.
DMXRequest dmxRequest(const nlohmann::json& request, const Patch& patch, DMXOutput::Options options);

}  // namespace kestrelyne
