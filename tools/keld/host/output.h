#pragma once

// What a verb shows: text and tables for people, or one JSON document.

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tools/keld/host/terminal.h"

namespace keld {

using Json = nlohmann::ordered_json;

// Columns are as wide as their contents; the last one is not padded. If the table is wider than
// COLUMNS, or than the terminal, all columns but the first are cut, unless --wide is given.
class Table {
public:
    explicit Table(std::vector<std::string> header) : header_(std::move(header)) {}
    void add(std::vector<std::string> row);
    bool empty() const { return rows_.empty(); }
    std::size_t rows() const { return rows_.size(); }
    std::string text(const std::string& indent = "") const;
    // Give the rows so far and drop them; only the first part of a table has the header.
    std::string take();

private:
    std::vector<std::string> header_;
    std::vector<std::vector<std::string>> rows_;
};

// From here on no table is cut.
void keepTablesWide();

// The first so many characters, with an ellipsis for the rest.
std::string cutText(const std::string& text, std::size_t most);

// "1 error", "2 errors"
std::string counted(std::size_t number, const std::string& noun);

// One JSON document. Bytes that are no UTF-8 become U+FFFD. Characters on which a terminal acts are
// written as JSON escapes, which a parser reads as the same text.
std::string dumped(const Json& document);

}  // namespace keld
