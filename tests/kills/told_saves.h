#pragma once

// Tells of every transaction on a store: what it is about to change, before it is committed, and
// what is stored, once it is. So the one who listens knows after a kill what must be there, what
// may be there, and that the latter comes whole or not at all.

#include <string>

namespace kills {

// One line straight to standard output: what was said before a kill has been said.
void say(const std::string& line);

// Tell of the connections to this store that are opened from here on. A write-ahead log of this
// many pages is written back into the database.
void tellOfSaves(const std::string& store_path, int pages);

}  // namespace kills
