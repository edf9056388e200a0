#pragma once

// Writes a tree while it is walked: as lines of text, or as nested JSON objects with "children". It
// keeps nothing of what it has written, and the depth of the tree costs neither stack nor width.

#include <cstddef>
#include <string>
#include <vector>

#include "tools/keld/host/context.h"

namespace keld {

class TreeWriter {
public:
    explicit TreeWriter(Context& context) : context_(context) {}
    TreeWriter(const TreeWriter&) = delete;

    // What stands in front of a line's text: the branches that lead to it. `last`: no sibling
    // follows. Below 40 levels the level stands there as a number in place of more branches.
    std::string lead(bool last) const;
    // In front of what belongs to the node that was begun last, not being one of its children.
    std::string leadBelow(const std::string& branch) const;

    // Begin a node below the one that was begun last and isn't ended yet.
    void begin(const Json& node, bool last);
    void end();
    std::size_t level() const { return last_.size(); }  // of the next node; 0: the top

private:
    std::string branches(std::size_t levels) const;

    Context& context_;
    std::vector<bool> last_;     // of each open node
    bool has_children_ = false;  // the open node at the bottom
};

}  // namespace keld
