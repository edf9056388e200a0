#pragma once

// Two graphs of a configuration: of its statuses, and of its walks.

#include <string>
#include <vector>

#include "tools/keld/lint/ini_check.h"

namespace keld {

inline constexpr char kNoStatus[] = "(none)";

// A change of status that a section allows.
struct StatusEdge {
    std::string from, to;  // kNoStatus: without any
    std::string type;      // that of the section
    std::string section;
    int line = 0;  // of SetReleaseState
    bool start =
        false;  // a run may start on objects of the section, or come to them by their lines
};

// What is set on older revisions and below them, whatever they have.
struct OlderEdge {
    std::string target, to;  // the run's target status, the one that is set
    std::string type, section;
    int line = 0;
};

// A status that is set on objects of start types and allowed by none of their sections.
struct StatusEnd {
    std::string status, section;
    int line = 0;  // where it is set first
};

struct StatusGraph {
    std::vector<StatusEdge> edges;
    std::vector<OlderEdge> older;
    std::vector<StatusEnd> ends;
};

StatusGraph statusGraph(const IniFile& ini, const Reachable& reachable);
std::vector<StatusEnd> statusEnds(const IniFile& ini, const Reachable& reachable);

// For people, and for Graphviz.
std::string asText(const StatusGraph& graph);
std::string asDot(const StatusGraph& graph);
// Walks below each start type, sections that stand above already aren't opened again.
std::string walksAsText(const Reachable& reachable);
std::string walksAsDot(const Reachable& reachable);

}  // namespace keld
