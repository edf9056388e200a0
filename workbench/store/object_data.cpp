#include "workbench/store/object_data.h"

#include <algorithm>

namespace mervane {

namespace {

// Added to the kind of an attribute that has another number of values than one.
constexpr std::uint64_t kSeveral = 8;

void append(ByteWriter& out, const AttributeValues& each) {
    const Values& values = *each.values;
    if (values.empty())
        return;
    out.number(each.attribute);
    out.number(values.front().index() + (values.size() == 1 ? 0 : kSeveral));
    if (values.size() != 1)
        out.number(values.size());
    for (const Value& value : values) {
        // Nobody could read it back.
        if (value.index() != values.front().index())
            throw Failure(kInternal, "an attribute has values of two kinds");
        out.bare(value);
    }
}

void sort(std::vector<AttributeValues>& values) {
    std::sort(values.begin(), values.end(),
              [](const auto& a, const auto& b) { return a.attribute < b.attribute; });
}

}  // namespace

std::string objectData(std::vector<AttributeValues>& values) {
    sort(values);
    ByteWriter out;
    for (const AttributeValues& each : values)
        append(out, each);
    return out.take();
}

bool ObjectReader::next() {
    skip();
    if (in_.atEnd())
        return false;
    begin_ = in_.position();
    attribute_ = static_cast<tag_t>(in_.number());
    const std::uint64_t head = in_.number();
    const std::uint64_t kind = head % kSeveral;
    if (kind > static_cast<std::uint64_t>(Kind::Reference) || head >= 2 * kSeveral)
        in_.fail();
    kind_ = static_cast<Kind>(kind);
    left_ = head < kSeveral ? 1 : in_.count();
    return true;
}

Value ObjectReader::value() {
    --left_;
    return in_.bare(kind_);
}

std::string_view ObjectReader::text() {
    --left_;
    return in_.text();
}

tag_t ObjectReader::reference() {
    --left_;
    return static_cast<tag_t>(in_.number());
}

Values ObjectReader::values() {
    Values all;
    all.reserve(left_);
    while (left_ > 0)
        all.push_back(value());
    return all;
}

std::string_view ObjectReader::raw() {
    skip();
    return {begin_, static_cast<std::size_t>(in_.position() - begin_)};
}

void ObjectReader::skip() {
    for (; left_ > 0; --left_)
        in_.skip(kind_);
}

std::string changedData(tag_t tag, std::string_view data, std::vector<AttributeValues>& changed,
                        std::vector<Values>& before) {
    // Both are in the order of the handles then, so one walk through both is enough.
    sort(changed);
    before.assign(changed.size(), {});
    ByteWriter out;
    std::size_t at = 0;
    ObjectReader in(tag, data);
    while (in.next()) {
        for (; at < changed.size() && changed[at].attribute < in.attribute(); ++at)
            append(out, changed[at]);
        // Only new values are written anew. The bytes of all others stay as they are.
        if (at < changed.size() && changed[at].attribute == in.attribute()) {
            before[at] = in.values();
            append(out, changed[at++]);
        } else {
            out.raw(in.raw());
        }
    }
    for (; at < changed.size(); ++at)
        append(out, changed[at]);
    return out.take();
}

std::optional<std::string_view> firstText(tag_t tag, std::string_view data, tag_t attribute) {
    ObjectReader in(tag, data);
    // The attributes are in the order of their handles: after a higher one it can't come any more.
    while (in.next() && in.attribute() <= attribute)
        if (in.attribute() == attribute && in.kind() == Kind::String && in.left() > 0)
            return in.text();
    return std::nullopt;
}

std::optional<tag_t> firstReference(tag_t tag, std::string_view data, tag_t attribute) {
    ObjectReader in(tag, data);
    while (in.next() && in.attribute() <= attribute)
        if (in.attribute() == attribute && in.kind() == Kind::Reference && in.left() > 0)
            return in.reference();
    return std::nullopt;
}

}  // namespace mervane
