#pragma once

// Writes one JSON document step by step: members on lines of their own, two blanks for each level;
// arrays of single values stay on one line.

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace mervane {

class JsonWriter {
public:
    explicit JsonWriter(std::ostream& out) : out_(out) {}

    void beginObject() { begin('{'); }
    void endObject() { end('}'); }
    // Inline: all elements on the line of the bracket.
    void beginArray(bool is_inline = false) { begin('[', is_inline); }
    void endArray() { end(']'); }
    void key(std::string_view name);

    void text(std::string_view text);  // well-formed UTF-8
    void integer(std::int64_t value);
    void number(double value);  // finite
    void logical(bool value);
    void null();
    // After the last value.
    void finish() { out_ << '\n'; }

private:
    struct Level {
        bool is_inline = false, empty = true;
    };
    void begin(char bracket, bool is_inline = false);
    void end(char bracket);
    void startValue();
    void newLine();

    std::ostream& out_;
    std::vector<Level> levels_;
    bool after_key_ = false;
};

}  // namespace mervane
