#pragma once

// Texts that somebody may have meant instead of one that isn't there.

#include <string>
#include <vector>

namespace mervane {

// Each byte of a text costs more than a hundred look-ups.
inline constexpr std::size_t kLongestNear = 128;

// One letter left out, put in, changed or swapped with its neighbour.
std::vector<std::string> oneLetterAway(const std::string& text);

}  // namespace mervane
