#pragma once

// What a verb does with objects through the platform's functions, as runs: with one object or with
// many, one run each or one for all.

#include <functional>
#include <string>
#include <vector>

#include "tools/keld/host/refusal.h"
#include "tools/keld/host/run.h"

namespace keld {

// A call of the platform that failed inside a deed: the deed is refused, with this reason.
class Refused : public CommandError {
public:
    explicit Refused(Refusal why) : CommandError(why.found), refusal(std::move(why)) {}
    Refusal refusal;
};

// Failure: Refused, about the object, if the platform's status isn't 0.
void need(const Context& context, int status, const char* operation, tag_t object);

// What was done with one object, or why it wasn't.
struct Deed {
    Outcome outcome;
    std::vector<Refusal> refusals;
    std::string told;             // "set object_name of 000123"; for people
    Json facts = Json::object();  // the same for the document
};

// The steps that make up a deed, up to the first that fails. What is saved by then goes back with
// the run, which is refused; as the server it stays. Requires: a run.
Deed deed(const Context& context, tag_t about, const std::function<void(Deed&)>& steps);

// --dry-run, --as-server and --plan, of a verb whose steps are its own.
void addDeedOptions(CLI::App* verb, RunWish& wish);

// The end of a run of one deed: shows it and how it ended.
int tellDeed(Context& context, const VerbRun& run, const Record& record, const Deed& done);
// One deed as a run of this verb; shows it and how it ended. Gives the exit code.
int carryOut(Context& context, const RunWish& wish, const std::string& verb,
             const std::string& arguments, tag_t about, const std::function<void(Deed&)>& steps);

// ---- many objects ----

struct Many {
    std::vector<std::string> names;  // as they are given; "-" stands for those of standard input
    std::string from;                // a file with a name a line
    bool together = false;           // one run for all
};

// --from and --together.
void addManyOptions(CLI::App* verb, Many& many);
// Put the names of the file and of standard input into the list, and into the command that a plan
// has. `behind`: how many words stand behind the names on the command line. Failure: CommandError
// for a file that can't be read, no name at all, or a plan of several runs.
void readNames(Context& context, const RunWish& wish, Many& many, std::size_t behind);

// What is done with each of them.
struct Task {
    std::string verb;           // what the record calls it
    std::string configuration;  // that it reads; empty: none
    // The arguments of a run with these objects, as the record has them.
    std::function<std::string(const std::vector<std::string>& names)> arguments;
    std::function<Deed(const std::string& name, tag_t object)> perform;
    // Why a run of this one object was refused, asked when it has gone back. May be null.
    std::function<std::vector<Refusal>(const std::string& name, tag_t object, const Deed& done)>
        explain;
};

// Carry it out: for one name as a run that is told in full, for several as carryOutMany.
int carryOutTask(Context& context, const RunWish& wish, const Many& many, const Task& task);
// Carry it out for each name, show a line for each and their sum. Gives the exit code.
int carryOutMany(Context& context, const RunWish& wish, const Many& many, const Task& task);

}  // namespace keld
