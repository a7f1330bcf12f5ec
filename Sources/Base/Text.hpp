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
/// The text as it may stand in one line of a terminal: control characters (C0, DEL, C1), the characters that end lines or turn the
/// direction of writing (U+2028 to U+202E, U+2066 to U+2069) and broken bytes become U+FFFD, each by itself.
std::string printable(std::string_view bytes);
/// Without blanks, tabs, line ends and other ASCII white space at both ends.
std::string_view trimmed(std::string_view text);
/// Without blanks and tabs at both ends.
std::string_view trimmedBlanks(std::string_view text);
/// Without any of the characters at both ends.
std::string_view trimmedOf(std::string_view text, std::string_view characters);
/// A to Z become a to z; everything else stays.
std::string lowerASCII(std::string_view text);
/// The order people expect of names and addresses: digits within the texts compare as numbers ("eth2" before "eth10", "10.0.0.9"
/// before "10.0.0.10"), the rest by bytes with A to Z like a to z; only texts that are equal so far differ by their bytes.
bool naturalLess(std::string_view left, std::string_view right);
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
