#pragma once

// Setting properties from the command line, and putting objects on others and into folders, by the
// platform's functions.

#include <string>
#include <vector>

#include "tools/keld/host/deeds.h"

namespace keld {

struct CsvWish;

struct PropertyValue {
    std::string name, text;  // text: as it is displayed; empty removes the value
};

// Whether the word is NAME=VALUE. An object's name that looks like that must be in quotes.
bool isPropertyValue(const std::string& word);
// Failure: CommandError for a word that isn't NAME=VALUE, or for a repeated name.
std::vector<PropertyValue> propertyValues(const std::vector<std::string>& words);

// Why the property can't be set by hand on any object; empty: it can on some.
std::string whyNotByHand(const std::string& property);
// Why setValues would refuse the value; empty: property and text give no reason. Rights and locks
// aren't checked.
std::string whyNotValue(const Context& context, tag_t object, const PropertyValue& value);

// Set the values; "form.NAME" is a property of the master form. Gives a text for each change.
// Failure: Refused, or CommandError with the nearest names for an unknown property.
std::vector<std::string> setValues(const Context& context, tag_t object,
                                   const std::vector<PropertyValue>& values);

// Set the values of a file of rows, in one run.
int setRows(Context& context, const CsvWish& csv, const RunWish& wish);

// Failure: CommandError if the object isn't a folder.
tag_t folderNamed(const Context& context, const std::string& name);
void putIntoFolder(const Context& context, tag_t folder, tag_t object);
void relate(const Context& context, tag_t primary, tag_t secondary, tag_t relation_type);

}  // namespace keld
