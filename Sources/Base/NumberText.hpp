#pragma once
// Numbers for people, in the user's locale.

#include <string>

namespace base {

/// The name of the user's locale, from LC_ALL, LC_NUMERIC or LANG, the first that is set; "de_DE" when none names one
/// ("C" and "POSIX" name none). Read once.
const std::string& userLocale();

/// Exactly `decimals` (0…9) digits behind the mark, no grouping, digits, mark and sign of the user's locale. A value that is not
/// finite gives "–". Any thread.
std::string formatDecimal(double value, int decimals);

/// The same for a named locale ("de_DE", "en_US"); slower, nothing is kept.
std::string formatDecimal(double value, int decimals, const std::string& locale);

}  // namespace base
