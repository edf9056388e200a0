#include "workbench/store/postgres/pending.h"

#include <iterator>

namespace mervane {

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
