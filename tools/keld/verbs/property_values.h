#pragma once

// Properties from the command line, and putting objects on others and into folders, through the
// platform's functions.

#include <string>
#include <vector>

#include "tools/keld/host/deeds.h"

namespace keld {

struct CsvWish;

struct PropertyValue {
    std::string name, text;  // text: as it is displayed; empty takes the value away
};

// Whether the word is NAME=VALUE: no name of an object begins like that without quotes.
bool isPropertyValue(const std::string& word);
// Failure: CommandError for a word that isn't NAME=VALUE, or a name that stands twice.
std::vector<PropertyValue> propertyValues(const std::vector<std::string>& words);

// Why no object has the property set by hand; empty: some may.
std::string whyNotByHand(const std::string& property);
// Why the object can't have the value, which setValues would refuse; empty: it can, as far as the
// property and the text are concerned.
std::string whyNotValue(const Context& context, tag_t object, const PropertyValue& value);

// Set them; "form.NAME" is a property of the master form. Gives what has changed, a text for each.
// Failure: Refused, or CommandError with the nearest names for an unknown property.
std::vector<std::string> setValues(const Context& context, tag_t object,
                                   const std::vector<PropertyValue>& values);

// The values of a file of rows, as one run.
int setRows(Context& context, const CsvWish& csv, const RunWish& wish);

// Failure: CommandError if it is none.
tag_t folderNamed(const Context& context, const std::string& name);
void putIntoFolder(const Context& context, tag_t folder, tag_t object);
void relate(const Context& context, tag_t primary, tag_t secondary, tag_t relation_type);

}  // namespace keld
