#pragma once

// What a verb shows: text and tables for people, or one JSON document.

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace keld {

using Json = nlohmann::ordered_json;

// Columns as wide as their contents; the last one is not padded.
class Table {
public:
    explicit Table(std::vector<std::string> header) : header_(std::move(header)) {}
    void add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }
    bool empty() const { return rows_.empty(); }
    std::string text(const std::string& indent = "") const;

private:
    std::vector<std::string> header_;
    std::vector<std::vector<std::string>> rows_;
};

// At most so many characters, with an ellipsis for the rest.
std::string shortened(const std::string& text, std::size_t most);

// Number of characters of a UTF-8 text.
std::size_t characters(const std::string& text);

// Colours, on a terminal only and not if NO_COLOR is set to anything.
enum class Colour { Plain, Dim, Bold, Red, Green, Yellow, Cyan };
bool colourful();
std::string painted(Colour colour, const std::string& text);

// "1 error", "2 errors"
std::string counted(std::size_t number, const std::string& noun);

// One JSON document; text that is no UTF-8 is replaced, never a failure.
std::string dumped(const Json& document);

}  // namespace keld
