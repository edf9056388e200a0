#pragma once

// What a verb shows: text and tables for people, or one JSON document.

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tools/keld/host/terminal.h"

namespace keld {

using Json = nlohmann::ordered_json;

// Columns as wide as their contents; the last one is not padded. A table that is wider than
// COLUMNS, else than the terminal, has its columns behind the first cut, unless --wide is given.
class Table {
public:
    explicit Table(std::vector<std::string> header) : header_(std::move(header)) {}
    void add(std::vector<std::string> row);
    bool empty() const { return rows_.empty(); }
    std::size_t rows() const { return rows_.size(); }
    std::string text(const std::string& indent = "") const;
    // The rows so far, which are dropped; the header stands above the first of them only.
    std::string take();

private:
    std::vector<std::string> header_;
    std::vector<std::vector<std::string>> rows_;
};

// No table is cut from here on.
void keepTablesWide();

// At most so many characters, with an ellipsis for the rest.
std::string cutText(const std::string& text, std::size_t most);

// "1 error", "2 errors"
std::string counted(std::size_t number, const std::string& noun);

// One JSON document. Bytes that are no UTF-8 become U+FFFD; characters that a terminal acts on
// stand in it as escapes, which is the same text.
std::string dumped(const Json& document);

}  // namespace keld
