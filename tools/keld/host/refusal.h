#pragma once

// Why a service refuses an object, in words for people: which object, where it is, which rule, what
// was found and what would be allowed.

#include "tools/keld/host/context.h"

namespace keld {

struct Refusal {
    int status = 0;
    tag_t object = NULLTAG;
    std::string label, typed, type;  // typed: the label as people type it
    std::vector<std::string> path;   // labels from the start object to it; empty: not found
    std::string rule;
    std::string found, allowed;  // empty: the rule says enough
    std::string section, file;   // of the configuration, if it has the rule; file: or a preference
    int line = 0;                // of the file, or the number of the preference's value
    std::string holder;          // who has it checked out, since when and why; or who has locked it
    std::string operation;       // the platform call that failed; empty: a rule of the service
};

// A refusal with rule, path from `start` and holder; the caller fills in what was found and what
// would be allowed. NULLTAG: it is about no object.
Refusal refusalOf(const Context& context, int status, tag_t object, tag_t start);
// Give the failed platform call as what was found.
struct Outcome;
void tellFailedCall(Refusal& refusal, const std::string& operation, const Outcome& outcome);
// Fill in why the user can't change the object.
void tellNotModifiable(const Context& context, Refusal& refusal);
// Fill in the place of a setting, and give its value. Services read such a section from a
// preference with lines "KEY=VALUE", else from the base settings; of several keys the first that
// exists counts. Empty: there is none.
std::string tellSetting(const Context& context, Refusal& refusal, const std::string& section,
                        const std::vector<std::string>& keys);

// Report to standard error why a service didn't succeed: its status after `word`, each refusal, the
// error stack and the lines of the log. The document gets "refusals", and the first one again as
// "refusal".
void tellProblems(Context& context, const Outcome& outcome, const std::vector<Refusal>& refusals,
                  const std::string& word = "refused");

Json asJson(const Refusal& refusal);
std::string asText(const Refusal& refusal);

// The objects from which a service may reach this one: users in structures, primaries of relations,
// and the item or revision that it belongs to.
std::vector<tag_t> parentsOf(const Context& context, tag_t object);
// The shortest way down from one object to another, by the steps of parentsOf; empty: none was
// found.
std::vector<std::string> pathBetween(const Context& context, tag_t start, tag_t object);
// "user muster since 2001-02-03 04:05:06: comment"; empty: nobody has it checked out.
std::string holderOf(const Context& context, tag_t object);

}  // namespace keld
