#include <algorithm>
#include <set>

#include "workbench/model/status.h"
#include "workbench/store/store.h"

// The integrity check: what is damaged, and what is worth knowing.

namespace mervane {

namespace {

std::string shownTag(std::int64_t tag) {
    return "#" + std::to_string(tag);
}

}  // namespace

std::vector<tag_t> Store::storedFiles() {
    std::vector<tag_t> files;
    const Type& file = *model().findType("VaneFile");
    files = ofType(file.handle);
    for (const Type* type : model().subtypes(file))
        for (const tag_t tag : ofType(type->handle))
            files.push_back(tag);
    std::sort(files.begin(), files.end());
    return files;
}

StoredFile Store::knownFile(tag_t tag) {
    const Class& file = *model().findClass("VaneFile");
    const tag_t byte_size = model().findAttribute(file, "byte_size")->handle,
                sha256 = model().findAttribute(file, "sha256")->handle,
                name = model().findAttribute(file, "original_file_name")->handle;
    StoredFile known;
    known.tag = tag;
    load(
        tag, [](tag_t, std::int64_t) {},
        [&](tag_t attribute, std::size_t, const Value& value) {
            if (const auto* size = std::get_if<std::int64_t>(&value)) {
                if (attribute == byte_size)
                    known.byte_size = *size;
            } else if (const auto* text = std::get_if<std::string>(&value)) {
                if (attribute == sha256)
                    known.sha256 = *text;
                else if (attribute == name)
                    known.name = *text;
            }
        });
    return known;
}

std::vector<CheckFinding> Store::check(bool repair, const std::vector<tag_t>& unsaved_files) {
    Findings findings;
    if (!checkDatabase(findings))
        return findings;  // the rest would read damaged pages
    // Before what reads these tables: a repair may make them anew.
    checkIndexes(repair, findings);
    checkTypes(findings);
    checkReferences(findings);
    // No object may have a tag that the store gives later.
    if (const tag_t tag = tagNotGivenYet())
        findings.push_back({true, shownTag(tag) + " has a tag that isn't given yet"});
    checkFiles(repair, unsaved_files, findings);
    checkSessions(repair, findings);
    // The index of texts is compared with the table of texts as it is after its own repair.
    checkTexts(repair, findings);
    return findings;
}

void Store::checkIndexes(bool repair, Findings& findings) {
    const IndexDamage damage = compareIndexes(findings);
    if (repair && (damage.texts || damage.references))
        makeIndexes();
    for (const auto& [damaged, table] :
         {std::pair(damage.texts, "texts"), std::pair(damage.references, "references")})
        if (damaged)
            findings.push_back({!repair, std::string("the table of ") + table +
                                             " lacks a value or has one too many" +
                                             (repair ? "; made anew" : "")});
}

void Store::checkTypes(Findings& findings) {
    for (const tag_t type : typesInUse())
        if (!model().typeOf(type))
            findings.push_back({true, "objects of the type with handle " + std::to_string(type) +
                                          ", which isn't defined"});
}

void Store::checkReferences(Findings& findings) {
    lostReferences([&](const LostReference& lost) {
        const Attribute* attribute = model().attributeOf(lost.attribute);
        // An error: without its status the object counts as not released.
        const bool status = attribute && attribute->name == "release_status_list";
        findings.push_back({status, shownTag(lost.object) + " refers by " +
                                        (attribute ? attribute->name : "?") + " to " +
                                        shownTag(lost.target) + ", which isn't there"});
    });
}

void Store::checkFiles(bool repair, const std::vector<tag_t>& unsaved_files, Findings& findings) {
    // The volume first: a file is placed before its object is stored, so none that is placed from
    // here on is reported.
    const std::vector<tag_t> in_volume = volume().tags();
    const std::vector<tag_t> stored = storedFiles();
    for (const tag_t tag : stored) {
        try {
            volume().compare(knownFile(tag));
        } catch (const Damage& damage) {
            // Others delete meanwhile, the object before its file.
            forgetReadAhead(tag);
            if (exists(tag))
                findings.push_back({true, damage.what()});
        } catch (const Failure&) {
            // The object itself is damaged, which is told already.
            if (!isSound() || isBatchLost())
                throw;
        }
    }

    const std::set<tag_t> unsaved(unsaved_files.begin(), unsaved_files.end());
    const auto orphans = [&](const std::vector<tag_t>& files, std::vector<std::string> names,
                             const std::vector<tag_t>& owners) {
        std::set<tag_t> owned(owners.begin(), owners.end());
        // An undo needs the files that a recorded run has removed.
        for (const tag_t tag : runs(false)->removedFiles())
            owned.insert(tag);
        for (const tag_t tag : files)
            if (!owned.count(tag) && !unsaved.count(tag))
                names.push_back(std::to_string(tag));
        return names;
    };
    const auto report = [&](const std::vector<std::string>& names, const char* what_became) {
        for (const std::string& name : names)
            findings.push_back(
                {false, "file " + name + " of the volume belongs to no object" + what_became});
    };
    if (!repair) {
        report(orphans(in_volume, volume().leftOvers(), stored), "");
        return;
    }
    // While this transaction is open, nobody else saves an object. But a session may place the file
    // of an object that it hasn't saved yet. So nothing is removed while other sessions are at
    // work, and the files are listed before the sessions: whoever begins later has none of them.
    StoreTransaction alone(*this, StoreTransaction::Others::Alone);
    const std::vector<tag_t> files = volume().tags();
    std::vector<std::string> left_overs = volume().leftOvers();
    bool others = false;
    for (const LockOwner& session : locks().sessions())
        others = others || (session.alive && !locks().isOwn(session.session));
    const std::vector<std::string> names = orphans(files, std::move(left_overs), storedFiles());
    if (others) {
        report(names, "; kept, since other sessions are at work");
        return;
    }
    for (const std::string& name : names)
        report({name}, volume().removeLeftOver(name) ? "; removed"
                                                     : "; kept for a copy that is being made");
    alone.commit();
}

void Store::checkSessions(bool repair, Findings& findings) {
    for (const Locks::Held& held : locks().held())
        if (!held.owner.alive)
            findings.push_back({false, "lock on " + shownTag(held.object) +
                                           " of a session that has ended (user " + held.owner.user +
                                           ", process " + std::to_string(held.owner.process) + ")" +
                                           (repair ? "; removed" : "")});
    if (repair)
        locks().reclaim();
    for (const tag_t object : checkOutsOfNothing())
        findings.push_back({true, "check-out of " + shownTag(object) + ", which isn't stored"});
}

}  // namespace mervane
