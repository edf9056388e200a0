#include "workbench/import/world_values.h"

#include <cmath>
#include <limits>

#include "workbench/import/base64.h"
#include "workbench/session/dates.h"
#include "workbench/utf8.h"

namespace mervane {
namespace {

constexpr const char* kKindNames[] = {"string", "int", "double", "logical", "date", "reference"};

void writeDate(JsonWriter& json, const date_s& date) {
    if (isNullDate(date) || isValidDate(date))
        return json.text(dateText(date));
    json.beginObject();
    json.key("date");
    json.beginArray(true);
    for (int part : {int{date.year}, int{date.month}, int{date.day}, int{date.hour},
                     int{date.minute}, int{date.second}})
        json.integer(part);
    json.endArray();
    json.endObject();
}

void writeDouble(JsonWriter& json, double value) {
    if (std::isfinite(value))
        return json.number(value);
    json.beginObject();
    json.key("double");
    json.text(std::isnan(value) ? "nan" : value > 0 ? "inf" : "-inf");
    json.endObject();
}

double readDouble(const JsonNode& node) {
    if (!node.isObject())
        return node.number();
    const JsonNode name = node.allow({"double"}).at("double");
    const std::string text = name.text();
    if (text == "nan")
        return std::numeric_limits<double>::quiet_NaN();
    if (text == "inf" || text == "-inf")
        return (text == "inf" ? 1 : -1) * std::numeric_limits<double>::infinity();
    name.fail("expected \"nan\", \"inf\" or \"-inf\"");
}

void writeValue(JsonWriter& json, const Value& value,
                const std::function<std::string(tag_t)>& label) {
    if (const auto* text = std::get_if<std::string>(&value))
        writeText(json, *text);
    else if (const auto* integer = std::get_if<std::int64_t>(&value))
        json.integer(*integer);
    else if (const auto* number = std::get_if<double>(&value))
        writeDouble(json, *number);
    else if (const auto* logical = std::get_if<bool>(&value))
        json.logical(*logical);
    else if (const auto* date = std::get_if<Date>(&value))
        writeDate(json, date->date);
    else if (const tag_t tag = std::get<Reference>(value).tag; tag == NULLTAG)
        json.null();
    else
        json.text(label(tag));
}

Value readValue(const JsonNode& node, Kind kind,
                const std::function<tag_t(const JsonNode&)>& resolve) {
    switch (kind) {
        case Kind::String:
            return readText(node);
        case Kind::Int:
            return node.integer();
        case Kind::Double:
            return readDouble(node);
        case Kind::Logical:
            return node.logical();
        case Kind::Date:
            return readDate(node);
        case Kind::Reference:
            return node.isNull() ? Reference{} : Reference{resolve(node)};
    }
    return {};
}

}  // namespace

const char* kindName(Kind kind) {
    return kKindNames[static_cast<int>(kind)];
}

Kind readKind(const JsonNode& node) {
    const std::string name = node.text();
    for (int i = 0; i < 6; ++i)
        if (name == kKindNames[i])
            return static_cast<Kind>(i);
    const std::vector<std::string> known(std::begin(kKindNames), std::end(kKindNames));
    node.fail("unknown kind \"" + name + "\"" + nearestHint(name, known));
}

void writeText(JsonWriter& json, const std::string& text) {
    if (isUtf8(text))
        return json.text(text);
    json.beginObject();
    json.key("bytes");
    json.text(toBase64(text));
    json.endObject();
}

std::string readText(const JsonNode& node) {
    if (!node.isObject())
        return node.text();
    const JsonNode encoded = node.allow({"bytes"}).at("bytes");
    const auto bytes = fromBase64(encoded.text());
    if (!bytes)
        encoded.fail("expected base64 without line breaks");
    if (bytes->find('\0') != std::string::npos)
        encoded.fail("expected a text without the character NUL");
    return *bytes;
}

Date readDate(const JsonNode& node) {
    if (node.isObject()) {
        const JsonNode list = node.allow({"date"}).at("date");
        const auto parts = list.elements();
        if (parts.size() != 6)
            list.fail("expected six numbers: year, month from 0, day, hour, minute, second");
        std::int64_t number[6];
        for (std::size_t i = 0; i < 6; ++i) {
            number[i] = parts[i].integer();
            // The limits are those of the fields: a date that no calendar has comes back, too.
            const std::int64_t low = i == 0 ? INT16_MIN : 0, high = i == 0 ? INT16_MAX : 255;
            if (number[i] < low || number[i] > high)
                parts[i].fail("expected a number of " + std::to_string(low) + " to " +
                              std::to_string(high));
        }
        return {{static_cast<std::int16_t>(number[0]), static_cast<std::uint8_t>(number[1]),
                 static_cast<std::uint8_t>(number[2]), static_cast<std::uint8_t>(number[3]),
                 static_cast<std::uint8_t>(number[4]), static_cast<std::uint8_t>(number[5])}};
    }
    const std::string text = node.text();
    try {
        // An export writes the null date as an empty text.
        return text.empty() ? Date{} : Date{dateFromText(text)};
    } catch (const Failure&) {
        node.fail("expected a date like \"2026-03-31 14:05:00\", found \"" + text.substr(0, 100) +
                  "\"");
    }
}

void writeValues(JsonWriter& json, const Attribute& attribute, const Values& values,
                 const std::function<std::string(tag_t)>& label) {
    if (!attribute.array)
        // Further values of a single attribute are damage.
        return writeValue(json, values.front(), label);
    json.beginArray(true);
    for (const Value& value : values)
        writeValue(json, value, label);
    json.endArray();
}

Values readValues(const JsonNode& node, const Attribute& attribute,
                  const std::function<tag_t(const JsonNode&)>& resolve) {
    Values values;
    if (attribute.array) {
        for (const JsonNode& element : node.elements())
            values.push_back(readValue(element, attribute.kind, resolve));
    } else {
        values.push_back(readValue(node, attribute.kind, resolve));
    }
    return values;
}

}  // namespace mervane
