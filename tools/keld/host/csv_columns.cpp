#include "tools/keld/host/csv_columns.h"

#include <algorithm>

#include "tools/keld/host/nearest.h"
#include "tools/keld/lint/ini.h"

namespace keld {

namespace {

std::string cellCount(std::size_t count) {
    return std::to_string(count) + (count == 1 ? " cell" : " cells");
}

}  // namespace

std::string plainHeading(std::string_view heading) {
    std::string plain;
    for (const char c : trimmedText(heading)) {
        const bool blank = c == '_' || c == ' ' || c == '\t' || c == '\n' || c == '\r';
        if (!blank)
            plain += c;
        else if (!plain.empty() && plain.back() != ' ')
            plain += ' ';
    }
    return asciiLower(plain);
}

CsvColumns::CsvColumns(const CsvRow& headings, std::span<const CsvField> fields,
                       bool ignore_unknown, CsvProblems& problems) {
    std::vector<std::string> known;
    for (const CsvField& field : fields)
        known.insert(known.end(), field.headings.begin(), field.headings.end());
    for (std::size_t i = 0; i < headings.cells.size(); ++i) {
        const std::string heading = plainHeading(headings.cells[i]);
        const auto field = std::find_if(fields.begin(), fields.end(), [&](const CsvField& each) {
            return std::find(each.headings.begin(), each.headings.end(), heading) !=
                   each.headings.end();
        });
        if (field == fields.end()) {
            if (!ignore_unknown)
                problems.add(headings.place(i),
                             heading.empty()
                                 ? "the column has no heading; --ignore-columns leaves it out"
                                 : "found the heading " + foundText(headings.cells[i]) +
                                       ", which has no meaning here; --ignore-columns leaves "
                                       "the column out." +
                                       didYouMean(nearest(heading, known)));
            fields_.emplace_back();
            continue;
        }
        if (const auto other = at(field->field))
            problems.add(headings.place(i), "found the heading " + foundText(headings.cells[i]) +
                                                ", which means the same as " +
                                                foundText(headings.cells[*other]) + " in column " +
                                                std::to_string(*other + 1));
        fields_.emplace_back(field->field);
    }
}

CsvColumns::CsvColumns(std::initializer_list<const char*> fields)
    : fields_(fields.begin(), fields.end()) {
}

std::optional<std::size_t> CsvColumns::at(std::string_view field) const {
    const auto found = std::find(fields_.begin(), fields_.end(), field);
    if (found == fields_.end())
        return std::nullopt;
    return static_cast<std::size_t>(found - fields_.begin());
}

std::string_view CsvColumns::text(const CsvRow& row, std::string_view field) const {
    const auto column = at(field);
    return column && *column < row.cells.size() ? trimmedText(row.cells[*column])
                                                : std::string_view();
}

CsvPlace CsvColumns::place(const CsvRow& row, std::string_view field) const {
    const auto column = at(field);
    if (!column || *column >= row.cells.size())
        return {row.lines.front(), 0};
    return row.place(*column);
}

bool CsvColumns::fits(const CsvRow& row, CsvProblems& problems) const {
    return hasCells(row, count(), problems);
}

bool hasCells(const CsvRow& row, std::size_t count, CsvProblems& problems) {
    if (row.cells.size() == count)
        return true;
    problems.add({row.lines.front(), std::min(row.cells.size(), count) + 1},
                 "found " + cellCount(row.cells.size()) + ", expected " + std::to_string(count) +
                     ", one for each heading");
    return false;
}

}  // namespace keld
