#pragma once

// A JSON document read strictly, once, and kept outside of memory in a form in which each of its
// parts is quickly read again: a document of a million items needs no more memory than its largest
// item. docs/json-world.md has its limits.

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iosfwd>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "workbench/import/json_value.h"
#include "workbench/import/spool.h"

namespace mervane {

// The elements of a list of the document, one after the other. The nodes of one hold until the next
// one is read. Requires: the document outlives it. Failure kFileFailure if it can't be read.
class JsonList {
public:
    class Iterator {
    public:
        using iterator_category = std::input_iterator_tag;
        using value_type = JsonNode;
        using difference_type = std::ptrdiff_t;
        using pointer = const JsonNode*;
        using reference = JsonNode;

        JsonNode operator*() const { return tree_->root(); }
        Iterator& operator++();
        bool operator==(std::default_sentinel_t) const { return left_ == 0; }

    private:
        friend class JsonList;
        std::size_t left_ = 0;
        std::optional<SpoolReader> reader_;
        // On the heap: nodes point to it, and the iterator may be moved.
        std::unique_ptr<JsonTree> tree_;

        void read();
    };

    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    Iterator begin() const;
    std::default_sentinel_t end() const { return {}; }
    // The element at the place, read anew.
    std::unique_ptr<JsonTree> again(const JsonPlace& place) const;

private:
    friend class JsonDocument;
    JsonList() = default;

    const std::string* source_ = nullptr;
    std::string_view key_;
    Spool* spool_ = nullptr;
    std::uint64_t at_ = 0;
    std::size_t size_ = 0;
};

class JsonDocument {
public:
    // Failure kBadImport with line and column for a syntax error; with the path for a key that
    // occurs twice or values nested too deeply. kFileFailure if the document can't be kept.
    JsonDocument(std::istream& in, const std::string& source_name);
    JsonDocument(const JsonDocument&) = delete;

    // Refuse a document that is no object or has any other key.
    void allow(std::initializer_list<std::string_view> keys) const;
    // A member that must be there, or may be (null: it isn't there), all of it in memory; a list
    // comes without its elements.
    std::unique_ptr<JsonTree> at(std::string_view key) const;
    std::unique_ptr<JsonTree> find(std::string_view key) const;
    // The elements of an optional member.
    JsonList list(std::string_view key) const;

private:
    friend class JsonBuilder;
    struct Member {
        bool list = false;
        std::uint64_t at = 0;   // in the spool
        std::size_t count = 0;  // of a list's elements
    };
    std::string source_;
    JsonKind kind_ = JsonKind::Null;
    std::map<std::string, Member, std::less<>> members_;
    // Reading moves it, which is no change of the document.
    mutable Spool spool_;

    [[noreturn]] void fail(const std::string& text) const;
};

}  // namespace mervane
