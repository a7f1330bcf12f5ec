#pragma once
// UTF-8 text: repair, trimming, hexadecimal, comparison. Pure; any thread.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace base {

/// The text with every invalid sequence replaced by U+FFFD (one per maximal broken part, as Unicode 15, 3.9 recommends).
std::string repairUTF8(std::string_view bytes);
/// At most `count` characters (code points) from the front; never cuts inside one. The input is valid UTF-8.
std::string firstCharacters(std::string_view text, std::size_t count);
/// Without blanks, tabs, line ends and other ASCII white space at both ends.
std::string_view trimmed(std::string_view text);
/// Without blanks and tabs at both ends.
std::string_view trimmedBlanks(std::string_view text);
/// Without any of the characters at both ends.
std::string_view trimmedOf(std::string_view text, std::string_view characters);
/// A to Z become a to z; everything else stays.
std::string lowerASCII(std::string_view text);
/// The pieces between separators. With `keepEmpty` false, empty pieces are dropped.
std::vector<std::string_view> split(std::string_view text, char separator, bool keepEmpty);
/// The whole text as a decimal integer with an optional sign; absent when anything else is in it or it does not fit.
std::optional<long long> parseInteger(std::string_view text);
/// The whole text as a finite decimal number with a point; absent otherwise.
std::optional<double> parseDouble(std::string_view text);
/// Two lower-case hexadecimal digits a byte.
std::string hex(std::span<const std::uint8_t> bytes);
/// Percent escapes decoded; absent when an escape is broken.
std::optional<std::string> percentDecoded(std::string_view text);
/// Compares in a time that depends on the length of `given` alone, not on where the texts differ: for secrets.
bool equalInConstantTime(std::string_view secret, std::string_view given);
/// The system's text for an errno value.
std::string errnoText(int number);

}  // namespace base
