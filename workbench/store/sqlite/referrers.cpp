#include "workbench/store/sqlite/referrers.h"

#include <algorithm>

#include "workbench/store/object_data.h"

namespace mervane {

namespace {

constexpr std::size_t kMany = 64;       // fewer are read each time
constexpr std::size_t kMostLists = 32;  // kept at once

bool before(const StoredReferrer& a, const StoredReferrer& b) {
    return a.tag != b.tag ? a.tag < b.tag : a.attribute < b.attribute;
}

tag_t asTag(std::int64_t value) {
    return static_cast<tag_t>(value);
}

}  // namespace

const std::vector<StoredReferrer>& StoredReferrers::of(tag_t target) {
    // Before anything is read: what another connection writes meanwhile is seen the next time.
    if (fresh_.isLost(connection_))
        lists_.clear();
    const auto known = lists_.find(target);
    if (known != lists_.end()) {
        readChanged(target, known->second);
        return known->second.all;
    }
    last_.clear();
    read(target, last_);
    if (last_.size() < kMany)
        return last_;
    if (lists_.size() >= kMostLists)
        lists_.clear();
    const auto gone = std::count_if(last_.begin(), last_.end(),
                                    [](const auto& each) { return each.type == NULLTAG; });
    return lists_.try_emplace(target, List{last_, {}, static_cast<std::size_t>(gone)})
        .first->second.all;
}

void StoredReferrers::read(tag_t target, std::vector<StoredReferrer>& all) {
    Statement rows = connection_.statement(
        "SELECT r.tag, r.attr, coalesce(o.type, 0) FROM ref r "
        "LEFT JOIN object o ON o.tag=r.tag WHERE r.target=?");
    rows.bind(std::int64_t{target});
    while (rows.step())
        all.push_back({asTag(rows.integer(0)), asTag(rows.integer(1)), asTag(rows.integer(2))});
    std::sort(all.begin(), all.end(), before);
}

// Bring a kept list up to date by what this connection has changed since.
void StoredReferrers::readChanged(tag_t target, List& list) {
    for (const auto& [tag, attribute] : list.changed) {
        const auto first = std::lower_bound(list.all.begin(), list.all.end(),
                                            StoredReferrer{tag, attribute, NULLTAG}, before);
        // The object was made or deleted: all of its entries are replaced.
        if (attribute == NULLTAG) {
            auto last = first;
            for (; last != list.all.end() && last->tag == tag; ++last)
                list.gone -= last->type == NULLTAG;
            const auto at = list.all.erase(first, last) - list.all.begin();
            std::vector<StoredReferrer> now;
            read(tag, target, now);
            list.all.insert(list.all.begin() + at, now.begin(), now.end());
            continue;
        }
        const bool listed =
            first != list.all.end() && first->tag == tag && first->attribute == attribute;
        const bool is = refers(tag, attribute, target);
        if (listed && is && first->type == NULLTAG) {
            first->type = typeOf(tag);
            list.gone -= first->type != NULLTAG;
        } else if (listed && !is && first->type != NULLTAG) {
            // To take one out of a long list moves the rest of it: only now and then.
            first->type = NULLTAG;
            ++list.gone;
        } else if (is && !listed) {
            const tag_t type = typeOf(tag);
            list.all.insert(first, {tag, attribute, type});
            list.gone += type == NULLTAG;
        }
    }
    if (list.gone > list.all.size() / 2) {
        std::erase_if(list.all, [](const auto& each) { return each.type == NULLTAG; });
        list.gone = 0;
    }
    // Last: after a failure above, the next question reads all of them again.
    list.changed.clear();
}

void StoredReferrers::read(tag_t tag, tag_t target, std::vector<StoredReferrer>& all) {
    // From the object itself: the target may have many referrers.
    Statement row = connection_.statement("SELECT type, data FROM object WHERE tag=?");
    row.bind(std::int64_t{tag});
    if (!row.step())
        return;
    ObjectReader in(tag, row.bytes(1));
    while (in.next()) {
        if (in.kind() != Kind::Reference)
            continue;
        bool refers = false;
        while (in.left() > 0)
            refers = in.reference() == target || refers;
        if (refers)
            all.push_back({tag, in.attribute(), asTag(row.integer(0))});
    }
}

bool StoredReferrers::refers(tag_t tag, tag_t attribute, tag_t target) {
    Statement row = connection_.statement("SELECT 1 FROM ref WHERE target=? AND attr=? AND tag=?");
    row.bind(std::int64_t{target}).bind(std::int64_t{attribute}).bind(std::int64_t{tag});
    return row.step();
}

tag_t StoredReferrers::typeOf(tag_t tag) {
    Statement row = connection_.statement("SELECT type FROM object WHERE tag=?");
    row.bind(std::int64_t{tag});
    return row.step() ? asTag(row.integer(0)) : NULLTAG;
}

void StoredReferrers::changed(tag_t tag, tag_t attribute) {
    // Drop a list with more changes than entries: reading it anew costs less.
    std::erase_if(lists_, [](const auto& each) {
        return each.second.changed.size() > each.second.all.size();
    });
    for (auto& [target, list] : lists_)
        if (list.changed.empty() || list.changed.back() != std::pair(tag, attribute))
            list.changed.emplace_back(tag, attribute);
}

void StoredReferrers::erased(tag_t tag) {
    changed(tag, NULLTAG);
}

}  // namespace mervane
