#pragma once

// Finds known names that a mistyped one may have meant.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace keld {

// Number of insertions, deletions, substitutions and swaps of neighbours, ASCII case aside. A
// result above the limit only says that it is larger.
std::size_t editDistance(std::string_view a, std::string_view b, std::size_t limit);

// At most `count` known names, nearest first; names that differ in more than about a third are left
// out.
std::vector<std::string> nearest(std::string_view name, const std::vector<std::string>& known,
                                 std::size_t count = 3);

// " Did you mean a, b or c?" or nothing.
std::string didYouMean(const std::vector<std::string>& names);

}  // namespace keld
