#include "tools/keld/host/value_table.h"

#include <algorithm>
#include <unordered_map>

#include "tools/keld/host/csv_columns.h"

namespace keld {

namespace {

void readHeadings(const CsvRow& row, ValueTable& table, ValueStore& store, CsvProblems& problems) {
    table.properties.emplace_back();
    for (std::size_t i = 1; i < row.cells.size(); ++i) {
        std::string property(trimmedText(row.cells[i]));
        if (property.empty())
            problems.add(row.place(i), "the column has no heading, expected a property");
        else if (const std::string why = store.whyNotProperty(property); !why.empty())
            problems.add(row.place(i), why);
        else if (const auto other =
                     std::find(table.properties.begin(), table.properties.end(), property);
                 other != table.properties.end())
            problems.add(row.place(i), "the property " + foundText(property) + " is in column " +
                                           std::to_string(other - table.properties.begin() + 1) +
                                           " already");
        table.properties.push_back(std::move(property));
    }
    if (table.properties.size() == 1)
        problems.add({row.lines.front(), 0},
                     "found one column, expected one for the object and one for each property");
}

}  // namespace

ValueTable readValues(std::istream& in, char separator, ValueStore& store, CsvProblems& problems) {
    CsvReader reader(in, separator, problems);
    ValueTable table;
    CsvRow row;
    if (!reader.next(row)) {
        if (!problems.any())
            problems.add({1, 0}, "there is no line of headings");
        return table;
    }
    readHeadings(row, table, store, problems);
    if (problems.any())
        return table;
    std::unordered_map<tag_t, std::size_t> lines;
    while (reader.next(row)) {
        if (!hasCells(row, table.properties.size(), problems))
            continue;
        const std::string name(trimmedText(row.cells.front()));
        if (name.empty()) {
            problems.add(row.place(0), "the cell is empty, expected the name of an object");
            continue;
        }
        ValueStore::Found found = store.find(name, problems.keeps(row.place(0)));
        if (found.object == NULLTAG) {
            problems.add(row.place(0), found.why);
            continue;
        }
        ValueRow made;
        made.line = row.lines.front();
        made.object = found.object;
        if (const auto [at, fresh] = lines.try_emplace(found.object, made.line); !fresh) {
            problems.add(row.place(0), foundText(name) + " is in line " +
                                           std::to_string(at->second) + " already");
            continue;
        }
        for (std::size_t i = 1; i < row.cells.size(); ++i) {
            if (row.cells[i].empty())
                continue;
            if (const std::string why =
                    store.whyNotValue(found.object, table.properties[i], row.cells[i]);
                !why.empty())
                problems.add(row.place(i), why);
            made.values.push_back({i + 1, std::move(row.cells[i])});
        }
        table.rows.push_back(std::move(made));
    }
    if (table.rows.empty() && !problems.any())
        problems.add({1, 0}, "there is no row below the headings");
    return table;
}

}  // namespace keld
