#pragma once

// The check of keld_statusmanager.ini: what the status manager would pass over in silence, read
// otherwise than written, or trip over in the middle of a run.

#include <map>
#include <set>
#include <string>
#include <vector>

#include "tools/keld/lint/ini.h"

namespace keld {

enum class Severity { Error, Warning };

struct Finding {
    Severity severity = Severity::Warning;
    int line = 0;  // 0: of the file as a whole
    std::string section, text;
};

// The names that the store knows.
struct KnownNames {
    std::vector<std::string> types, relations, privileges, templates;
    std::vector<std::string> item_types, revision_types, dataset_types, bvr_types;
    std::vector<std::string> statuses;  // names of stored release statuses
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

// Every process section that a run can read, with the form sections below.
struct Reachable {
    std::vector<Reached> process;
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

}  // namespace keld
