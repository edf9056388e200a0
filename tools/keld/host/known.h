#pragma once

// What a store knows: types, users, revisions of items. And filters: which objects they let
// through.

#include <string>
#include <vector>

#include "tools/keld/host/context.h"

namespace keld {

// Whether the object's type is this one or a subtype of it.
bool isOf(const Context& context, tag_t object, const char* type);
// A revision itself, or the latest one of an item. Failure: CommandError for anything else.
tag_t revisionNamed(const Context& context, const std::string& name);

std::vector<std::string> knownUsers(const Context& context);
// Failure: CommandError with the nearest names, for a name that the store doesn't know, or a type
// that isn't `below` or one of its subtypes.
void needType(const Context& context, const std::string& type, const std::string& below);
void needRelation(const Context& context, const std::string& type);
void needUser(const Context& context, const std::string& id);

// The filter of `tree` and `find`; an empty text filters nothing.
struct Filter {
    std::string status, owner, type, checked_out_by;
    bool checked_out = false;
    bool any() const;
};
void addFilterOptions(CLI::App* verb, Filter& filter);
// Failure: CommandError for a type or user that the store doesn't know.
void checkFilter(const Context& context, const Filter& filter);
bool matches(const Context& context, const Filter& filter, tag_t object);
// Failure: CommandError with the nearest names, if neither an object nor the configuration has a
// status of this name.
void needStatus(const Context& context, const std::string& status);

}  // namespace keld
