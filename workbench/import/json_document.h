#pragma once

// A JSON document read strictly, and a view of its values that knows their places, so that every
// refusal names the place and what was expected there.

#include <cstdint>
#include <initializer_list>
#include <iosfwd>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mervane {

class JsonNode {
public:
    JsonNode(const nlohmann::json& value, std::string path, const std::string& source)
        : value_(&value), path_(std::move(path)), source_(&source) {}

    const std::string& path() const { return path_; }
    const nlohmann::json& value() const { return *value_; }

    bool isObject() const { return value_->is_object(); }
    bool isArray() const { return value_->is_array(); }
    bool isString() const { return value_->is_string(); }
    bool isNull() const { return value_->is_null(); }

    // Refuse any other key, and name the nearest known one.
    const JsonNode& allow(std::initializer_list<std::string_view> keys) const;
    // A member that must be there, or may be.
    JsonNode at(std::string_view key) const;
    std::optional<JsonNode> find(std::string_view key) const;
    // The members of an object by name, the elements of an array.
    std::vector<std::pair<std::string, JsonNode>> members() const;
    std::vector<JsonNode> elements() const;
    // The elements of an optional member.
    std::vector<JsonNode> list(std::string_view key) const;

    std::string text() const;  // without NUL
    std::string text(std::string_view key, const std::string& otherwise) const;
    std::int64_t integer() const;
    double number() const;
    bool logical() const;
    std::vector<std::string> texts() const;

    // Failure kBadImport: "SOURCE: PATH: expected WHAT, found ...".
    [[noreturn]] void failExpected(const std::string& what) const;
    [[noreturn]] void fail(const std::string& text) const;

private:
    const nlohmann::json* value_;
    std::string path_;
    const std::string* source_;
};

class JsonDocument {
public:
    // Failure kBadImport with line and column for a syntax error; with the path for a key that
    // occurs twice or values nested too deeply.
    JsonDocument(std::istream& in, const std::string& source_name);
    JsonNode root() const { return {value_, "$", source_}; }

private:
    std::string source_;
    nlohmann::json value_;
};

// The candidate that differs least; empty if none is alike.
std::string nearestName(std::string_view name, const std::vector<std::string>& candidates);
// " (nearest: NAME)", or nothing.
std::string nearestHint(std::string_view name, const std::vector<std::string>& candidates);

}  // namespace mervane
