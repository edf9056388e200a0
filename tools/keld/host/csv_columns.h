#pragma once

// The headings of a file of comma-separated values: which column holds which field.

#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/keld/host/csv_reader.h"

namespace keld {

// A field and the headings that it may have, the usual one first.
struct CsvField {
    const char* field;
    std::vector<const char*> headings;
    const char* holds;
};

// A heading in the form for comparing: lower case, underscores as blanks, single blanks.
std::string plainHeading(std::string_view heading);

class CsvColumns {
public:
    // Two headings of one field are a problem; unknown headings are one unless they are to be
    // ignored.
    CsvColumns(const CsvRow& headings, std::span<const CsvField> fields, bool ignore_unknown,
               CsvProblems& problems);
    // Columns without headings: the fields in this order.
    explicit CsvColumns(std::initializer_list<const char*> fields);

    std::size_t count() const { return fields_.size(); }
    bool has(std::string_view field) const { return at(field).has_value(); }
    // The column of a field, from 0.
    std::optional<std::size_t> at(std::string_view field) const;
    // The text of a field without blanks around it; empty if it has no column.
    std::string_view text(const CsvRow& row, std::string_view field) const;
    // The place of its cell; column 0 if it has no column.
    CsvPlace place(const CsvRow& row, std::string_view field) const;
    // False: the row has another number of cells than the headings, which is a problem.
    bool fits(const CsvRow& row, CsvProblems& problems) const;

private:
    std::vector<std::string> fields_;  // of each column; empty: ignored
};

// Whether the row has this many cells; if not, that is a problem.
bool hasCells(const CsvRow& row, std::size_t count, CsvProblems& problems);

}  // namespace keld
