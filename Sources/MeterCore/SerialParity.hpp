#pragma once
// Parity of a serial line.

#include <optional>
#include <string_view>

namespace metercore {

enum class SerialParity { none, even, odd };

/// "Keine", "Gerade", "Ungerade": the caption, which is also the stored form.
std::string_view text(SerialParity parity);
/// Absent when the text names none.
std::optional<SerialParity> serialParity(std::string_view text);

}  // namespace metercore
