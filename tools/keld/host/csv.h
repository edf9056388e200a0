#pragma once

// Tables as comma-separated values (RFC 4180), for spreadsheets and other programs.

#include <string>
#include <vector>

namespace keld {

// From here on tables are written as comma-separated values; other text for people is left out.
void showTablesAsCsv();
bool tablesAreCsv();

// One record, with its line break. A cell with a comma, a quote or a line break is quoted.
std::string csvLine(const std::vector<std::string>& cells);

}  // namespace keld
