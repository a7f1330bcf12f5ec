#pragma once
// Pieces that answers of the control socket are told with in a terminal. Keys that are missing or of another type read as nothing.

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace kestrelyne {

/// Rows as columns, two blanks between them, each line behind `indent`; widths are counted in characters. What is in the cells is
/// made printable: names come from the network.
std::string alignedTable(const std::vector<std::vector<std::string>>& rows, std::string_view indent);

/// A caption with its lines beside it, "–" when there are none.
std::string captionedLines(std::string_view caption, const std::vector<std::string>& lines);

namespace answer {

std::string textOr(const nlohmann::json& object, const char* key, const std::string& otherwise);
double numberOr(const nlohmann::json& object, const char* key, double otherwise);
bool isTrue(const nlohmann::json& object, const char* key);
/// null when it is missing.
const nlohmann::json& part(const nlohmann::json& object, const char* key);
/// The texts in a list; none of something else.
std::vector<std::string> texts(const nlohmann::json& list);

}  // namespace answer

}  // namespace kestrelyne
