#include "Kestrelyne/App/AnswerText.hpp"

#include <algorithm>

#include "Base/JSONFields.hpp"
#include "Base/Text.hpp"

namespace kestrelyne {

namespace {

using base::JSON;

std::size_t characters(std::string_view text) {
    return static_cast<std::size_t>(
        std::ranges::count_if(text, [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

}  // namespace

std::string alignedTable(const std::vector<std::vector<std::string>>& rows, std::string_view indent) {
    auto cells = rows;
    std::vector<std::size_t> widths;
    for (auto& row : cells) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) {
            row[i] = base::printable(row[i]);
            widths[i] = std::max(widths[i], characters(row[i]));
        }
    }
    std::string lines;
    for (const auto& row : cells) {
        std::string line(indent);
        for (std::size_t i = 0; i < row.size(); ++i) {
            line += row[i];
            if (i + 1 < row.size()) line.append(widths[i] - characters(row[i]) + 2, ' ');
        }
        line.erase(line.find_last_not_of(' ') + 1);
        lines += line + "\n";
    }
    return lines;
}

std::string captionedLines(std::string_view caption, const std::vector<std::string>& lines) {
    std::vector<std::vector<std::string>> rows;
    for (const auto& line : lines) rows.push_back({rows.empty() ? std::string(caption) : "", line});
    if (rows.empty()) rows.push_back({std::string(caption), "–"});
    // One width for all captions, so that the blocks stand in line.
    constexpr std::size_t captionWidth = 13;
    for (auto& row : rows) row[0].append(captionWidth - std::min(captionWidth, characters(row[0])), ' ');
    return alignedTable(rows, "");
}

namespace answer {

std::string textOr(const JSON& object, const char* key, const std::string& otherwise) {
    const auto& value = part(object, key);
    return value.is_string() ? value.get<std::string>() : otherwise;
}

double numberOr(const JSON& object, const char* key, double otherwise) {
    const auto& value = part(object, key);
    return value.is_number() ? value.get<double>() : otherwise;
}

bool isTrue(const JSON& object, const char* key) { return part(object, key) == true; }

const JSON& part(const JSON& object, const char* key) {
    static const JSON nothing;
    const auto* value = object.is_object() ? base::member(object, key) : nullptr;
    return value ? *value : nothing;
}

std::vector<std::string> texts(const JSON& list) {
    std::vector<std::string> result;
    if (list.is_array())
        for (const auto& item : list)
            if (item.is_string()) result.push_back(item);
    return result;
}

}  // namespace answer

}  // namespace kestrelyne
