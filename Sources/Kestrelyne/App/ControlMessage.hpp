#pragma once
// The lines of the control socket: one JSON object a line in, one or more out.
//   in:  {"verb":"status", …}
//   out: {"progress":…} any number of times, then {"result":…} or {"error":"…","code":n}

#include <cstddef>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace kestrelyne {

/// How a command ends; the codes of the process and of an answer's "code".
enum class ExitCode { done = 0, failed = 1, wrongWords = 2, alreadyRunning = 3, notRunning = 4 };

/// A verb that cannot be carried out, with the German text for whoever asked.
class ControlError : public std::runtime_error {
public:
    explicit ControlError(const std::string& text, ExitCode code = ExitCode::failed) : std::runtime_error(text), code_(code) {}
    ExitCode code() const { return code_; }

private:
    ExitCode code_;
};

/// Cuts a stream into lines of a limited length. Pure.
class LineSplitter {
public:
    /// `limit` in bytes, without the line's end.
    explicit LineSplitter(std::size_t limit) : limit_(limit) {}

    void feed(std::string_view bytes);
    /// The next whole line without its end ("\n" or "\r\n"); absent when none is complete, and for good once a line was too long.
    std::optional<std::string> next();
    /// A line went beyond the limit: the stream cannot be followed any further. Known after next().
    bool tooLong() const { return tooLong_; }

private:
    std::size_t limit_;
    std::size_t searched_ = 0;  // no line end before this
    bool tooLong_ = false;
    std::string bytes_;
};

/// The answer that says why a request was not carried out.
nlohmann::json controlErrorAnswer(const char* text, ExitCode code);

/// The request of a line; throws ControlError (wrongWords) when it is no JSON object with a text "verb".
nlohmann::json parseControlRequest(std::string_view line);

}  // namespace kestrelyne
