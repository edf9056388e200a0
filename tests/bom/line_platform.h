#pragma once

// A platform of a few functions for the classes that see BOM lines: lines are plain records whose
// texts may have any length, every call is recorded, and any of them can be made to fail. A program
// that has these functions brings them before the workbench's, which keeps the heap and the error
// stack.

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/types.h"

namespace line_platform {

inline constexpr int kFailed = 4711;
inline constexpr tag_t kParent = 1;

// Handles of classes; the first two are those of views.
inline constexpr tag_t kViewClass = 901, kViewRevisionClass = 902, kOtherClass = 903;

struct Line {
    std::string item = {};
    std::string number = {};    // bl_sequence_no
    std::string quantity = {};  // bl_quantity
    std::string revision = "A";
    std::map<std::string, std::string> notes = {};
    tag_t view = NULLTAG;            // bl_bomview_rev
    tag_t shown_revision = NULLTAG;  // bl_revision
};

struct Platform {
    std::map<tag_t, Line> lines;
    std::map<tag_t, std::vector<tag_t>> children;        // of lines
    std::map<tag_t, std::vector<tag_t>> revision_views;  // of revisions
    std::map<tag_t, tag_t> classes;                      // of views
    std::set<tag_t> checked_out, not_writable;
    std::set<std::string> null_properties;
    std::map<std::string, std::vector<std::string>> preferences;
    std::set<std::string> null_preferences;

    std::string user_id = "abc";

    bool recording = true;
    std::vector<std::string> calls;  // "LINE_pack(101)"

    // Lines below a parent, in this order; their tags begin at 101.
    void give(const std::vector<Line>& list, tag_t parent = kParent);
    static tag_t child(std::size_t index) { return 101 + static_cast<tag_t>(index); }
    // Let the n-th call of an operation from now on fail; an empty one: the n-th of all.
    void fail(const std::string& operation, int n = 1, int status = kFailed);
    // The recorded calls whose text begins so.
    std::vector<std::string> callsOf(const std::string& beginning) const;

    int enter(const char* operation, const std::string& arguments);  // status of the fault, or 0

private:
    struct Fault {
        std::string operation;
        int n = 0, status = 0;
    };
    std::optional<Fault> fault_;
};

// The one in use; a new one has no lines, no preferences and no faults.
Platform& platform();
void reset();

}  // namespace line_platform
