#pragma once
// Writes JSON straight into a text, for answers with thousands of entries that are asked for every second.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace base {

/// Whoever calls keeps to the grammar: begin and end in pairs, a key before each value of an object. Commas are set here.
class JSONWriter {
public:
    /// Room for so many bytes is made at once.
    explicit JSONWriter(std::size_t expected) { text_.reserve(expected); }

    void beginObject() { begin('{'); }
    void endObject() { end('}'); }
    void beginArray() { begin('['); }
    void endArray() { end(']'); }

    /// Of letters and digits: written as it is.
    JSONWriter& key(std::string_view name);
    /// Of any bytes: written as text() has them.
    JSONWriter& textKey(std::string_view name);

    /// Any bytes: broken UTF-8 is replaced as in repairUTF8, quotes, backslashes and control characters are escaped.
    void text(std::string_view value);
    /// Null when it is absent or not finite.
    void number(std::optional<double> value);
    void integer(std::int64_t value);
    void boolean(bool value);
    void null();

    /// What was written; the writer is empty afterwards.
    std::string take();

private:
    void separate();
    void begin(char bracket);
    void end(char bracket);
    void word(std::string_view value);
    void quoted(std::string_view valid);

    std::string text_;
    bool needsComma_ = false;
};

}  // namespace base
