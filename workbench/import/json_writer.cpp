#include "workbench/import/json_writer.h"

#include <nlohmann/json.hpp>

namespace mervane {

void JsonWriter::newLine() {
    out_ << '\n';
    for (std::size_t i = 0; i < levels_.size(); ++i)
        out_ << "  ";
}

// The comma and the place of a value or key.
void JsonWriter::startValue() {
    if (after_key_) {
        after_key_ = false;
        return;
    }
    if (levels_.empty())
        return;
    Level& level = levels_.back();
    if (!level.empty)
        out_ << (level.is_inline ? ", " : ",");
    level.empty = false;
    if (!level.is_inline)
        newLine();
}

void JsonWriter::begin(char bracket, bool is_inline) {
    startValue();
    out_ << bracket;
    // What is in an inline array stays on its line.
    const bool inside = !levels_.empty() && levels_.back().is_inline;
    levels_.push_back({is_inline || inside, true});
}

void JsonWriter::end(char bracket) {
    const Level level = levels_.back();
    levels_.pop_back();
    if (!level.empty && !level.is_inline)
        newLine();
    out_ << bracket;
}

void JsonWriter::key(std::string_view name) {
    text(name);
    out_ << ": ";
    after_key_ = true;
}

void JsonWriter::text(std::string_view text) {
    startValue();
    out_ << nlohmann::json(text).dump();
}

void JsonWriter::integer(std::int64_t value) {
    startValue();
    out_ << std::to_string(value);
}

void JsonWriter::number(double value) {
    startValue();
    // dump() writes digits that give the same number when they are read.
    out_ << nlohmann::json(value).dump();
}

void JsonWriter::logical(bool value) {
    startValue();
    out_ << (value ? "true" : "false");
}

void JsonWriter::null() {
    startValue();
    out_ << "null";
}

}  // namespace mervane
