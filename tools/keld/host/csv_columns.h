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

// A heading as it is compared: lower case, an underscore as a blank, single blanks.
std::string plainHeading(std::string_view heading);

class CsvColumns {
public:
    // Headings that no field has, and two of one field, are problems; of the former not if they
    // are to be ignored.
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
    // Where it stands; column 0 if it has no column.
    CsvPlace place(const CsvRow& row, std::string_view field) const;
    // A row of another number of cells is a problem: false.
    bool fits(const CsvRow& row, CsvProblems& problems) const;

private:
    std::vector<std::string> fields_;  // of each column; empty: ignored
};

// "5 cells" for as many as there are headings; else what was found and expected is a problem.
bool hasCells(const CsvRow& row, std::size_t count, CsvProblems& problems);

}  // namespace keld
