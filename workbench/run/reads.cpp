#include "workbench/run/reads.h"

#include <algorithm>
#include <map>

#include "workbench/session/session.h"
#include "workbench/store/store.h"

namespace mervane {

bool Reads::asks(std::string_view cls, std::string_view attribute, tag_t target,
                 std::string_view text) {
    std::string key(cls);
    key.append(1, '.').append(attribute).append(1, '=').append(std::to_string(target));
    key.append(1, ' ').append(text);
    if (!known_.insert(std::move(key)).second)
        return false;
    searches_.push_back({std::string(cls), std::string(attribute), target, std::string(text)});
    return true;
}

RunReads Reads::take(Store& store) const {
    RunReads all;
    for (const auto& [tag, version] : versions_)
        if (!made_.contains(tag))
            all.objects.push_back({tag, version});
    // Nobody has looked at these, so the run hasn't changed them either.
    for (const tag_t tag : found_)
        if (!made_.contains(tag) && !versions_.contains(tag))
            if (const std::int64_t version = store.versionOf(tag); version != 0)
                all.objects.push_back({tag, version});
    std::sort(all.objects.begin(), all.objects.end(),
              [](const auto& a, const auto& b) { return a.object < b.object; });
    // Nobody else can search for what the run has made.
    std::copy_if(searches_.begin(), searches_.end(), std::back_inserter(all.searches),
                 [&](const auto& search) { return !made_.contains(search.target); });
    return all;
}

namespace {

std::vector<tag_t> answersOf(Session& session, const RunReads::Search& search) {
    if (!search.attribute.empty())
        return search.target == NULLTAG
                   ? session.findByText(search.cls, search.attribute, search.text)
                   : session.referrersBy(search.cls, search.attribute, search.target);
    std::vector<tag_t> tags;
    for (const Session::Referrer& referrer : session.referrers(search.target))
        tags.push_back(referrer.tag);
    return tags;
}

}  // namespace

std::vector<ReadDifference> differencesFrom(Session& session, const RunReads& reads) {
    Store& store = session.store();
    std::map<tag_t, ReadDifference> all;
    std::unordered_set<tag_t> known;
    for (const RunReads::Read& read : reads.objects) {
        known.insert(read.object);
        if (const std::int64_t now = store.versionOf(read.object); now != read.version)
            all[read.object] = {read.object, read.version, now};
    }
    // An object that was read can't answer a search anew without another version, which is told
    // above.
    for (const RunReads::Search& search : reads.searches)
        for (const tag_t tag : answersOf(session, search))
            if (!known.contains(tag))
                if (const std::int64_t now = store.versionOf(tag); now != 0)
                    all[tag] = {tag, 0, now};
    std::vector<ReadDifference> list;
    for (const auto& [tag, difference] : all)
        list.push_back(difference);
    return list;
}

}  // namespace mervane
