#pragma once

// The values of one object, by the places of its attributes in the layout of its type. What was
// read and isn't changed takes some bytes for each value, and nothing for a null; only arrays and
// what is changed have values of their own.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "workbench/values.h"

namespace mervane {

struct Type;
class ObjectReader;

// An attribute with values of its own.
struct Field {
    std::uint32_t place = 0;
    bool dirty = false;              // to be written by the next save
    Values values;                   // empty: null
    std::unique_ptr<Values> stored;  // what the store has, while the field differs from it
};

class Fields {
public:
    // Empty: null.
    Values values(std::size_t place) const;
    bool isNull(std::size_t place) const;
    // The same for an array, without a copy; good until a field of the object changes.
    const Values& list(std::size_t place) const;
    // A string, empty if null; good until a field of the object changes.
    std::string_view text(std::size_t place) const;
    // NULLTAG if null.
    tag_t reference(std::size_t place) const;
    bool isDirty(std::size_t place) const;
    bool anyDirty() const;

    // Those with values of their own, in no order. What is changed is among them.
    const std::vector<Field>& opened() const { return opened_; }
    std::vector<Field>& opened() { return opened_; }
    // Null: it has no values of its own.
    const Field* find(std::size_t place) const;
    // Give it values of its own, to change them; good until the next one is opened.
    Field& open(std::size_t place);

    void clear();
    // The values of the attribute that the reader is at. Requires: none were read at this place.
    void read(std::size_t place, bool array, ObjectReader& in);
    // All is read: give back what is too much room.
    void readAll();
    // What is dirty is stored now. True: a field still differs from the store.
    bool settle(const Type& type) noexcept;

private:
    // A single value as bytes, after its place and kind.
    struct Packed {
        Kind kind = Kind::String;
        std::string_view bytes;
    };

    std::string packed_;
    std::vector<Field> opened_;

    bool findPacked(std::size_t place, Packed& found) const;
    void pack(std::size_t place, const Value& value);
    void packText(std::size_t place, std::string_view text);
    static Value unpacked(const Packed& packed);
    // The end of the one that begins here.
    static std::size_t endOf(std::string_view all, std::size_t begin);
};

}  // namespace mervane
