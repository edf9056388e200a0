#pragma once

// What a verb does with objects through the platform's functions, as runs: with one object or with
// many, in one run for each or in one for all.

#include <functional>
#include <string>
#include <vector>

#include "tools/keld/host/refusal.h"
#include "tools/keld/host/run.h"

namespace keld {

// A platform call failed inside a deed. The deed is refused, with this reason.
class Refused : public CommandError {
public:
    explicit Refused(Refusal why) : CommandError(why.found), refusal(std::move(why)) {}
    Refusal refusal;
};

// Failure: Refused, about the object, if the platform's status isn't 0.
void need(const Context& context, int status, const char* operation, tag_t object);

// What was done with one object, or why not.
struct Deed {
    Outcome outcome;
    std::vector<Refusal> refusals;
    std::string told;             // "set object_name of 000123", for people
    Json facts = Json::object();  // the same for the document
};

// Take the steps of a deed, up to the first that fails. The refused run then takes back what the
// steps have saved, unless it runs as the server. Requires: a run.
Deed deed(const Context& context, tag_t about, const std::function<void(Deed&)>& steps);

// Add --dry-run, --as-server and --plan, for a verb that takes its steps itself.
void addDeedOptions(CLI::App* verb, RunWish& wish);

// Show a deed and how its run ended. Gives the exit code.
int tellDeed(Context& context, const VerbRun& run, const Record& record, const Deed& done);
// Carry out one deed as a run of this verb, and show it. Gives the exit code.
int carryOut(Context& context, const RunWish& wish, const std::string& verb,
             const std::string& arguments, tag_t about, const std::function<void(Deed&)>& steps);

// ---- many objects ----

struct Many {
    std::vector<std::string> names;  // as they are given; "-" takes those of standard input
    std::string from;                // a file with one name per line
    bool together = false;           // one run for all
};

// Add --from and --together.
void addManyOptions(CLI::App* verb, Many& many);
// Replace the list by all names, those of the file and of standard input included, also in the
// command that a plan keeps. `words_after`: how many words follow the names on the command line.
// Failure: CommandError for a file that can't be read, no name at all, or a plan of several runs.
void readNames(Context& context, const RunWish& wish, Many& many, std::size_t words_after);

// What is done with each object.
struct Task {
    std::string verb;           // name of the verb in the record
    std::string configuration;  // the one that it reads; empty: none
    // Arguments of a run with these objects, for the record.
    std::function<std::string(const std::vector<std::string>& names)> arguments;
    std::function<Deed(const std::string& name, tag_t object)> perform;
    // Why a run of this one object was refused; asked after its end. May be null.
    std::function<std::vector<Refusal>(const std::string& name, tag_t object, const Deed& done)>
        explain;
};

// Carry it out: for one name with a full report, for several as carryOutMany.
int carryOutTask(Context& context, const RunWish& wish, const Many& many, const Task& task);
// Carry it out for each name; show a line for each, and the sum. Gives the exit code.
int carryOutMany(Context& context, const RunWish& wish, const Many& many, const Task& task);

}  // namespace keld
