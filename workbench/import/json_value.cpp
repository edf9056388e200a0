#include "workbench/import/json_value.h"

#include <algorithm>
#include <cstring>

#include "workbench/model/status.h"
#include "workbench/workbench.h"

namespace mervane {
namespace {

constexpr std::size_t kSizeOfSize = sizeof(std::uint32_t);

std::size_t sizeAt(std::string_view bytes, std::size_t at) {
    std::uint32_t size = 0;
    std::memcpy(&size, bytes.data() + at, kSizeOfSize);
    return size;
}

}  // namespace

const char* kindName(JsonKind kind) {
    switch (kind) {
        case JsonKind::Object:
            return "an object";
        case JsonKind::Array:
            return "an array";
        case JsonKind::String:
            return "a string";
        case JsonKind::False:
        case JsonKind::True:
            return "true or false";
        case JsonKind::Null:
            return "null";
        case JsonKind::Fraction:
            return "a number with a fraction";
        case JsonKind::Integer:
        case JsonKind::Unsigned:
            break;
    }
    return "an integer";
}

// ---- the compact form ----

void JsonBytes::number(JsonKind kind_of_it, const void* eight_bytes) {
    kind(kind_of_it);
    bytes.append(static_cast<const char*>(eight_bytes), 8);
}

void JsonBytes::text(std::string_view text) {
    // The length has seven bits a byte, the lowest first, whose high bit says that more follow.
    std::size_t length = text.size();
    for (; length >= 0x80; length >>= 7)
        bytes.push_back(static_cast<char>(length | 0x80));
    bytes.push_back(static_cast<char>(length));
    bytes += text;
}

std::size_t JsonBytes::begin(JsonKind kind_of_it) {
    kind(kind_of_it);
    const std::size_t place = bytes.size();
    bytes.append(kSizeOfSize, '\0');
    return place;
}

void JsonBytes::end(std::size_t place) {
    const auto size = static_cast<std::uint32_t>(bytes.size() - place - kSizeOfSize);
    std::memcpy(bytes.data() + place, &size, kSizeOfSize);
}

std::string_view JsonBytes::textAt(std::string_view bytes, std::size_t& at) {
    std::size_t length = 0;
    for (int shift = 0;; shift += 7) {
        const auto byte = static_cast<unsigned char>(bytes[at++]);
        length |= std::size_t{byte & 0x7Fu} << shift;
        if (byte < 0x80)
            break;
    }
    const std::string_view text = bytes.substr(at, length);
    at += length;
    return text;
}

std::size_t JsonBytes::after(std::string_view bytes, std::size_t at) {
    const JsonKind kind = kindAt(bytes, at++);
    switch (kind) {
        case JsonKind::Integer:
        case JsonKind::Unsigned:
        case JsonKind::Fraction:
            return at + 8;
        case JsonKind::String:
            textAt(bytes, at);
            return at;
        case JsonKind::Array:
        case JsonKind::Object:
            return at + kSizeOfSize + sizeAt(bytes, at);
        default:
            return at;
    }
}

// ---- nodes ----

std::string JsonTree::path() const {
    std::string path = "$." + std::string(key_);
    if (in_list_)
        path += "[" + std::to_string(place_.index) + "]";
    return path;
}

std::string_view JsonNode::bytes() const {
    return tree_->bytes_;
}

template <typename Each>
void JsonNode::walk(std::size_t at, Each&& each) const {
    const std::string_view all = bytes();
    const bool object = JsonBytes::kindAt(all, at) == JsonKind::Object;
    ++at;
    const std::size_t end = at + kSizeOfSize + sizeAt(all, at);
    at += kSizeOfSize;
    while (at < end) {
        const std::string_view name = object ? JsonBytes::textAt(all, at) : std::string_view();
        if (!each(name, at))
            return;
        at = JsonBytes::after(all, at);
    }
}

std::string JsonNode::path() const {
    std::string path = tree_->path();
    // Down from the root, each time into the value that this one is in.
    std::size_t above = 0;
    while (above < at_) {
        const bool object = JsonBytes::kindAt(bytes(), above) == JsonKind::Object;
        std::size_t index = 0, next = at_;
        walk(above, [&](std::string_view name, std::size_t at) {
            if (at_ >= JsonBytes::after(bytes(), at)) {
                ++index;
                return true;
            }
            next = at;
            path += object ? "." + std::string(name) : "[" + std::to_string(index) + "]";
            return false;
        });
        above = next;
    }
    return path;
}

const JsonNode& JsonNode::allow(std::initializer_list<std::string_view> keys) const {
    if (!isObject())
        failExpected("an object");
    walk(at_, [&](std::string_view key, std::size_t) {
        if (std::find(keys.begin(), keys.end(), key) == keys.end()) {
            const std::vector<std::string> known(keys.begin(), keys.end());
            const std::string shown(key.substr(0, 200));
            fail("unknown key \"" + shown + "\"" + nearestHint(key, known));
        }
        return true;
    });
    return *this;
}

std::optional<JsonNode> JsonNode::find(std::string_view key) const {
    if (!isObject())
        failExpected("an object");
    std::optional<JsonNode> found;
    walk(at_, [&](std::string_view name, std::size_t at) {
        if (name == key)
            found = JsonNode(*tree_, at);
        return !found;
    });
    return found;
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
    walk(at_, [&](std::string_view name, std::size_t at) {
        all.emplace_back(name, JsonNode(*tree_, at));
        return true;
    });
    return all;
}

std::vector<JsonNode> JsonNode::elements() const {
    if (!isArray())
        failExpected("an array");
    std::vector<JsonNode> all;
    walk(at_, [&](std::string_view, std::size_t at) {
        all.emplace_back(*tree_, at);
        return true;
    });
    return all;
}

std::vector<JsonNode> JsonNode::list(std::string_view key) const {
    const auto found = find(key);
    return found ? found->elements() : std::vector<JsonNode>();
}

std::string_view JsonNode::anyText() const {
    if (!isString())
        failExpected("a string");
    std::size_t at = at_ + 1;
    return JsonBytes::textAt(bytes(), at);
}

std::string JsonNode::text() const {
    const std::string_view text = anyText();
    // The interface hands texts out as C strings, which end at a NUL.
    if (text.find('\0') != std::string_view::npos)
        fail("expected a string without the character NUL");
    return std::string(text);
}

std::string JsonNode::text(std::string_view key, const std::string& otherwise) const {
    const auto found = find(key);
    return found ? found->text() : otherwise;
}

template <typename Number>
Number JsonNode::eightBytes() const {
    static_assert(sizeof(Number) == 8);
    Number number{};
    std::memcpy(&number, bytes().data() + at_ + 1, sizeof number);
    return number;
}

std::int64_t JsonNode::integer() const {
    if (kind() != JsonKind::Integer && kind() != JsonKind::Unsigned)
        failExpected("an integer");
    if (kind() == JsonKind::Unsigned && eightBytes<std::uint64_t>() > INT64_MAX)
        fail("expected an integer of 64 bits");
    return eightBytes<std::int64_t>();
}

double JsonNode::number() const {
    switch (kind()) {
        case JsonKind::Integer:
            return static_cast<double>(eightBytes<std::int64_t>());
        case JsonKind::Unsigned:
            return static_cast<double>(eightBytes<std::uint64_t>());
        case JsonKind::Fraction:
            return eightBytes<double>();
        default:
            failExpected("a number");
    }
}

bool JsonNode::logical() const {
    if (kind() != JsonKind::True && kind() != JsonKind::False)
        failExpected("true or false");
    return kind() == JsonKind::True;
}

std::vector<std::string> JsonNode::texts() const {
    std::vector<std::string> all;
    for (const JsonNode& element : elements())
        all.push_back(element.text());
    return all;
}

void JsonNode::failExpected(const std::string& what) const {
    fail("expected " + what + ", found " + kindName(kind()));
}

void JsonNode::fail(const std::string& text) const {
    throw Failure(kBadImport, *tree_->source_ + ": " + path() + ": " + text);
}

}  // namespace mervane
