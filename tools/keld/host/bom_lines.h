#pragma once

// Lines of an open BOM window, named as people name them.

#include <string>
#include <vector>

#include "tools/keld/host/context.h"

namespace keld {

// Tags of BOM lines live as long as their window.
bool isBomLine(tag_t tag);
std::vector<tag_t> childLines(tag_t line);
// A tag-valued attribute of a line, "bl_revision" for instance; NULLTAG if it has none.
tag_t lineTag(tag_t line, const std::string& attribute);

// The lines of the window that the names mean, each once, in the order of the names:
//   /10/20         by numbers, from the top line downwards; / is the top line
//   000123         an item or revision that lines show: of all lines that show one revision the
//   000123/A       first, since they share their children; of an item, one line for each revision
// A name that no line has, or numbers that lead to lines of several revisions, are refused.
std::vector<tag_t> namedLines(Context& context, tag_t top, const std::vector<std::string>& names);

}  // namespace keld
