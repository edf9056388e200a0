#pragma once

// Work on a store as a whole: making one, upgrading one, copying one, repairing one.

#include <string>

namespace kills {

bool isCare(const std::string& kind);
// Once, with "B 1" before and "D 1" after it.
//   create   make a store at the path
//   open     open it (an older one is upgraded) and close it
//   backup   copy it to the directory's "copy"
//   repair   check and repair it
void care(const std::string& kind, const std::string& directory, const std::string& path);

}  // namespace kills
