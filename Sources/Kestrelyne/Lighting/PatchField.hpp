#pragma once
// What a column of a list of lamps says, and by which headings it is known.

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrelyne {

enum class PatchField {
    ignore,
    fixtureID,
    name,
    manufacturer,
    model,
    mode,
    universe,
    address,
    footprint,
    position,
    layer,
    distributor,
    plugbox,
    socket,
    breaker,
    phase,
    power,
    notes
};
inline constexpr std::size_t patchFields = static_cast<std::size_t>(PatchField::notes) + 1;
/// All of them, in their order.
const std::array<PatchField, patchFields>& allPatchFields();

/// "Fixture-ID": for people, and the heading of an exported column, which is guessed back.
std::string_view label(PatchField field);
/// "fixtureID": the name of the case.
std::string_view word(PatchField field);
/// Of a name of a case, large or small letters.
std::optional<PatchField> patchField(std::string_view word);

namespace PatchImport {

/// One field a column: the one whose headings the column's fits. Where two columns fit one field, the heading that says it best has
/// it, else the first; the other takes its next field or is ignored.
std::vector<PatchField> guessMapping(const std::vector<std::string>& header);

}  // namespace PatchImport

}  // namespace kestrelyne
