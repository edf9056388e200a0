#pragma once

// Why a service refuses an object, in the words of people: which one, where it is, which rule, what
// was found and what would have been allowed.

#include "tools/keld/host/context.h"

namespace keld {

struct Refusal {
    int status = 0;
    tag_t object = NULLTAG;
    std::string label, typed, type;  // typed: the label as people type it
    std::vector<std::string> path;   // labels from the start object to it; empty: not found
    std::string rule;
    std::string found, allowed;  // empty: the rule says it all
    std::string section, file;   // of the configuration, if one rules it; file: or a preference
    int line = 0;                // of the file, or number of the preference's value
    std::string holder;          // who has it checked out, since when and why, or has locked it
    std::string operation;       // the platform call that failed; empty: a rule of the service
};

// The refusal of an object (NULLTAG: of none) that a service came to from `start`, with its rule
// and holder; what was found and what would be allowed is the caller's.
Refusal refusalOf(const Context& context, int status, tag_t object, tag_t start);
// The platform call that failed is told as what was found.
struct Outcome;
void tellFailedCall(Refusal& refusal, const std::string& operation, const Outcome& outcome);
// Tell why the user can't change the object.
void tellNotModifiable(const Context& context, Refusal& refusal);
// The place of a key of a section that services read from a preference "KEY=VALUE", else from the
// base settings. The first of the keys that is there; gives its value, empty if none is.
std::string tellSetting(const Context& context, Refusal& refusal, const std::string& section,
                        const std::vector<std::string>& keys);

// Why a service didn't succeed, to standard error: its status behind `word`, each refusal, the
// error stack and the lines of the log. In the document "refusals", and the first of them as
// "refusal".
void tellProblems(Context& context, const Outcome& outcome, const std::vector<Refusal>& refusals,
                  const std::string& word = "refused");

Json asJson(const Refusal& refusal);
std::string asText(const Refusal& refusal);

// What a service comes from when it comes to the object: structures, relations, and what it belongs
// to.
std::vector<tag_t> parentsOf(const Context& context, tag_t object);
// The shortest way down from one object to another over structures, relations and what belongs to
// an item or revision.
std::vector<std::string> pathBetween(const Context& context, tag_t start, tag_t object);
// "user muster since 2001-02-03 04:05:06: comment"; empty: nobody has it checked out.
std::string holderOf(const Context& context, tag_t object);

}  // namespace keld
