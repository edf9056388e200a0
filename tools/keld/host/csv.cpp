#include "tools/keld/host/csv.h"

namespace keld {

namespace {

bool as_csv = false;

}  // namespace

void showTablesAsCsv() {
    as_csv = true;
}

bool tablesAreCsv() {
    return as_csv;
}

std::string csvLine(const std::vector<std::string>& cells) {
    std::string line;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        line += i == 0 ? "" : ",";
        if (cells[i].find_first_of(",\"\r\n") == std::string::npos) {
            line += cells[i];
            continue;
        }
        line += '"';
        for (const char c : cells[i]) {
            line += c;
            if (c == '"')
                line += c;
        }
        line += '"';
    }
    return line + "\n";
}

}  // namespace keld
