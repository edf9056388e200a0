#pragma once

// Reports every transaction on a store: before the commit what it is about to change, and after it
// what is stored. So after a kill the listener knows what must be there, and what must be there
// completely or not at all.

#include <string>

namespace kills {

// Keep standard output for say(): services write there too, in pieces that may end within a line.
void keepOutput();

// Write one line directly to it, so that a kill can't lose it.
void say(const std::string& line);

// Report the transactions of connections to this store that are opened from here on. A write-ahead
// log is written back into the database when it has this many pages.
void tellOfSaves(const std::string& store_path, int pages);

}  // namespace kills
