#include "workbench/store/tag_ranges.h"

#include <algorithm>
#include <iterator>

namespace mervane {

bool TagRanges::contains(tag_t tag) const {
    const auto after = ranges_.upper_bound(tag);
    return after != ranges_.begin() && tag <= std::prev(after)->second;
}

void TagRanges::add(tag_t first, tag_t last) {
    auto at = ranges_.upper_bound(first);
    // The one before that it meets, and all that it reaches.
    if (at != ranges_.begin() && std::prev(at)->second + 1 >= first)
        --at;
    while (at != ranges_.end() && at->first <= last + 1) {
        first = std::min(first, at->first);
        last = std::max(last, at->second);
        at = ranges_.erase(at);
    }
    ranges_.emplace_hint(at, first, last);
}

void TagRanges::add(const TagRanges& others) {
    for (const auto& [first, last] : others.ranges_)
        add(first, last);
}

}  // namespace mervane
