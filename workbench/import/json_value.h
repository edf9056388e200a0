#pragma once

// One value of a JSON document in a compact form of its own, and a view of the values in it that
// knows their places, so that every refusal names the place and what was expected there.

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "workbench/import/nearest_name.h"

namespace mervane {

enum class JsonKind : char {
    Null,
    False,
    True,
    Integer,   // below zero
    Unsigned,  // all other integers
    Fraction,
    String,
    Array,
    Object,
};
// "an object", "true or false"
const char* kindName(JsonKind kind);

// The compact form: a value is its kind and what the kind needs. A number has 8 bytes, a string its
// length and its bytes, an array or object the size of what it holds in 4 bytes, then that: values,
// or members in the order of the bytes of their names, each a string without its kind and a value.
class JsonBytes {
public:
    std::string bytes;

    void kind(JsonKind kind) { bytes.push_back(static_cast<char>(kind)); }
    void number(JsonKind kind, const void* eight_bytes);
    void text(std::string_view text);  // without its kind
    // Room for the size of what follows; gives its place.
    std::size_t begin(JsonKind kind);
    void end(std::size_t place);

    static JsonKind kindAt(std::string_view bytes, std::size_t at) {
        return static_cast<JsonKind>(bytes[at]);
    }
    // Moves `at` behind the text.
    static std::string_view textAt(std::string_view bytes, std::size_t& at);
    // Behind the value.
    static std::size_t after(std::string_view bytes, std::size_t at);
};

class JsonTree;

// Requires: its tree stays where it is.
class JsonNode {
public:
    JsonNode(const JsonTree& tree, std::size_t at) : tree_(&tree), at_(at) {}

    // "$.items[3].revisions[0].id"; looked up, so that only refusals pay for it.
    std::string path() const;

    bool isObject() const { return kind() == JsonKind::Object; }
    bool isArray() const { return kind() == JsonKind::Array; }
    bool isString() const { return kind() == JsonKind::String; }
    bool isNull() const { return kind() == JsonKind::Null; }

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
    std::string_view anyText() const;  // with NUL, too
    std::int64_t integer() const;
    double number() const;
    bool logical() const;
    std::vector<std::string> texts() const;

    // The tree that it is a part of.
    const JsonTree& tree() const { return *tree_; }

    // Failure kBadImport: "SOURCE: PATH: expected WHAT, found ...".
    [[noreturn]] void failExpected(const std::string& what) const;
    [[noreturn]] void fail(const std::string& text) const;

private:
    const JsonTree* tree_;
    std::size_t at_;

    std::string_view bytes() const;
    JsonKind kind() const { return JsonBytes::kindAt(bytes(), at_); }
    template <typename Number>
    Number eightBytes() const;
    // Each member or element; `each` gets its name, empty in an array, and its place, and gives
    // whether to go on.
    template <typename Each>
    void walk(std::size_t at, Each&& each) const;
};

// Where an element of a list of a document is, to read it again.
struct JsonPlace {
    std::uint64_t at = 0;
    std::size_t index = 0;
};

// A value with what it needs to tell its place.
class JsonTree {
public:
    // The value of a member of the document, or an element of its list.
    JsonTree(const std::string& source, std::string_view key) : source_(&source), key_(key) {}
    JsonTree(const JsonTree&) = delete;

    JsonNode root() const { return {*this, 0}; }
    std::string path() const;
    const JsonPlace& place() const { return place_; }

private:
    friend class JsonNode;
    friend class JsonDocument;
    friend class JsonList;

    const std::string* source_;
    std::string_view key_;
    bool in_list_ = false;
    JsonPlace place_;
    std::string bytes_;
};

}  // namespace mervane
