#include "workbench/session/fields.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "workbench/model/model.h"
#include "workbench/store/object_data.h"

namespace mervane {

namespace {

const Values kNull;

// Place, kind, and of a string its length.
constexpr std::size_t kHead = sizeof(std::uint32_t) + 1;

template <typename T>
void append(std::string& bytes, const T& value) {
    const std::size_t end = bytes.size();
    bytes.resize(end + sizeof(T));
    std::memcpy(bytes.data() + end, &value, sizeof(T));
}

template <typename T>
T readAt(std::string_view bytes, std::size_t at) {
    T value;
    std::memcpy(&value, bytes.data() + at, sizeof(T));
    return value;
}

Kind kindAt(std::string_view all, std::size_t begin) {
    return static_cast<Kind>(all[begin + sizeof(std::uint32_t)]);
}

}  // namespace

std::size_t Fields::endOf(std::string_view all, std::size_t begin) {
    const std::size_t at = begin + kHead;
    switch (kindAt(all, begin)) {
        case Kind::String:
            return at + sizeof(std::uint32_t) + readAt<std::uint32_t>(all, at);
        case Kind::Int:
            return at + sizeof(std::int64_t);
        case Kind::Double:
            return at + sizeof(double);
        case Kind::Logical:
            return at + 1;
        case Kind::Date:
            return at + sizeof(date_s);
        case Kind::Reference:
            return at + sizeof(tag_t);
    }
    // Nobody packs another kind, and the end of all ends every walk.
    return all.size();
}

bool Fields::findPacked(std::size_t place, Packed& found) const {
    // The walk is short, since objects have few values. An index would take memory for each object.
    for (std::size_t at = 0; at < packed_.size();) {
        const std::size_t end = endOf(packed_, at);
        if (readAt<std::uint32_t>(packed_, at) == place) {
            found.kind = kindAt(packed_, at);
            const std::size_t begin =
                at + kHead + (found.kind == Kind::String ? sizeof(std::uint32_t) : 0);
            found.bytes = std::string_view(packed_).substr(begin, end - begin);
            return true;
        }
        at = end;
    }
    return false;
}

void Fields::packText(std::size_t place, std::string_view text) {
    append(packed_, static_cast<std::uint32_t>(place));
    packed_.push_back(static_cast<char>(Kind::String));
    append(packed_, static_cast<std::uint32_t>(text.size()));
    packed_.append(text);
}

void Fields::pack(std::size_t place, const Value& value) {
    if (const auto* text = std::get_if<std::string>(&value))
        return packText(place, *text);
    append(packed_, static_cast<std::uint32_t>(place));
    packed_.push_back(static_cast<char>(kindOf(value)));
    if (const auto* number = std::get_if<std::int64_t>(&value)) {
        append(packed_, *number);
    } else if (const auto* real = std::get_if<double>(&value)) {
        append(packed_, *real);
    } else if (const auto* logical = std::get_if<bool>(&value)) {
        packed_.push_back(*logical ? 1 : 0);
    } else if (const auto* date = std::get_if<Date>(&value)) {
        append(packed_, date->date);
    } else {
        append(packed_, std::get<Reference>(value).tag);
    }
}

Value Fields::unpacked(const Packed& packed) {
    switch (packed.kind) {
        case Kind::String:
            return std::string(packed.bytes);
        case Kind::Int:
            return readAt<std::int64_t>(packed.bytes, 0);
        case Kind::Double:
            return readAt<double>(packed.bytes, 0);
        case Kind::Logical:
            return packed.bytes[0] != 0;
        case Kind::Date:
            return Date{readAt<date_s>(packed.bytes, 0)};
        case Kind::Reference:
            break;
    }
    return Reference{readAt<tag_t>(packed.bytes, 0)};
}

const Field* Fields::find(std::size_t place) const {
    for (const Field& field : opened_)
        if (field.place == place)
            return &field;
    return nullptr;
}

Values Fields::values(std::size_t place) const {
    // An opened field has the newer value: its packed one stays until settle() takes it out.
    if (const Field* field = find(place))
        return field->values;
    Packed packed;
    return findPacked(place, packed) ? Values{unpacked(packed)} : Values{};
}

bool Fields::isNull(std::size_t place) const {
    if (const Field* field = find(place))
        return field->values.empty();
    Packed packed;
    return !findPacked(place, packed);
}

const Values& Fields::list(std::size_t place) const {
    const Field* field = find(place);
    return field ? field->values : kNull;
}

std::string_view Fields::text(std::size_t place) const {
    if (const Field* field = find(place))
        return field->values.empty() ? std::string_view()
                                     : std::get<std::string>(field->values.front());
    Packed packed;
    return findPacked(place, packed) ? packed.bytes : std::string_view();
}

tag_t Fields::reference(std::size_t place) const {
    if (const Field* field = find(place))
        return field->values.empty() ? NULLTAG : std::get<Reference>(field->values.front()).tag;
    Packed packed;
    return findPacked(place, packed) ? readAt<tag_t>(packed.bytes, 0) : NULLTAG;
}

bool Fields::isDirty(std::size_t place) const {
    const Field* field = find(place);
    return field && field->dirty;
}

bool Fields::anyDirty() const {
    return std::any_of(opened_.begin(), opened_.end(),
                       [](const Field& field) { return field.dirty; });
}

Field& Fields::open(std::size_t place) {
    for (Field& field : opened_)
        if (field.place == place)
            return field;
    Field field;
    field.place = static_cast<std::uint32_t>(place);
    field.values = values(place);
    return opened_.emplace_back(std::move(field));
}

void Fields::clear() {
    packed_.clear();
    opened_.clear();
}

void Fields::read(std::size_t place, bool array, ObjectReader& in) {
    // Several values of a single attribute are damage. They aren't lost: the field becomes a list.
    if (array || in.left() != 1)
        open(place).values = in.values();
    else if (in.kind() == Kind::String)
        packText(place, in.text());
    else
        pack(place, in.value());
}

void Fields::readAll() {
    packed_.shrink_to_fit();
}

bool Fields::settle(const Type& type) noexcept {
    bool differs = false;
    for (Field& field : opened_) {
        if (field.dirty) {
            field.dirty = false;
            field.stored.reset();
        }
        differs = differs || field.stored;
    }
    // A packed value is a single one, so lists stay opened, as does a value that isn't stored.
    const auto stays = [&](const Field& field) {
        return field.stored || field.values.size() > 1 || type.layout[field.place]->array;
    };
    try {
        // The new bytes are made beside the old ones: without memory all stays as it was.
        Fields packed;
        for (std::size_t at = 0; at < packed_.size();) {
            const std::size_t end = endOf(packed_, at);
            if (!find(readAt<std::uint32_t>(packed_, at)))
                packed.packed_.append(packed_, at, end - at);
            at = end;
        }
        for (const Field& field : opened_)
            if (!stays(field) && !field.values.empty())
                packed.pack(field.place, field.values.front());
        packed.packed_.shrink_to_fit();
        packed_.swap(packed.packed_);
        std::erase_if(opened_, [&](const Field& field) { return !stays(field); });
        if (opened_.empty())
            opened_.shrink_to_fit();
    } catch (const std::bad_alloc&) {
        // What is opened may stay so.
    }
    return differs;
}

}  // namespace mervane
