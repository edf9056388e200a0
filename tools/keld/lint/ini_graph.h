#pragma once

// Two graphs of a configuration: its status changes, and its walks.

#include <string>
#include <vector>

#include "tools/keld/lint/ini_check.h"

namespace keld {

inline constexpr char kNoStatus[] = "(none)";

// A change of status that a section allows.
struct StatusEdge {
    std::string from, to;  // from: kNoStatus for objects without one
    std::string type;      // type of the section
    std::string section;
    int line = 0;  // of SetReleaseState
    bool start =
        false;  // a run may start on objects of the section, or come to them by their lines
};

// A status that a run sets on older revisions and below them, whatever status these have.
struct OlderEdge {
    std::string target, to;  // target: of the run; to: the one that is set
    std::string type, section;
    int line = 0;
};

// A dead end: start types get this status, but none of their sections allows it.
struct StatusEnd {
    std::string status, section;
    int line = 0;  // the line that sets it first
};

struct StatusGraph {
    std::vector<StatusEdge> edges;
    std::vector<OlderEdge> older;
    std::vector<StatusEnd> ends;
};

StatusGraph statusGraph(const IniFile& ini, const Reachable& reachable);
std::vector<StatusEnd> statusEnds(const IniFile& ini, const Reachable& reachable);

// As text for people, and as input of Graphviz.
std::string asText(const StatusGraph& graph);
std::string asDot(const StatusGraph& graph);
// The walks from each start type; a section that the text has already isn't expanded again.
std::string walksAsText(const Reachable& reachable);
std::string walksAsDot(const Reachable& reachable);

}  // namespace keld
