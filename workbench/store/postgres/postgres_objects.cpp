#include <algorithm>

#include "workbench/model/status.h"
#include "workbench/store/postgres/postgres_store.h"
#include "workbench/store/sha256.h"

// Objects: what is read, read ahead and written.

namespace mervane {

namespace {

constexpr std::size_t kTogether = 500;        // read at once in a run or for a moment, at most
constexpr std::size_t kFew = 16;              // and else, since it soon is too old
constexpr std::size_t kMostBytes = 64 << 20;  // of rows that are kept
constexpr std::size_t kRowBytes = 150;        // of each of them, beside its data

}  // namespace

// Of a long text the index has the begin and the sum: an index of the server takes no long rows.
std::string textKey(std::string_view text) {
    constexpr std::size_t kWhole = 1000;
    if (text.size() <= kWhole)
        return std::string(text);
    Sha256 sum;
    sum.add(text.data(), text.size());
    return std::string(text.substr(0, kWhole)) + sum.hex();
}

bool isWholeKey(std::string_view key) {
    return key.size() <= 1000;
}

// ---- reading ----

const PendingRow* PostgresStore::pendingRow(tag_t tag) const {
    for (auto part = parts_.rbegin(); part != parts_.rend(); ++part)
        if (const auto at = part->rows.find(tag); at != part->rows.end())
            return &at->second;
    return nullptr;
}

void PostgresStore::keep(tag_t tag, tag_t type, std::int64_t version, std::string_view data,
                         bool ahead) {
    const auto [at, fresh] = rows_.try_emplace(tag);
    CachedRow& row = at->second;
    rows_bytes_ += data.size() - row.data.size() + (fresh ? kRowBytes : 0);
    row.type = type;
    row.version = version;
    row.ahead = ahead;
    row.read = now();
    row.data.assign(data);
}

// Objects that are named together are often read together.
void PostgresStore::name(const std::vector<tag_t>& tags) {
    if (tags.size() < 2)
        return;
    const auto group = std::make_shared<const std::vector<tag_t>>(tags);
    for (const tag_t tag : tags)
        groups_[tag] = group;
}

// What these objects refer to by the same attribute is named together, too.
void PostgresStore::nameTargets(const std::vector<std::pair<tag_t, std::string_view>>& rows) {
    if (rows.size() < 2)
        return;
    std::map<tag_t, std::vector<tag_t>> targets;
    for (const auto& [tag, data] : rows) {
        ObjectReader in(tag, data);
        while (in.next())
            if (in.kind() == Kind::Reference)
                while (in.left() > 0) {
                    const tag_t target = in.reference();
                    std::vector<tag_t>& all = targets[in.attribute()];
                    // Many refer to one and the same: it is named once.
                    if (target != NULLTAG && (all.empty() || all.back() != target))
                        all.push_back(target);
                }
    }
    for (auto& [attribute, all] : targets) {
        std::unordered_set<tag_t> seen;
        std::erase_if(all, [&](tag_t tag) { return !seen.insert(tag).second; });
        name(all);
    }
}

// The object and those after it that were named together with it and aren't known yet: `lists`
// means those whose referrers are asked for, of which the objects may be known.
std::vector<std::int64_t> PostgresStore::together(tag_t tag, bool lists) {
    const std::size_t most = held_ || moment_ ? ahead_ : kFew;
    std::vector<std::int64_t> all{toNumber(tag)};
    const auto group = groups_.find(tag);
    if (group == groups_.end())
        return all;
    const std::vector<tag_t>& tags = *group->second;
    for (auto at = std::find(tags.begin(), tags.end(), tag); at != tags.end() && all.size() < most;
         ++at)
        if (*at != tag && (lists || (!cachedFresh(*at) && !pendingRow(*at))))
            all.push_back(toNumber(*at));
    // Many runs end early, or are about few objects: who reads on gets more.
    if (all.size() == ahead_)
        ahead_ = std::min(ahead_ * 4, kTogether);
    return all;
}

void PostgresStore::fetch(tag_t tag) {
    if (rows_bytes_ > kMostBytes)
        forgetReads();
    const std::vector<std::int64_t> tags = together(tag, false);
    // Whoever reads one object after the other in the order of their tags reads on.
    const bool follows = tag > last_read_ && tag - last_read_ <= 64;
    in_a_row_ = tags.size() == 1 && follows ? in_a_row_ + 1 : 0;
    last_read_ = tag;
    const bool on = lasts() && in_a_row_ >= 3;
    const Answer answer =
        on ? askPast(
                 "SELECT tag, type, version, data FROM object WHERE tag>=$1::bigint ORDER BY "
                 "tag LIMIT 256",
                 Parameters().add(toNumber(tag)))
           : askPast("SELECT tag, type, version, data FROM object WHERE tag=ANY($1::bigint[])",
                     Parameters().add(tags));
    bool found = false;
    std::vector<std::pair<tag_t, std::string_view>> rows;
    for (int i = 0; i < answer.rows(); ++i) {
        const tag_t each = toTag(answer.integer(i, 0));
        found = found || each == tag;
        // What this transaction has read stays as it was read.
        if (each != tag && lasts() && rows_.contains(each))
            continue;
        keep(each, toTag(answer.integer(i, 1)), answer.integer(i, 2), answer.bytes(i, 3), true);
        rows.emplace_back(each, answer.bytes(i, 3));
        if (on)
            last_read_ = std::max(last_read_, each);
    }
    nameTargets(rows);
    if (!found && lasts())
        keep(tag, NULLTAG, 0, "", false);
    else if (!found)
        rows_.erase(tag);
}

const PostgresStore::CachedRow* PostgresStore::cached(tag_t tag) const {
    const auto at = rows_.find(tag);
    return at == rows_.end() || at->second.type == NULLTAG ? nullptr : &at->second;
}

bool PostgresStore::cachedFresh(tag_t tag) const {
    const auto at = rows_.find(tag);
    return at != rows_.end() && (isFresh(at->second.read) || at->second.ahead);
}

// `once`: what was read ahead serves one reading.
const PostgresStore::CachedRow* PostgresStore::known(tag_t tag, bool once) {
    auto at = rows_.find(tag);
    if (at == rows_.end() || !(isFresh(at->second.read) || at->second.ahead)) {
        fetch(tag);
        at = rows_.find(tag);
    }
    if (at == rows_.end() || at->second.type == NULLTAG)
        return nullptr;
    if (once)
        at->second.ahead = false;
    return &at->second;
}

void PostgresStore::forgetReadAhead(tag_t tag) noexcept {
    if (lasts())
        return;
    if (tag == NULLTAG) {
        forgetReads();
        return;
    }
    if (const auto at = rows_.find(tag); at != rows_.end()) {
        at->second.ahead = false;
        at->second.read = {};
    }
    states_.erase(tag);
}

bool PostgresStore::row(tag_t tag, RowTaker take) {
    if (const PendingRow* own = pendingRow(tag)) {
        if (own->gone)
            return false;
        take(ObjectRow{own->type, own->version, own->data});
        return true;
    }
    const CachedRow* found = known(tag, true);
    if (!found)
        return false;
    take(ObjectRow{found->type, found->version, found->data});
    return true;
}

tag_t PostgresStore::typeOf(tag_t tag) {
    if (const PendingRow* own = pendingRow(tag))
        return own->gone ? NULLTAG : own->type;
    const auto at = rows_.find(tag);
    const bool is_known = at != rows_.end();
    // In a transaction the commit finds out whether what is referred to is still there.
    const bool is_sure = is_known && (isFresh(at->second.read) || locked_.contains(tag));
    if (!is_sure && !(is_known && open_ && at->second.type != NULLTAG))
        fetch(tag);
    const CachedRow* found = cached(tag);
    if (open_ && found)
        needed_.try_emplace(tag);
    return found ? found->type : NULLTAG;
}

std::int64_t PostgresStore::versionOf(tag_t tag) {
    if (const PendingRow* own = pendingRow(tag))
        return own->gone ? 0 : own->version;
    if (const auto at = locked_.find(tag); at != locked_.end() && !hasSent(tag))
        return at->second;
    if (const auto at = rows_.find(tag); at == rows_.end() || !isFresh(at->second.read))
        fetch(tag);
    const CachedRow* found = cached(tag);
    return found ? found->version : 0;
}

// ---- writing ----

void PostgresStore::insert(tag_t tag, tag_t type, std::vector<AttributeValues>& values,
                           std::int64_t version) {
    countObject();
    std::string data = objectData(values);
    changeIds(tag, {}, data);
    for (const AttributeValues& each : values)
        index(tag, type, each.attribute, *each.values, true);
    const auto [at, fresh] = top().rows.try_emplace(tag);
    PendingRow& row = at->second;
    if (fresh)
        if (const PendingRow* below = pendingRow(tag); below && below != &row)
            row.base = below->version;
    top().bytes += data.size() + 64;
    row.type = type;
    row.version = version;
    row.gone = false;
    row.data = std::move(data);
    sendIfMuchAlone();
}

bool PostgresStore::save(tag_t tag, std::int64_t version, std::vector<AttributeValues>& changed) {
    std::string_view before;
    tag_t type = NULLTAG;
    if (const PendingRow* own = pendingRow(tag)) {
        if (own->gone || own->version != version)
            return false;
        before = own->data;
        type = own->type;
    } else {
        // The version is compared when it is written, so it may have been read at any time.
        auto at = rows_.find(tag);
        if (at == rows_.end() || at->second.version != version) {
            if (at != rows_.end() && !lasts())
                rows_.erase(at);
            fetch(tag);
            at = rows_.find(tag);
        }
        if (at == rows_.end() || at->second.version != version)
            return false;
        before = at->second.data;
        type = at->second.type;
    }
    std::string data = changedData(tag, before, changed, before_);
    changeIds(tag, before, data);
    for (std::size_t i = 0; i < changed.size(); ++i) {
        if (before_[i] == *changed[i].values)
            continue;
        index(tag, type, changed[i].attribute, before_[i], false);
        index(tag, type, changed[i].attribute, *changed[i].values, true);
    }
    const auto [at, fresh] = top().rows.try_emplace(tag);
    PendingRow& row = at->second;
    if (fresh)
        row.base = version;
    top().bytes += data.size() + 64;
    row.type = type;
    row.version = version + 1;
    row.data = std::move(data);
    return true;
}

void PostgresStore::erase(tag_t tag) {
    std::string data;
    std::int64_t version = 0;
    tag_t type = NULLTAG;
    if (const PendingRow* own = pendingRow(tag)) {
        if (own->gone)
            return;
        data = own->data;
        version = own->version;
        type = own->type;
    } else {
        const CachedRow* found = known(tag, false);
        if (!found)
            return;
        data = found->data;
        version = found->version;
        type = found->type;
    }
    changeIds(tag, data, {});
    needed_.erase(tag);
    ObjectReader in(tag, data);
    try {
        while (in.next())
            if (in.kind() == Kind::String || in.kind() == Kind::Reference) {
                const tag_t attribute = in.attribute();
                index(tag, type, attribute, in.values(), false);
            }
    } catch (const Failure&) {
        // It is damaged, and goes all the same; the check finds what its damaged part leaves.
    }
    const auto [at, fresh] = top().rows.try_emplace(tag);
    PendingRow& row = at->second;
    if (fresh)
        row.base = version;
    row.type = type;
    row.gone = true;
    row.data.clear();
    top().bytes += 64;
}

void PostgresStore::index(tag_t tag, tag_t type, tag_t attribute, const Values& values,
                          bool there) {
    for (const Value& value : values)
        if (const auto* text = std::get_if<std::string>(&value))
            addText(tag, type, attribute, *text, there);
        else if (const auto* target = std::get_if<Reference>(&value))
            addReference(tag, type, attribute, target->tag, there);
        else
            return;
}

// The ids that two sessions can't store at once: those of items, and of the revisions of one.
void PostgresStore::changeIds(tag_t tag, std::string_view before, std::string_view now) {
    using Id = std::tuple<tag_t, tag_t, std::string>;
    const auto idsOf = [&](std::string_view data) {
        std::vector<Id> ids;
        try {
            if (const auto id = firstText(tag, data, item_id_); id && !id->empty())
                ids.emplace_back(item_id_, NULLTAG, textKey(*id));
            const auto id = firstText(tag, data, revision_id_);
            const auto item = firstReference(tag, data, revision_item_);
            if (id && !id->empty() && item && *item != NULLTAG)
                ids.emplace_back(revision_id_, *item, textKey(*id));
        } catch (const Failure&) {
            // What is damaged has no ids.
        }
        return ids;
    };
    const std::vector<Id> had = idsOf(before), has = idsOf(now);
    if (had == has)
        return;
    for (const Id& id : had)
        // Another object of this transaction may have it already.
        if (const auto [at, fresh] = top().ids.try_emplace(id, NULLTAG);
            !fresh && at->second == tag)
            at->second = NULLTAG;
    for (const Id& id : has)
        top().ids.insert_or_assign(id, tag);
}

// The rows of a part, each table in one statement. What goes comes before what comes.
void PostgresStore::queue(Pending& part) {
    using Numbers = std::vector<std::int64_t>;
    using Bytes = std::vector<std::string_view>;
    if (part.empty())
        return;
    {
        Numbers kinds, owners, new_kinds, new_owners, new_tags;
        Bytes ids, new_ids;
        for (const auto& [id, tag] : part.ids) {
            kinds.push_back(toNumber(std::get<0>(id)));
            owners.push_back(toNumber(std::get<1>(id)));
            ids.emplace_back(std::get<2>(id));
            if (tag == NULLTAG)
                continue;
            new_kinds.push_back(kinds.back());
            new_owners.push_back(owners.back());
            new_ids.push_back(ids.back());
            new_tags.push_back(toNumber(tag));
        }
        // Only those of objects that this part changes: an id of somebody else's stays, and the
        // statement below fails.
        if (!ids.empty()) {
            Numbers changed;
            for (const auto& [tag, row] : part.rows)
                changed.push_back(toNumber(tag));
            main_->later(
                "DELETE FROM unique_id u USING unnest($1::bigint[], $2::bigint[], $3::bytea[]) "
                "d(kind, owner, id) WHERE u.kind=d.kind AND u.owner=d.owner AND u.id=d.id AND "
                "u.tag=ANY($4::bigint[])",
                Parameters().add(kinds).add(owners).add(ids).add(changed));
        }
        if (!new_ids.empty())
            main_->later(
                "INSERT INTO unique_id(kind, owner, id, tag) SELECT * FROM unnest($1::bigint[], "
                "$2::bigint[], $3::bytea[], $4::bigint[])",
                Parameters().add(new_kinds).add(new_owners).add(new_ids).add(new_tags));
    }
    {
        Numbers gone, made, made_types, made_versions, saved, bases, versions;
        Bytes made_data, data;
        for (const auto& [tag, row] : part.rows) {
            if (row.gone) {
                if (row.base != 0)
                    gone.push_back(toNumber(tag));
            } else if (row.base == 0) {
                made.push_back(toNumber(tag));
                made_types.push_back(toNumber(row.type));
                made_versions.push_back(row.version);
                made_data.emplace_back(row.data);
            } else {
                saved.push_back(toNumber(tag));
                bases.push_back(row.base);
                versions.push_back(row.version);
                data.emplace_back(row.data);
                sent_.emplace_back(tag, row.base);
            }
        }
        if (!gone.empty()) {
            main_->later("DELETE FROM checkout WHERE object=ANY($1::bigint[])",
                         Parameters().add(gone));
            main_->later("DELETE FROM object WHERE tag=ANY($1::bigint[])", Parameters().add(gone));
        }
        made_ += static_cast<std::int64_t>(made.size());
        if (!made.empty())
            main_->later(
                "INSERT INTO object(tag, type, version, data) SELECT * FROM unnest($1::bigint[], "
                "$2::bigint[], $3::bigint[], $4::bytea[])",
                Parameters().add(made).add(made_types).add(made_versions).add(made_data));
        if (!saved.empty())
            main_->later(
                "WITH done AS (UPDATE object o SET version=n.version, data=n.data FROM "
                "unnest($1::bigint[], $2::bigint[], $3::bigint[], $4::bytea[]) "
                "n(tag, base, version, data) WHERE o.tag=n.tag AND o.version=n.base RETURNING 1) "
                "SELECT need((SELECT count(*) FROM done)=$5::bigint, 'version')",
                Parameters().add(saved).add(bases).add(versions).add(data).add(
                    static_cast<std::int64_t>(saved.size())));
    }
    {
        Numbers gone_targets, gone_attributes, gone_tags, targets, attributes, tags;
        for (const auto& [key, there] : part.references) {
            if (const auto at = needed_.find(std::get<0>(key)); there && at != needed_.end())
                at->second = {std::get<2>(key), std::get<1>(key), knownType(std::get<2>(key))};
            (there ? targets : gone_targets).push_back(toNumber(std::get<0>(key)));
            (there ? attributes : gone_attributes).push_back(toNumber(std::get<1>(key)));
            (there ? tags : gone_tags).push_back(toNumber(std::get<2>(key)));
        }
        if (!gone_tags.empty())
            main_->later(
                "DELETE FROM ref r USING unnest($1::bigint[], $2::bigint[], $3::bigint[]) "
                "d(target, attr, tag) WHERE r.target=d.target AND r.attr=d.attr AND r.tag=d.tag",
                Parameters().add(gone_targets).add(gone_attributes).add(gone_tags));
        if (!tags.empty())
            main_->later(
                "INSERT INTO ref(target, attr, tag) SELECT * FROM unnest($1::bigint[], "
                "$2::bigint[], $3::bigint[]) ON CONFLICT DO NOTHING",
                Parameters().add(targets).add(attributes).add(tags));
    }
    {
        Numbers gone_attributes, gone_tags, attributes, tags;
        Bytes gone_keys, keys;
        for (const auto& [key, there] : part.texts) {
            (there ? attributes : gone_attributes).push_back(toNumber(std::get<0>(key)));
            (there ? keys : gone_keys).emplace_back(std::get<1>(key));
            (there ? tags : gone_tags).push_back(toNumber(std::get<2>(key)));
        }
        if (!gone_tags.empty())
            main_->later(
                "DELETE FROM text t USING unnest($1::bigint[], $2::bytea[], $3::bigint[]) "
                "d(attr, v, tag) WHERE t.attr=d.attr AND t.v=d.v AND t.tag=d.tag",
                Parameters().add(gone_attributes).add(gone_keys).add(gone_tags));
        if (!tags.empty())
            main_->later(
                "INSERT INTO text(attr, v, tag) SELECT * FROM unnest($1::bigint[], $2::bytea[], "
                "$3::bigint[]) ON CONFLICT DO NOTHING",
                Parameters().add(attributes).add(keys).add(tags));
    }
    if (!part.entries.empty()) {
        Numbers runs, positions, changes, objects;
        Bytes data;
        for (const PendingEntry& each : part.entries) {
            runs.push_back(each.run);
            positions.push_back(each.position);
            changes.push_back(each.change);
            objects.push_back(each.object);
            data.emplace_back(each.data);
        }
        main_->later(
            "INSERT INTO run_entry(run, position, change, object, data) SELECT * FROM "
            "unnest($1::bigint[], $2::bigint[], $3::bigint[], $4::bigint[], $5::bytea[])",
            Parameters().add(runs).add(positions).add(changes).add(objects).add(data));
    }
    if (rows_bytes_ > kMostBytes)
        forgetReads();
    // From here on the server knows it.
    for (auto& [tag, row] : part.rows) {
        // A stored version is asked for only if it may be locked already.
        if (row.base == 0 && !row.gone && !locked_.contains(tag))
            part.made.add(tag);
        else
            part.sent[tag] = row.gone ? 0 : row.version;
        if (row.gone)
            keep(tag, NULLTAG, 0, "", false);
        else
            keep(tag, row.type, row.version, row.data, false);
    }
    part.clear();
}

// A block of tags is taken on the connection that commits at once: it stays taken, and no other
// session waits for this one's transaction.
tag_t PostgresStore::takeTags(tag_t count) {
    needWriting();
    const Answer row = side_->ask(
        "UPDATE meta SET value=(value::bigint+$1::bigint)::text WHERE name='next_tag' AND "
        "value::bigint+$1::bigint<=2147483647 RETURNING value::bigint",
        Parameters().add(toNumber(count)));
    if (row.rows() == 0)
        throw Failure(kStoreFailure, "The store has no tags left");
    return toTag(row.integer(0, 0));
}

tag_t PostgresStore::nextTag() {
    return toTag(ask("SELECT value::bigint FROM meta WHERE name='next_tag'").integer(0, 0));
}

void PostgresStore::takeOver(const std::string& identity, tag_t next_tag) {
    change("UPDATE meta SET value=convert_from($1::bytea, 'UTF8') WHERE name='store_id'",
           Parameters().add(std::string_view(identity)));
    change("UPDATE meta SET value=$1::bigint::text WHERE name='next_tag'",
           Parameters().add(toNumber(next_tag)));
}

}  // namespace mervane
