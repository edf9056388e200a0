#include "workbench/import/json_document.h"

#include <algorithm>
#include <istream>

#include "workbench/model/status.h"
#include "workbench/workbench.h"

namespace mervane {
namespace {

using Json = nlohmann::json;

constexpr std::size_t kMostBytesBefore = 16u << 20;  // before the first token
constexpr std::size_t kMaxBytes = 1u << 30;
constexpr int kMaxDepth = 64;

std::string readAll(std::istream& in, const std::string& source) {
    std::string text;
    std::vector<char> buffer(256u << 10);
    bool blank = true;
    while (in.read(buffer.data(), static_cast<std::streamsize>(buffer.size())), in.gcount() > 0) {
        const std::string_view part(buffer.data(), static_cast<std::size_t>(in.gcount()));
        text += part;
        blank = blank && part.find_first_not_of(" \t\r\n") == std::string_view::npos;
        // A stream of blanks without an end is refused long before the limit of a document.
        if (blank && text.size() > kMostBytesBefore)
            throw Failure(kBadImport, source + ": expected a JSON document within " +
                                          std::to_string(kMostBytesBefore >> 20) +
                                          " MiB, found only white space");
        if (text.size() > kMaxBytes)
            throw Failure(kBadImport, source + ": expected at most " +
                                          std::to_string(kMaxBytes >> 20) + " MiB");
    }
    if (in.bad())
        throw Failure(kBadImport, source + ": the file can't be read");
    return text;
}

// The parser's text without its own number and place.
std::string parserText(const std::string& what) {
    const std::size_t place = what.find("column ");
    const std::size_t colon = what.find(": ", place == std::string::npos ? 0 : place);
    return colon == std::string::npos ? what : what.substr(colon + 2);
}

// Builds the document from the parser's events, and refuses what the parser would let pass.
class Builder : public nlohmann::json_sax<Json> {
public:
    Builder(const std::string& text, const std::string& source) : text_(text), source_(source) {}

    Json take() { return std::move(document_); }

    bool null() override { return put(nullptr); }
    bool boolean(bool value) override { return put(value); }
    bool number_integer(number_integer_t value) override { return put(value); }
    bool number_unsigned(number_unsigned_t value) override { return put(value); }
    bool number_float(number_float_t value, const string_t&) override { return put(value); }
    bool string(string_t& value) override { return put(std::move(value)); }
    bool binary(binary_t& value) override { return put(std::move(value)); }
    bool start_object(std::size_t) override { return open(Json::object()); }
    bool start_array(std::size_t) override { return open(Json::array()); }
    bool end_object() override { return close(); }
    bool end_array() override { return close(); }
    bool key(string_t& key) override {
        Level& level = open_.back();
        level.key = key;
        // The key gets its place first, and its value goes there, whatever it is.
        const auto [at, fresh] = level.value->emplace(std::move(key), nullptr);
        // The parser would keep one of the values and drop the other one without a word.
        if (!fresh)
            refuse("expected each key once, found it twice");
        level.next = &*at;
        return true;
    }
    bool parse_error(std::size_t position, const std::string&,
                     const nlohmann::detail::exception& error) override {
        if (!dynamic_cast<const Json::parse_error*>(&error))  // a number that no type can hold
            throw Failure(kBadImport, source_ + ": " + error.what());
        // The byte that the parser stopped at, counted from 1.
        const std::size_t end = std::min(text_.size(), position == 0 ? 0 : position - 1);
        const auto until = std::string_view(text_).substr(0, end);
        const auto line = std::count(until.begin(), until.end(), '\n') + 1;
        const std::size_t start = until.rfind('\n');
        const std::size_t column = end - (start == std::string_view::npos ? 0 : start + 1) + 1;
        throw Failure(kBadImport, source_ + ":" + std::to_string(line) + ":" +
                                      std::to_string(column) + ": " + parserText(error.what()));
    }

private:
    // An array or object that isn't closed; both stay where they are while something is put into
    // them.
    struct Level {
        Json* value;
        std::string key;
        Json* next;  // where an object's next value goes
    };

    const std::string& text_;
    const std::string& source_;
    Json document_;
    std::vector<Level> open_;

    Json* place(Json&& value) {
        if (open_.empty()) {
            document_ = std::move(value);
            return &document_;
        }
        Level& level = open_.back();
        if (level.value->is_array()) {
            level.value->push_back(std::move(value));
            return &level.value->back();
        }
        *level.next = std::move(value);
        return level.next;
    }
    bool put(Json&& value) {
        place(std::move(value));
        return true;
    }
    bool open(Json&& value) {
        // The value goes in before the test of the depth, so that the refusal has its whole path.
        open_.push_back({place(std::move(value)), "", nullptr});
        if (open_.size() > kMaxDepth)
            refuse("expected at most " + std::to_string(kMaxDepth) + " values in one another");
        return true;
    }
    bool close() {
        open_.pop_back();
        return true;
    }
    [[noreturn]] void refuse(const std::string& text) const {
        std::string path = "$";
        for (const Level& level : open_) {
            if (level.value->is_array() && !level.value->empty())
                path += "[" + std::to_string(level.value->size() - 1) + "]";
            else if (level.value->is_object() && !level.key.empty())
                path += "." + level.key;
        }
        throw Failure(kBadImport, source_ + ": " + path.substr(0, 1000) + ": " + text);
    }
};

Json parse(const std::string& text, const std::string& source) {
    Builder builder(text, source);
    Json::sax_parse(text, &builder);
    return builder.take();
}

const char* kindName(const Json& value) {
    switch (value.type()) {
        case Json::value_t::object:
            return "an object";
        case Json::value_t::array:
            return "an array";
        case Json::value_t::string:
            return "a string";
        case Json::value_t::boolean:
            return "true or false";
        case Json::value_t::null:
            return "null";
        case Json::value_t::number_float:
            return "a number with a fraction";
        default:
            return "an integer";
    }
}

std::size_t distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j)
        row[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t replaced = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row[b.size()];
}

}  // namespace

std::string nearestName(std::string_view name, const std::vector<std::string>& candidates) {
    std::string nearest;
    // A candidate that differs in more than about half of the letters is no help.
    std::size_t least = name.size() / 2 + 2;
    // The comparison costs the product of both lengths, and the name is whatever the file has.
    if (name.size() > 256)
        return nearest;
    for (const std::string& candidate : candidates) {
        if (const std::size_t d = distance(name, candidate); d < least) {
            least = d;
            nearest = candidate;
        }
    }
    return nearest;
}

std::string nearestHint(std::string_view name, const std::vector<std::string>& candidates) {
    const std::string nearest = nearestName(name, candidates);
    return nearest.empty() ? "" : " (nearest: \"" + nearest + "\")";
}

JsonDocument::JsonDocument(std::istream& in, const std::string& source_name)
    : source_(source_name), value_(parse(readAll(in, source_name), source_name)) {
}

const JsonNode& JsonNode::allow(std::initializer_list<std::string_view> keys) const {
    if (!isObject())
        failExpected("an object");
    for (const auto& [key, value] : value_->items()) {
        if (std::find(keys.begin(), keys.end(), key) != keys.end())
            continue;
        const std::vector<std::string> known(keys.begin(), keys.end());
        fail("unknown key \"" + key.substr(0, 200) + "\"" + nearestHint(key, known));
    }
    return *this;
}

std::optional<JsonNode> JsonNode::find(std::string_view key) const {
    if (!isObject())
        failExpected("an object");
    const auto found = value_->find(key);
    if (found == value_->end())
        return std::nullopt;
    return JsonNode(*found, path_ + "." + std::string(key), *source_);
}

JsonNode JsonNode::at(std::string_view key) const {
    if (auto found = find(key))
        return *found;
    fail("expected the key \"" + std::string(key) + "\", found none");
}

std::vector<std::pair<std::string, JsonNode>> JsonNode::members() const {
    if (!isObject())
        failExpected("an object");
    std::vector<std::pair<std::string, JsonNode>> all;
    for (const auto& [key, value] : value_->items())
        all.emplace_back(key, JsonNode(value, path_ + "." + key, *source_));
    return all;
}

std::vector<JsonNode> JsonNode::elements() const {
    if (!isArray())
        failExpected("an array");
    std::vector<JsonNode> all;
    for (std::size_t i = 0; i < value_->size(); ++i)
        all.emplace_back((*value_)[i], path_ + "[" + std::to_string(i) + "]", *source_);
    return all;
}

std::vector<JsonNode> JsonNode::list(std::string_view key) const {
    const auto found = find(key);
    return found ? found->elements() : std::vector<JsonNode>();
}

std::string JsonNode::text() const {
    if (!isString())
        failExpected("a string");
    auto text = value_->get<std::string>();
    // The interface hands texts out as C strings, which end at a NUL.
    if (text.find('\0') != std::string::npos)
        fail("expected a string without the character NUL");
    return text;
}

std::string JsonNode::text(std::string_view key, const std::string& otherwise) const {
    const auto found = find(key);
    return found ? found->text() : otherwise;
}

std::int64_t JsonNode::integer() const {
    if (!value_->is_number_integer())
        failExpected("an integer");
    if (value_->is_number_unsigned() && value_->get<std::uint64_t>() > INT64_MAX)
        fail("expected an integer of 64 bits");
    return value_->get<std::int64_t>();
}

double JsonNode::number() const {
    if (!value_->is_number())
        failExpected("a number");
    return value_->get<double>();
}

bool JsonNode::logical() const {
    if (!value_->is_boolean())
        failExpected("true or false");
    return value_->get<bool>();
}

std::vector<std::string> JsonNode::texts() const {
    std::vector<std::string> all;
    for (const JsonNode& element : elements())
        all.push_back(element.text());
    return all;
}

void JsonNode::failExpected(const std::string& what) const {
    fail("expected " + what + ", found " + kindName(*value_));
}

void JsonNode::fail(const std::string& text) const {
    throw Failure(kBadImport, *source_ + ": " + path_ + ": " + text);
}

}  // namespace mervane
