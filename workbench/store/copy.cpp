#include <algorithm>

#include "workbench/model/status.h"
#include "workbench/store/store.h"

// Copying a store into one of any kind.

namespace mervane {

std::vector<CheckFinding> Store::copyTo(const std::string& path, const std::string& volume) {
    Findings findings;
    create(
        path, [&](const std::shared_ptr<Store>& copy) { copy->copyFrom(*this, findings); }, volume);
    return findings;
}

void Store::copyFrom(Store& from, Findings& findings) {
    // The files of what is deleted meanwhile stay readable.
    const auto hold = from.volume().hold();
    const OneMoment moment(from);
    beginBatch(this);
    try {
        expectMuch();
        for (const Addition& each : from.additionsAfter(0))
            add(each);
        for (const Hit& hit : from.everything()) {
            std::vector<std::pair<tag_t, Values>> all;
            std::int64_t version = 0;
            try {
                from.loadAll(
                    hit.tag, [&](tag_t, std::int64_t stored) { version = stored; },
                    [&](ObjectReader& in) {
                        while (in.next()) {
                            const tag_t attribute = in.attribute();
                            all.emplace_back(attribute, in.values());
                        }
                    });
            } catch (const Failure& damage) {
                if (!from.isSound())
                    throw;
                findings.push_back({true, damage.what()});
                continue;
            }
            std::vector<AttributeValues> values;
            for (const auto& [attribute, its] : all)
                values.push_back({attribute, &its});
            insert(hit.tag, hit.type, values, version);
        }
        for (const auto& [name, values] : from.preferences())
            setPreference(name, values);
        for (const Right& right : from.rights())
            addRight(right);
        for (const CheckOutRow& row : from.checkOuts())
            addCheckOut(row);
        for (const std::string& id : from.ownRegistry().ids())
            ownRegistry().add(id);
        if (!from.ownRegistry().isReachable())
            ownRegistry().setReachable(false);
        recordRuns(from.recordsRuns());
        const auto runs_there = from.runs(false), runs_here = runs(false);
        std::vector<std::int64_t> numbers = runs_there->find({});
        std::sort(numbers.begin(), numbers.end());
        for (const std::int64_t number : numbers) {
            RunHead head;
            std::int64_t session = 0;
            if (!runs_there->head(number, head, &session))
                continue;
            runs_here->put(runs_there->tokenOf(number), head, session);
            runs_there->entries(number,
                                [&](StoredEntry&& entry) { runs_here->add(number, entry); });
        }
        std::vector<StoredFile> files;
        for (const tag_t tag : storedFiles())
            files.push_back(knownFile(tag));
        // An undo in the copy needs the files that recorded runs have removed.
        for (const tag_t tag : runs_here->removedFiles())
            if (!exists(tag))
                files.push_back({tag, "", {}, {}});
        for (std::string& text : from.volume().copyTo(volume(), files))
            findings.push_back({true, std::move(text)});
        takeOver(from.identity(), from.nextTag());
        commitBatch();
    } catch (...) {
        rollbackBatch();
        throw;
    }
    if (const std::string shared = from.registryPath(); !shared.empty()) {
        try {
            useRegistry(shared);
        } catch (const Failure& failure) {
            findings.push_back(
                {false, "the registry " + shared + " isn't used by the copy: " + failure.what()});
        }
    }
}

}  // namespace mervane
