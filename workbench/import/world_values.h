#pragma once

// Values of attributes in a world document.

#include <functional>
#include <string>

#include "workbench/import/json_document.h"
#include "workbench/import/json_writer.h"
#include "workbench/model/model.h"

namespace mervane {

// The names of the kinds in a document: "string", "int", "double", "logical", "date", "reference".
const char* kindName(Kind kind);
Kind readKind(const JsonNode& node);

// A text that is no UTF-8 is written as {"bytes": BASE64}, a double without a numeral as
// {"double": "nan"}, "inf" or "-inf", a date that the calendar doesn't have as {"date": [year,
// month from 0, day, hour, minute, second]}.
void writeText(JsonWriter& json, const std::string& text);
std::string readText(const JsonNode& node);

// References are written by their label; the empty reference, which only lists have, as null.
void writeValues(JsonWriter& json, const Attribute& attribute, const Values& values,
                 const std::function<std::string(tag_t)>& label);
// `resolve` gives the object that a string names, or refuses.
Values readValues(const JsonNode& node, const Attribute& attribute,
                  const std::function<tag_t(const JsonNode&)>& resolve);

Date readDate(const JsonNode& node);

}  // namespace mervane
