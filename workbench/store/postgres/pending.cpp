#include "workbench/store/postgres/pending.h"

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

void Pending::take(Pending&& above) {
    for (auto& [tag, row] : above.rows) {
        const auto [at, fresh] = rows.try_emplace(tag);
        if (!fresh)
            row.base = at->second.base;
        at->second = std::move(row);
    }
    for (const auto& [key, there] : above.references)
        references.insert_or_assign(key, there);
    for (const auto& [key, there] : above.texts)
        texts.insert_or_assign(key, there);
    for (const auto& [key, tag] : above.ids)
        ids.insert_or_assign(key, tag);
    std::move(above.entries.begin(), above.entries.end(), std::back_inserter(entries));
    std::move(above.temporary.begin(), above.temporary.end(), std::back_inserter(temporary));
    made.add(above.made);
    for (const auto& [tag, version] : above.sent)
        sent[tag] = version;
    bytes += above.bytes;
}

void Pending::clear() {
    rows.clear();
    references.clear();
    texts.clear();
    ids.clear();
    entries.clear();
    bytes = 0;
}

}  // namespace mervane
