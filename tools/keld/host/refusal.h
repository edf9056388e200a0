#pragma once

// Why a service refuses an object, in the words of people: which one, where it is, which rule, what
// was found and what would have been allowed.

#include "tools/keld/host/context.h"

namespace keld {

struct Refusal {
    int status = 0;
    tag_t object = NULLTAG;
    std::string label, type;
    std::vector<std::string> path;  // labels from the start object to it; empty: not found
    std::string rule;
    std::string found, allowed;  // empty: the rule says it all
    std::string section, file;   // of the configuration, if one rules it
    int line = 0;
    std::string holder;  // who has it checked out, since when and why
};

Json asJson(const Refusal& refusal);
std::string asText(const Refusal& refusal);

// The shortest way down from one object to another over structures, relations and what belongs to
// an item or revision.
std::vector<std::string> pathBetween(const Context& context, tag_t start, tag_t object);
// "user muster since 2001-02-03 04:05:06: comment"; empty: nobody has it checked out.
std::string holderOf(const Context& context, tag_t object);

}  // namespace keld
