#include <algorithm>

#include "workbench/model/status.h"
#include "workbench/store/near.h"
#include "workbench/store/pattern.h"
#include "workbench/store/postgres/postgres_store.h"

// Finding among what is stored, corrected by what this transaction has changed and not sent.

namespace mervane {

namespace {

bool comesFirst(const StoredReferrer& a, const StoredReferrer& b) {
    return a.tag != b.tag ? a.tag < b.tag : a.attribute < b.attribute;
}

// Put it in or take it out. A long list keeps the place of what goes, since to close up the gap
// moves the rest of it.
void putInOrOut(std::vector<StoredReferrer>& list, const StoredReferrer& referrer, bool there) {
    const auto at = std::lower_bound(list.begin(), list.end(), referrer, comesFirst);
    const bool listed = at != list.end() && !comesFirst(referrer, *at);
    if (listed)
        at->type = there ? referrer.type : NULLTAG;
    else if (there)
        list.insert(at, referrer);
}

Parameters parametersOf(const UsePath& path, tag_t revision) {
    return Parameters()
        .add(toNumber(path.child))
        .add(toNumber(path.parent_bvr))
        .add(toNumber(path.parent_revision))
        .add(toNumber(revision));
}

// For LIKE: everything that the pattern finds, and perhaps more. A question mark is one character,
// which may have several bytes.
std::string likeOf(const std::string& pattern) {
    std::string like;
    for (const char c : pattern)
        if (c == '*' || c == '?')
            like += '%';
        else if (c == '%' || c == '_' || c == '\\')
            like += std::string("\\") + c;
        else
            like += c;
    return like;
}

}  // namespace

// ---- referrers ----

tag_t PostgresStore::knownType(tag_t tag) const {
    if (const PendingRow* own = pendingRow(tag))
        return own->gone ? NULLTAG : own->type;
    const CachedRow* found = cached(tag);
    return found ? found->type : NULLTAG;
}

// The server has never heard of it.
bool PostgresStore::isNewHere(tag_t tag) const {
    if (rows_.contains(tag))
        return false;
    for (const Pending& part : parts_)
        if (const auto at = part.rows.find(tag); at != part.rows.end())
            return at->second.base == 0;
    return false;
}

// Correct a list from the server by what waits; NULLTAG means all attributes.
void PostgresStore::correct(std::vector<StoredReferrer>& list, tag_t attribute,
                            tag_t target) const {
    for (const Pending& part : parts_)
        for (auto at = part.references.lower_bound({target, attribute, NULLTAG});
             at != part.references.end() && std::get<0>(at->first) == target; ++at) {
            if (attribute != NULLTAG && std::get<1>(at->first) != attribute)
                break;
            const tag_t tag = std::get<2>(at->first);
            putInOrOut(list, {tag, std::get<1>(at->first), knownType(tag)}, at->second);
        }
}

void PostgresStore::addReference(tag_t tag, tag_t type, tag_t attribute, tag_t target, bool there) {
    if (target == NULLTAG)
        return;
    top().references.insert_or_assign({target, attribute, tag}, there);
    top().bytes += 64;
    const auto change = [&](auto& lists, const auto& key) {
        const auto at = lists.find(key);
        if (at == lists.end())
            return;
        std::vector<StoredReferrer>& all = at->second.all;
        putInOrOut(all, {tag, attribute, type}, there);
        // Whoever hears that nobody refers to it may delete it, so that is asked for.
        if (!lasts() && std::none_of(all.begin(), all.end(), [](const StoredReferrer& each) {
                return each.type != NULLTAG;
            }))
            lists.erase(at);
    };
    change(lists_, ListKey{attribute, target});
    change(all_lists_, target);
}

const std::vector<StoredReferrer>& PostgresStore::referrers(tag_t target) {
    if (const auto at = all_lists_.find(target);
        at != all_lists_.end() && (lasts() || (!open_ && isFresh(at->second.read))))
        return at->second.all;
    if (isNewHere(target)) {
        last_.clear();
        correct(last_, NULLTAG, target);
        return last_;
    }
    std::vector<std::int64_t> targets = together(target, true);
    std::erase_if(targets, [&](std::int64_t each) {
        const auto at = all_lists_.find(toTag(each));
        return toTag(each) != target && at != all_lists_.end() && isFresh(at->second.read);
    });
    const Answer answer = askPast(
        "SELECT r.target, r.tag, r.attr, coalesce(o.type, 0) FROM ref r LEFT JOIN object o ON "
        "o.tag=r.tag WHERE r.target=ANY($1::bigint[]) ORDER BY r.target, r.tag, r.attr",
        Parameters().add(targets));
    std::unordered_map<tag_t, std::vector<StoredReferrer>> lists;
    for (const std::int64_t each : targets)
        lists[toTag(each)];
    for (int i = 0; i < answer.rows(); ++i)
        lists[toTag(answer.integer(i, 0))].push_back({toTag(answer.integer(i, 1)),
                                                      toTag(answer.integer(i, 2)),
                                                      toTag(answer.integer(i, 3))});
    for (auto& [each, list] : lists) {
        correct(list, NULLTAG, each);
        all_lists_.insert_or_assign(each, List{std::move(list), now()});
    }
    return all_lists_[target].all;
}

std::vector<StoredReferrer> PostgresStore::referrersBy(tag_t attribute, tag_t target) {
    const auto living = [](std::vector<StoredReferrer> list) {
        std::erase_if(list, [](const StoredReferrer& each) { return each.type == NULLTAG; });
        return list;
    };
    if (const auto at = lists_.find({attribute, target});
        at != lists_.end() && (lasts() || (!open_ && isFresh(at->second.read))))
        return living(at->second.all);
    if (isNewHere(target)) {
        std::vector<StoredReferrer> list;
        correct(list, attribute, target);
        return living(std::move(list));
    }
    std::vector<std::int64_t> targets = together(target, true);
    std::erase_if(targets, [&](std::int64_t each) {
        const auto at = lists_.find({attribute, toTag(each)});
        return toTag(each) != target && at != lists_.end() && isFresh(at->second.read);
    });
    // The objects of a list come with it, unless they are very many. Outside of a transaction that
    // lasts, in which they are read together, also the target and what the objects refer to.
    const Answer answer = askPast(
        lasts() ? "SELECT r.target, r.tag, o.type, o.version, "
                  "CASE WHEN count(*) OVER ()<=4000 THEN o.data END FROM ref r "
                  "JOIN object o ON o.tag=r.tag "
                  "WHERE r.attr=$1::bigint AND r.target=ANY($2::bigint[]) ORDER BY r.target, r.tag"
                : "WITH list AS (SELECT r.target, r.tag, o.type, o.version, o.data, "
                  "count(*) OVER () AS many FROM ref r JOIN object o ON o.tag=r.tag "
                  "WHERE r.attr=$1::bigint AND r.target=ANY($2::bigint[])) "
                  "SELECT target, tag, type, version, CASE WHEN many<=4000 THEN data END FROM list "
                  "UNION ALL SELECT 0, o.tag, o.type, o.version, o.data FROM "
                  "(SELECT unnest($2::bigint[]) UNION SELECT ref.target FROM ref JOIN list ON "
                  "list.tag=ref.tag AND list.many<=100) named(tag) "
                  "JOIN object o ON o.tag=named.tag ORDER BY 1, 2",
        Parameters().add(toNumber(attribute)).add(targets));
    std::unordered_map<tag_t, std::vector<StoredReferrer>> lists;
    for (const std::int64_t each : targets)
        lists[toTag(each)];
    std::vector<tag_t> named;
    std::vector<std::pair<tag_t, std::string_view>> rows;
    for (int i = 0; i < answer.rows(); ++i) {
        const tag_t tag = toTag(answer.integer(i, 1)), type = toTag(answer.integer(i, 2));
        if (const tag_t from = toTag(answer.integer(i, 0)); from != NULLTAG) {
            lists[from].push_back({tag, attribute, type});
            named.push_back(tag);
        }
        // What this transaction has read stays as it was read.
        if (!answer.isNull(i, 4) && !(lasts() && rows_.contains(tag))) {
            keep(tag, type, answer.integer(i, 3), answer.bytes(i, 4), true);
            rows.emplace_back(tag, answer.bytes(i, 4));
        }
    }
    name(named);
    nameTargets(rows);
    for (auto& [each, list] : lists) {
        correct(list, attribute, each);
        lists_.insert_or_assign({attribute, each}, List{std::move(list), now()});
    }
    return living(lists_[{attribute, target}].all);
}

tag_t PostgresStore::lastReferrerBy(tag_t attribute, tag_t target) {
    bool waits = false;
    for (const Pending& part : parts_) {
        const auto at = part.references.lower_bound({target, attribute, NULLTAG});
        waits = waits || (at != part.references.end() && std::get<0>(at->first) == target &&
                          std::get<1>(at->first) == attribute);
    }
    if (waits || (lasts() && lists_.contains({attribute, target})) || isNewHere(target)) {
        const std::vector<StoredReferrer> all = referrersBy(attribute, target);
        return all.empty() ? NULLTAG : all.back().tag;
    }
    const Answer row = askPast(
        "SELECT r.tag FROM ref r JOIN object o ON o.tag=r.tag WHERE r.target=$1::bigint AND "
        "r.attr=$2::bigint ORDER BY r.tag DESC LIMIT 1",
        Parameters().add(toNumber(target)).add(toNumber(attribute)));
    return row.rows() ? toTag(row.integer(0, 0)) : NULLTAG;
}

// ---- texts ----

void PostgresStore::addText(tag_t tag, tag_t type, tag_t attribute, std::string_view text,
                            bool there) {
    std::string key = textKey(text);
    top().bytes += key.size() + 64;
    if (lasts() && attribute == item_id_ && known_ids_.has(key))
        texts_.try_emplace({attribute, key});
    if (lasts())
        if (const auto at = texts_.find({attribute, key}); at != texts_.end()) {
            std::vector<Hit>& hits = at->second;
            const auto place =
                std::lower_bound(hits.begin(), hits.end(), tag,
                                 [](const Hit& hit, tag_t wanted) { return hit.tag < wanted; });
            const bool listed = place != hits.end() && place->tag == tag;
            if (there && !listed)
                hits.insert(place, {tag, type});
            else if (!there && listed)
                hits.erase(place);
        }
    top().texts.insert_or_assign({attribute, std::move(key), tag}, there);
}

void PostgresStore::correct(std::vector<Hit>& list, tag_t attribute, const std::string& key) const {
    for (const Pending& part : parts_)
        for (auto at = part.texts.lower_bound({attribute, key, NULLTAG});
             at != part.texts.end() && std::get<0>(at->first) == attribute &&
             std::get<1>(at->first) == key;
             ++at) {
            const tag_t tag = std::get<2>(at->first);
            const auto place =
                std::lower_bound(list.begin(), list.end(), tag,
                                 [](const Hit& hit, tag_t wanted) { return hit.tag < wanted; });
            const bool listed = place != list.end() && place->tag == tag;
            if (at->second && !listed)
                list.insert(place, {tag, knownType(tag)});
            else if (!at->second && listed)
                list.erase(place);
        }
}

std::vector<Store::Hit> PostgresStore::hitsOf(const Answer& answer) {
    std::vector<Hit> hits;
    hits.reserve(static_cast<std::size_t>(answer.rows()));
    for (int i = 0; i < answer.rows(); ++i)
        hits.push_back({toTag(answer.integer(i, 0)), toTag(answer.integer(i, 1))});
    return hits;
}

std::vector<Store::Hit> PostgresStore::withText(tag_t attribute, std::string_view text) {
    const std::string key = textKey(text);
    const bool is_id = lasts() && attribute == item_id_;
    auto kept = texts_.find({attribute, key});
    if (is_id && kept == texts_.end() && knowsId(key)) {
        kept = texts_.find({attribute, key});
        if (kept == texts_.end())
            return {};
    }
    if (lasts() && kept != texts_.end())
        return kept->second;
    std::vector<Hit> hits =
        hitsOf(askPast("SELECT t.tag, o.type FROM text t JOIN object o ON o.tag=t.tag WHERE "
                       "t.attr=$1::bigint AND t.v=$2::bytea ORDER BY t.tag",
                       Parameters().add(toNumber(attribute)).add(std::string_view(key))));
    correct(hits, attribute, key);
    if (is_id)
        known_ids_.misses = hits.empty() ? known_ids_.misses + 1 : 0;
    if (lasts()) {
        keepTextsFew();
        texts_[{attribute, key}] = hits;
    }
    return hits;
}

void PostgresStore::keepTextsFew() noexcept {
    constexpr std::size_t kMostTexts = 100000;
    if (texts_.size() > kMostTexts)
        forgetTexts();
}

void PostgresStore::forgetTexts() noexcept {
    texts_.clear();
    known_ids_.any = false;
    known_ids_.misses = 0;
}

// Whether `texts_` tells who has this id of an item, if anybody. Requires: a transaction that
// lasts.
bool PostgresStore::knowsId(const std::string& id) {
    if (known_ids_.has(id)) {
        known_ids_.used = true;
        return true;
    }
    if (known_ids_.misses < known_ids_.wait)
        return false;
    // Who asks in another order learns little by that, and tries it less and less often.
    constexpr int kMostWait = 1 << 16;
    known_ids_.wait =
        known_ids_.used ? KnownIds::kFirstWait : std::min(known_ids_.wait * 2, kMostWait);
    known_ids_.used = false;
    keepTextsFew();
    // What waits is sent first, so the answer has the ids of this transaction, too.
    constexpr int kPiece = 256;
    const Answer rows =
        ask("SELECT t.v, t.tag, o.type FROM text t JOIN object o ON o.tag=t.tag WHERE "
            "t.attr=$1::bigint AND t.v>=$2::bytea ORDER BY t.v, t.tag LIMIT 256",
            Parameters().add(toNumber(item_id_)).add(std::string_view(id)));
    // The last text may go on.
    known_ids_.to_end = rows.rows() < kPiece;
    known_ids_.to = known_ids_.to_end ? "" : rows.text(kPiece - 1, 0);
    known_ids_.from = id;
    known_ids_.any = true;
    std::map<std::string, std::vector<Hit>> found;
    for (int i = 0; i < rows.rows(); ++i)
        found[rows.text(i, 0)].push_back({toTag(rows.integer(i, 1)), toTag(rows.integer(i, 2))});
    for (auto& [text, hits] : found)
        if (known_ids_.has(text))
            // What was read before stays.
            texts_.try_emplace({item_id_, text}, std::move(hits));
    return known_ids_.has(id);
}

void PostgresStore::aboutToFind(tag_t attribute, const std::vector<std::string>& texts) {
    if (!lasts())
        return;
    keepTextsFew();
    constexpr std::size_t kPiece = 500;
    for (std::size_t begin = 0; begin < texts.size(); begin += kPiece) {
        std::vector<std::string> keys;
        for (std::size_t i = begin; i < std::min(begin + kPiece, texts.size()); ++i)
            keys.push_back(textKey(texts[i]));
        std::vector<std::string_view> unknown;
        for (const std::string& key : keys)
            if (!texts_.contains({attribute, key}) &&
                !(attribute == item_id_ && known_ids_.has(key)))
                unknown.emplace_back(key);
        if (unknown.size() > 1) {
            std::map<std::string, std::vector<Hit>, std::less<>> found;
            for (const std::string_view key : unknown)
                found.try_emplace(std::string(key));
            const Answer rows = askPast(
                "SELECT t.v, t.tag, o.type FROM text t JOIN object o ON o.tag=t.tag WHERE "
                "t.attr=$1::bigint AND t.v=ANY($2::bytea[]) ORDER BY t.v, t.tag",
                Parameters().add(toNumber(attribute)).add(unknown));
            for (int i = 0; i < rows.rows(); ++i)
                found.find(rows.bytes(i, 0))
                    ->second.push_back({toTag(rows.integer(i, 1)), toTag(rows.integer(i, 2))});
            for (auto& [key, hits] : found) {
                correct(hits, attribute, key);
                texts_.insert_or_assign({attribute, key}, std::move(hits));
            }
        }
        // The objects that were found are presumably asked for in this order.
        std::vector<tag_t> tags;
        for (const std::string& key : keys)
            if (const auto at = texts_.find({attribute, key});
                at != texts_.end() && !at->second.empty())
                tags.push_back(at->second.front().tag);
        std::unordered_set<tag_t> seen;
        std::erase_if(tags, [&](tag_t tag) { return !seen.insert(tag).second; });
        name(tags);
    }
}

bool PostgresStore::hasText(tag_t tag, tag_t attribute, std::string_view text) {
    bool has = false;
    const auto look = [&](const ObjectRow& found) {
        ObjectReader in(tag, found.data);
        while (in.next())
            if (in.attribute() == attribute && in.kind() == Kind::String)
                while (in.left() > 0)
                    has = in.text() == text || has;
    };
    row(tag, look);
    return has;
}

std::vector<tag_t> PostgresStore::referrersWithText(tag_t reference, tag_t target, tag_t attribute,
                                                    std::string_view text) {
    const std::string key = textKey(text);
    std::vector<tag_t> tags;
    if (!isNewHere(target)) {
        // The referrers come first, since very many objects may have the text: OFFSET 0 lets the
        // server look each of them up.
        const Answer answer = askPast(
            "SELECT r.tag FROM ref r WHERE r.target=$1::bigint AND r.attr=$2::bigint AND "
            "EXISTS (SELECT 1 FROM text t WHERE t.attr=$3::bigint AND t.v=$4::bytea AND "
            "t.tag=r.tag OFFSET 0) ORDER BY r.tag",
            Parameters()
                .add(toNumber(target))
                .add(toNumber(reference))
                .add(toNumber(attribute))
                .add(std::string_view(key)));
        for (int i = 0; i < answer.rows(); ++i)
            tags.push_back(toTag(answer.integer(i, 0)));
    }
    // Each object that waits is compared itself.
    for (const Pending& part : parts_)
        for (auto at = part.references.lower_bound({target, reference, NULLTAG});
             at != part.references.end() && std::get<0>(at->first) == target &&
             std::get<1>(at->first) == reference;
             ++at)
            tags.push_back(std::get<2>(at->first));
    std::sort(tags.begin(), tags.end());
    tags.erase(std::unique(tags.begin(), tags.end()), tags.end());
    std::erase_if(tags, [&](tag_t tag) {
        const PendingRow* own = pendingRow(tag);
        if (!own)
            return false;
        if (own->gone || !hasText(tag, attribute, text))
            return true;
        ObjectReader in(tag, own->data);
        while (in.next())
            if (in.attribute() == reference && in.kind() == Kind::Reference)
                while (in.left() > 0)
                    if (in.reference() == target)
                        return false;
        return true;
    });
    return tags;
}

std::vector<Store::Hit> PostgresStore::withPattern(tag_t attribute, const std::string& pattern) {
    const std::size_t wildcard = pattern.find_first_of("*?");
    if (wildcard == std::string::npos)
        return withText(attribute, pattern);
    // The begin of the pattern bounds the part of the index that is read.
    std::string from = pattern.substr(0, std::min<std::size_t>(wildcard, 1000)), end = from;
    while (!end.empty() && static_cast<unsigned char>(end.back()) == 0xFF)
        end.pop_back();
    if (!end.empty())
        end.back() = static_cast<char>(static_cast<unsigned char>(end.back()) + 1);
    // Of a longer text the key has the begin alone, so the object itself is looked at.
    const Answer answer =
        ask("SELECT t.tag, o.type, t.v FROM text t JOIN object o ON o.tag=t.tag WHERE "
            "t.attr=$1::bigint AND t.v>=$2::bytea AND ($3::bytea=''::bytea OR t.v<$3::bytea) AND "
            "(t.v LIKE $4::bytea OR length(t.v)>1000) ORDER BY t.tag",
            Parameters()
                .add(toNumber(attribute))
                .add(std::string_view(from))
                .add(std::string_view(end))
                .add(std::string_view(likeOf(pattern))));
    const Pattern wanted(pattern);
    std::vector<Hit> hits;
    for (int i = 0; i < answer.rows(); ++i) {
        const tag_t tag = toTag(answer.integer(i, 0));
        if (!hits.empty() && hits.back().tag == tag)
            continue;
        bool matches = wanted.matches(answer.bytes(i, 2));
        if (!isWholeKey(answer.bytes(i, 2))) {
            matches = false;
            const auto look = [&](const ObjectRow& found) {
                ObjectReader in(tag, found.data);
                while (in.next())
                    if (in.attribute() == attribute && in.kind() == Kind::String)
                        while (in.left() > 0)
                            matches = wanted.matches(in.text()) || matches;
            };
            row(tag, look);
        }
        if (matches)
            hits.push_back({tag, toTag(answer.integer(i, 1))});
    }
    return hits;
}

std::vector<Store::Hit> PostgresStore::thoseWithPattern(std::vector<Hit> hits, tag_t attribute,
                                                        const std::string& pattern) {
    const std::vector<Hit> all = withPattern(attribute, pattern);
    std::erase_if(hits, [&](const Hit& hit) {
        return !std::binary_search(all.begin(), all.end(), hit,
                                   [](const Hit& a, const Hit& b) { return a.tag < b.tag; });
    });
    return hits;
}

void PostgresStore::setTextIndex(bool on) {
    if (on)
        throw Failure(kStoreFailure, "store " + path() +
                                         ": a store on a server has no index of texts; it is for "
                                         "stores in a file");
}

std::vector<std::string> PostgresStore::textsNear(tag_t attribute, const std::string& text) {
    std::vector<std::string> found;
    if (text.empty() || text.size() > kLongestNear)
        return found;
    const std::vector<std::string> away = oneLetterAway(text);
    const Answer near =
        ask("SELECT DISTINCT v FROM text WHERE attr=$1::bigint AND v=ANY($2::bytea[])",
            Parameters()
                .add(toNumber(attribute))
                .add(std::vector<std::string_view>(away.begin(), away.end())));
    for (int i = 0; i < near.rows(); ++i)
        found.push_back(near.text(i, 0));
    for (const char* sql :
         {"SELECT DISTINCT v FROM text WHERE attr=$1::bigint AND v>=$2::bytea ORDER BY v LIMIT 20",
          "SELECT DISTINCT v FROM text WHERE attr=$1::bigint AND v<$2::bytea ORDER BY v DESC "
          "LIMIT 20"}) {
        const Answer neighbours =
            askPast(sql, Parameters().add(toNumber(attribute)).add(std::string_view(text)));
        for (int i = 0; i < neighbours.rows(); ++i)
            if (isWholeKey(neighbours.bytes(i, 0)))
                found.push_back(neighbours.text(i, 0));
    }
    std::sort(found.begin(), found.end());
    found.erase(std::unique(found.begin(), found.end()), found.end());
    return found;
}

// ---- lists of objects ----

std::vector<tag_t> PostgresStore::ofType(tag_t type, tag_t from, int limit) {
    const Answer rows =
        ask("SELECT tag FROM object WHERE type=$1::bigint AND tag>=$2::bigint ORDER BY tag LIMIT "
            "CASE WHEN $3::bigint<0 THEN NULL ELSE $3::bigint END",
            Parameters().add(toNumber(type)).add(toNumber(from)).add(std::int64_t{limit}));
    std::vector<tag_t> tags;
    for (int i = 0; i < rows.rows(); ++i)
        tags.push_back(toTag(rows.integer(i, 0)));
    constexpr std::size_t kNamed = 10000;
    if (tags.size() <= kNamed)
        name(tags);
    return tags;
}

std::vector<Store::Hit> PostgresStore::everything() {
    constexpr std::size_t kPiece = 5000;
    std::vector<Hit> all;
    for (std::size_t before = 0;; before = all.size()) {
        const std::vector<Hit> piece =
            hitsOf(ask("SELECT tag, type FROM object WHERE tag>$1::bigint ORDER BY tag LIMIT 5000",
                       Parameters().add(all.empty() ? 0 : toNumber(all.back().tag))));
        all.insert(all.end(), piece.begin(), piece.end());
        if (all.size() - before < kPiece)
            return all;
    }
}

std::int64_t PostgresStore::objectCount() {
    return ask("SELECT count(*) FROM object").integer(0, 0);
}

// ---- structures ----

// The attribute of an occurrence that leads to its view is in its bytes, which the server doesn't
// read; the table of references has it from the other side.
std::vector<StoredUse> PostgresStore::uses(const UsePath& path, tag_t revision) {
    const Answer rows =
        ask("SELECT used.tag, parent.tag FROM ref used "
            "JOIN object occurrence ON occurrence.tag=used.tag "
            "JOIN ref held ON held.tag=used.tag AND held.attr=$2::bigint "
            "JOIN ref owner ON owner.tag=held.target AND owner.attr=$3::bigint "
            "JOIN object view ON view.tag=held.target "
            "JOIN object parent ON parent.tag=owner.target "
            "WHERE used.target=$4::bigint AND used.attr=$1::bigint ORDER BY used.tag",
            parametersOf(path, revision));
    std::vector<StoredUse> uses;
    for (int i = 0; i < rows.rows(); ++i)
        uses.push_back({toTag(rows.integer(i, 0)), toTag(rows.integer(i, 1))});
    return uses;
}

std::vector<tag_t> PostgresStore::children(const UsePath& path, tag_t revision) {
    const Answer rows =
        ask("SELECT child.tag FROM ref held "
            "JOIN object occurrence ON occurrence.tag=held.tag "
            "JOIN ref used ON used.tag=held.tag AND used.attr=$1::bigint "
            "JOIN object child ON child.tag=used.target "
            "WHERE held.attr=$2::bigint AND held.target="
            "(SELECT min(tag) FROM ref WHERE target=$4::bigint AND attr=$3::bigint)",
            parametersOf(path, revision));
    std::vector<tag_t> children;
    for (int i = 0; i < rows.rows(); ++i)
        children.push_back(toTag(rows.integer(i, 0)));
    return children;
}

}  // namespace mervane
