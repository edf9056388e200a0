#pragma once

// The values of an object as its row has them: for each attribute that isn't null, in the order of
// the handles, the handle, the kind, the number of values and the values. The same values are the
// same bytes.

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "workbench/store/bytes.h"

namespace mervane {

// Values that somebody else keeps. Requires: all of one kind.
struct AttributeValues {
    tag_t attribute = NULLTAG;
    const Values* values = nullptr;  // empty: null
};

// Sorts them, and gives the bytes of an object. Requires: each attribute once.
std::string objectData(std::vector<AttributeValues>& values);

// Reads attribute by attribute. Failure kStoreFailure for bytes that no object has.
class ObjectReader {
public:
    // The bytes must live as long as this object.
    ObjectReader(tag_t tag, std::string_view data) : in_(data, "the object #", tag) {}

    // To the next attribute; what isn't read of this one is skipped. Returns: whether there is one.
    bool next();
    tag_t attribute() const { return attribute_; }
    Kind kind() const { return kind_; }
    // Values of the attribute that aren't read yet.
    std::size_t left() const { return left_; }
    // The next value. Requires: there is one.
    Value value();
    // The same of a string, good as long as the bytes, and of a reference. Requires: this kind.
    std::string_view text();
    tag_t reference();
    // All that are left.
    Values values();
    // The bytes of the whole attribute; its values are skipped.
    std::string_view raw();

private:
    ByteReader in_;
    const char* begin_ = nullptr;
    tag_t attribute_ = NULLTAG;
    Kind kind_ = Kind::String;
    std::size_t left_ = 0;

    void skip();
};

// The bytes of an object after these attributes have got new values. `before` gets the values that
// they had, in the order of `changed`, which is sorted.
std::string changedData(tag_t tag, std::string_view data, std::vector<AttributeValues>& changed,
                        std::vector<Values>& before);

// The first value of a string or a reference; nothing if it is null or of another kind.
std::optional<std::string_view> firstText(tag_t tag, std::string_view data, tag_t attribute);
std::optional<tag_t> firstReference(tag_t tag, std::string_view data, tag_t attribute);

}  // namespace mervane
