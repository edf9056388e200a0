#pragma once

// Tables as comma-separated values (RFC 4180), for spreadsheets and other programs.

#include <string>
#include <vector>

namespace keld {

// From here on a table is written so, when its text is asked for; other text for people is left
// out.
void showTablesAsCsv();
bool tablesAreCsv();

// One record, with its line break; a cell with a comma, a quote or a line break stands in quotes.
std::string csvLine(const std::vector<std::string>& cells);

}  // namespace keld
