#pragma once
// Text in lower case, and searching without regard to case: UTF-8 by the simple mappings of Unicode, by which one character becomes
// one character ("Ä" becomes "ä", "ß" stays). Broken bytes stay as they are. Pure; any thread.

#include <string>
#include <string_view>

namespace base {

std::string lowerCase(std::string_view text);
/// lowerCase(text) == lower. Asks for no memory, as the two below.
bool equalsLower(std::string_view text, std::string_view lower);
/// lowerCase(text) begins with `lower`.
bool beginsLower(std::string_view text, std::string_view lower);
/// `lower`, which is in lower case already, stands in lowerCase(text).
bool containsLower(std::string_view text, std::string_view lower);

}  // namespace base
