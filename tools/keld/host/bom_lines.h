#pragma once

// Lines of an open BOM window, by the names that people use for them.

#include <string>
#include <vector>

#include "tools/keld/host/context.h"

namespace keld {

// Tags of BOM lines are valid as long as their window is open.
bool isBomLine(tag_t tag);
std::vector<tag_t> childLines(tag_t line);
// A tag-valued attribute of a line, such as "bl_revision"; NULLTAG if it has none.
tag_t lineTag(tag_t line, const std::string& attribute);

// Find the lines of the window that the names mean, each once, in the order of the names:
//   /10/20         by numbers, from the top line downwards; / is the top line
//   000123         an item: for each of its revisions, the first line that shows it
//   000123/A       a revision: the first line that shows it
// The first line is enough, since all lines of one revision share their children. Failure:
// CommandError for a name that no line has, or numbers that lead to lines of several revisions.
std::vector<tag_t> namedLines(Context& context, tag_t top, const std::vector<std::string>& names);

}  // namespace keld
