#pragma once

// The check of keld_statusmanager.ini: what the status manager would pass over in silence, read
// otherwise than written, or trip over in the middle of a run.

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tools/keld/lint/ini.h"

namespace keld {

// A note is no mistake: it tells what the file means.
enum class Severity { Error, Warning, Note };

struct Finding {
    Severity severity = Severity::Warning;
    int line = 0;  // 0: of the file as a whole
    std::string section, text;
};

// A process section as the walk reaches it.
struct Reached {
    std::string section;  // as the file spells it; as the walk builds it if it isn't there
    std::string status;   // target status of the run
    std::string prefix;   // "" or "Old_"
    std::string type;     // type part of the name
    bool revision = false, item = false, line = false, bvr = false;  // what objects it is for
    bool present = false;
};

// The names that the store knows.
struct KnownNames {
    std::vector<std::string> types, relations, privileges, templates;
    std::vector<std::string> item_types, revision_types, dataset_types, bvr_types;
    std::vector<std::string> statuses;  // names of stored release statuses
    // Properties of the objects that a section is for, or of one of their forms; empty: the store
    // has no such object to ask, or the function isn't given.
    std::function<std::vector<std::string>(const Reached&, const std::string& form)> properties;
};

enum Direction { kForward = 0, kBack = 1, kNoRek = 2, kBegin = 3 };
const char* walkKey(int direction);

// One entry of a walk list with what it leads to.
struct WalkStep {
    std::size_t from, to;  // indexes into Reachable::process
    int arrival;           // how the one that it starts from was reached
    int direction;
    std::size_t number;  // of the entry in its list
    std::string kind, entry;
    int line = 0;
};

struct WalkStart {
    std::string type;  // as SelectWSO spells it
    int line = 0;      // of SelectWSO
    std::size_t at;    // index into Reachable::process
};

// Every process section that a run can read, with the form sections below.
struct Reachable {
    std::vector<Reached> process;
    std::vector<WalkStart> starts;
    std::vector<WalkStep> steps;
    std::map<std::string, std::string> forms;  // lower-case name -> process section
    std::set<std::string> statuses;            // target statuses with a section for a start type
    std::vector<Finding> findings;             // circles and steps that lead nowhere
};

Reachable followWalks(const IniFile& ini, const KnownNames& names);
// Target statuses of each start type, by its name in lower case.
std::map<std::string, std::set<std::string>> targetStatuses(const IniFile& ini);
// Target statuses that have a section for this start type.
std::set<std::string> targetStatuses(const IniFile& ini, const std::string& type);

std::vector<Finding> checkIni(const IniFile& ini, const KnownNames& names);

// Parts of it, by what they look at; each adds its findings.
// Sections whose objects a run can meet twice.
void checkMeetings(const IniFile& ini, const Reachable& reachable, std::vector<Finding>& findings);
// Statuses that nobody sets, and those from which no run goes on.
void checkStatuses(const IniFile& ini, const KnownNames& names, const Reachable& reachable,
                   std::vector<Finding>& findings);
// Keys of one section that contradict each other.
void checkContradictions(const IniFile& ini, const Reachable& reachable,
                         std::vector<Finding>& findings);
// Commas between entries.
void checkCommas(const IniFile& ini, const Reachable& reachable, std::vector<Finding>& findings);
// Properties that the objects and forms haven't got.
void checkProperties(const IniFile& ini, const KnownNames& names, const Reachable& reachable,
                     std::vector<Finding>& findings);

// Words of a status text: people separate them by semicolons, commas or blanks.
std::vector<std::string> statusWords(const std::string& text);
// What a key of the section holds; empty if it isn't there.
std::string valueOf(const IniFile& ini, const std::string& section, const char* key);

}  // namespace keld
