#pragma once

// Writes a tree while it is walked: as lines of text, or as nested JSON objects with "children". It
// keeps nothing that it has written, and deep trees need neither stack nor width.

#include <cstddef>
#include <string>
#include <vector>

#include "tools/keld/host/context.h"

namespace keld {

class TreeWriter {
public:
    explicit TreeWriter(Context& context) : context_(context) {}
    TreeWriter(const TreeWriter&) = delete;

    // The text before a line: the branches that lead to it. `last`: no sibling follows. Below 40
    // levels the number of the level replaces further branches.
    std::string lead(bool last) const;
    // The text before a line that belongs to the current node without being a child of it.
    std::string leadBelow(const std::string& branch) const;

    // Begin a child of the current node, or the top.
    void begin(const Json& node, bool last);
    void end();
    std::size_t level() const { return last_.size(); }  // level of the next node; 0: the top

private:
    std::string branches(std::size_t levels) const;

    Context& context_;
    std::vector<bool> last_;     // for each open node
    bool has_children_ = false;  // of the current node
};

}  // namespace keld
