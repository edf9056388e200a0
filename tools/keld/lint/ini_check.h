#pragma once

// The check of keld_statusmanager.ini. It finds what the status manager would silently ignore,
// would read in another way than meant, or would fail at in the middle of a run.

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tools/keld/lint/ini.h"

namespace keld {

// A note reports no mistake: it explains what the file means.
enum class Severity { Error, Warning, Note };

struct Finding {
    Severity severity = Severity::Warning;
    int line = 0;  // 0: it is about the whole file
    std::string section, text;
};

// A process section that a walk reaches.
struct Reached {
    std::string section;  // as in the file; if it isn't there, the name that the walk builds
    std::string status;   // target status of the run
    std::string prefix;   // "" or "Old_"
    std::string type;     // type part of the name
    bool revision = false, item = false, line = false, bvr = false;  // the kind of its objects
    bool present = false;
};

// The names that the store has.
struct KnownNames {
    std::vector<std::string> types, relations, privileges, templates;
    std::vector<std::string> item_types, revision_types, dataset_types, bvr_types;
    std::vector<std::string> statuses;  // names of stored release statuses
    // Gives the properties of the section's objects, or of one of their forms. Empty if the store
    // has no such object; the function may be missing.
    std::function<std::vector<std::string>(const Reached&, const std::string& form)> properties;
};

enum Direction { kForward = 0, kBack = 1, kNoRek = 2, kBegin = 3 };
const char* walkKey(int direction);

// A step from one section to another by an entry of a walk list.
struct WalkStep {
    std::size_t from, to;  // indexes into Reachable::process
    int arrival;           // the direction that led to `from`
    int direction;
    std::size_t number;  // number of the entry in its list
    std::string kind, entry;
    int line = 0;
};

struct WalkStart {
    std::string type;  // as in SelectWSO
    int line = 0;      // of SelectWSO
    std::size_t at;    // index into Reachable::process
};

// Every process section that a run can read, and its form sections.
struct Reachable {
    std::vector<Reached> process;
    std::vector<WalkStart> starts;
    std::vector<WalkStep> steps;
    std::map<std::string, std::string> forms;  // lower-case name -> process section
    std::set<std::string> statuses;            // target statuses with a section for a start type
    std::vector<Finding> findings;             // circles and steps that lead nowhere
};

Reachable followWalks(const IniFile& ini, const KnownNames& names);
// The target statuses of each start type, by lower-case name of the type.
std::map<std::string, std::set<std::string>> targetStatuses(const IniFile& ini);
// The target statuses that have a section for this start type.
std::set<std::string> targetStatuses(const IniFile& ini, const std::string& type);

std::vector<Finding> checkIni(const IniFile& ini, const KnownNames& names);

// The parts of the check; each adds its findings:
// Sections whose objects a run can meet twice.
void checkMeetings(const IniFile& ini, const Reachable& reachable, std::vector<Finding>& findings);
// Statuses that no section sets, and statuses from which no run goes on.
void checkStatuses(const IniFile& ini, const KnownNames& names, const Reachable& reachable,
                   std::vector<Finding>& findings);
// Keys of one section that contradict each other.
void checkContradictions(const IniFile& ini, const Reachable& reachable,
                         std::vector<Finding>& findings);
// Commas where the library expects semicolons.
void checkCommas(const IniFile& ini, const Reachable& reachable, std::vector<Finding>& findings);
// Fields that the objects and forms don't have.
void checkProperties(const IniFile& ini, const KnownNames& names, const Reachable& reachable,
                     std::vector<Finding>& findings);

// Split a status text at semicolons, commas and blanks; people use all of them.
std::vector<std::string> statusWords(const std::string& text);
// The value of a key in the section; empty if it is missing.
std::string valueOf(const IniFile& ini, const std::string& section, const char* key);

}  // namespace keld
