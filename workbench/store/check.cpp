#include <algorithm>
#include <optional>
#include <set>

#include "workbench/model/status.h"
#include "workbench/store/runs.h"
#include "workbench/store/store.h"

// The integrity check: what is damaged, and what is worth knowing.

namespace mervane {

namespace {

using Findings = std::vector<CheckFinding>;

std::string shownTag(std::int64_t tag) {
    return "#" + std::to_string(tag);
}

// The pages and the indexes, as SQLite checks them.
void checkDatabase(Connection& connection, Findings& findings) {
    Statement rows = connection.statement("PRAGMA integrity_check");
    while (rows.step())
        // Newer versions of SQLite check the index of texts here, too. It is compared by itself,
        // and a repair can make it anew.
        if (rows.text(0) != "ok" && !TextIndex::isNamedBy(rows.text(0)))
            findings.push_back({true, "database: " + std::string(rows.text(0))});
}

void checkValues(Connection& connection, Findings& findings) {
    Statement rows = connection.statement(
        "SELECT tag FROM (SELECT tag FROM value UNION SELECT tag FROM ref) "
        "EXCEPT SELECT tag FROM object");
    while (rows.step())
        findings.push_back(
            {true, "values of " + shownTag(rows.integer(0)) + ", which isn't stored"});
}

void checkTypes(Connection& connection, Model& model, Findings& findings) {
    Statement rows = connection.statement("SELECT DISTINCT type FROM object");
    std::vector<tag_t> types;
    while (rows.step())
        types.push_back(static_cast<tag_t>(rows.integer(0)));
    rows.run();
    for (const tag_t type : types)
        if (!model.typeOf(type))
            findings.push_back({true, "objects of the type with handle " + std::to_string(type) +
                                          ", which isn't defined"});
}

void checkReferences(Connection& connection, Model& model, Findings& findings) {
    Statement rows = connection.statement(
        "SELECT r.tag, r.attr, r.target FROM ref r WHERE r.target<>0 AND NOT EXISTS "
        "(SELECT 1 FROM object o WHERE o.tag=r.target) ORDER BY r.tag, r.attr, r.idx");
    while (rows.step()) {
        const Attribute* attribute = model.attributeOf(static_cast<tag_t>(rows.integer(1)));
        // An error: without its status the object counts as not released.
        const bool status = attribute && attribute->name == "release_status_list";
        findings.push_back({status, shownTag(rows.integer(0)) + " refers by " +
                                        (attribute ? attribute->name : "?") + " to " +
                                        shownTag(rows.integer(2)) + ", which isn't there"});
    }
}

// No object may have a tag that the store gives later.
void checkTags(Connection& connection, Findings& findings) {
    Statement row = connection.statement(
        "SELECT coalesce(max(tag), 0) FROM object "
        "WHERE tag>=(SELECT value FROM meta WHERE name='next_tag')");
    if (row.step() && row.integer(0) != 0)
        findings.push_back({true, shownTag(row.integer(0)) + " has a tag that isn't given yet"});
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
        [&](tag_t attribute, std::size_t, const Cell& cell) {
            if (attribute == byte_size)
                known.byte_size = std::get<std::int64_t>(cell.as(Kind::Int));
            else if (attribute == sha256)
                known.sha256 = std::get<std::string>(cell.as(Kind::String));
            else if (attribute == name)
                known.name = std::get<std::string>(cell.as(Kind::String));
        });
    return known;
}

std::vector<CheckFinding> Store::check(bool repair, const std::vector<tag_t>& unsaved_files) {
    std::vector<CheckFinding> findings;
    checkDatabase(*connection_, findings);
    if (!findings.empty())
        return findings;  // the rest would read damaged pages
    checkValues(*connection_, findings);
    checkTypes(*connection_, model(), findings);
    checkReferences(*connection_, model(), findings);
    checkTags(*connection_, findings);
    checkFiles(repair, unsaved_files, findings);
    checkSessions(repair, findings);
    checkTexts(repair, findings);
    return findings;
}

void Store::checkFiles(bool repair, const std::vector<tag_t>& unsaved_files,
                       std::vector<CheckFinding>& findings) {
    // The volume first: a file is placed before its object is stored, so none that is placed from
    // here on is reported.
    const std::vector<tag_t> in_volume = volume().tags();
    const std::vector<tag_t> stored = storedFiles();
    for (const tag_t tag : stored) {
        try {
            volume().compare(knownFile(tag));
        } catch (const Damage& damage) {
            // Others delete meanwhile, the object before its file.
            if (exists(tag))
                findings.push_back({true, damage.what()});
        }
    }

    const std::set<tag_t> unsaved(unsaved_files.begin(), unsaved_files.end());
    const auto orphans = [&](const std::vector<tag_t>& files, const std::vector<tag_t>& owners) {
        std::set<tag_t> owned(owners.begin(), owners.end());
        // An undo needs the files that a recorded run has removed.
        for (const tag_t tag : RunTables(*connection_, false).removedFiles())
            owned.insert(tag);
        std::vector<std::string> names = volume().leftOvers();
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
        report(orphans(in_volume, stored), "");
        return;
    }
    // No save or new tag can happen during this transaction; a session with an earlier tag may
    // still place its file. So nothing is removed while others are at work.
    Transaction alone(*connection_);
    bool others = false;
    for (const LockOwner& session : locks().sessions())
        others = others || (session.alive && !locks().isOwn(session.session));
    const std::vector<std::string> names = orphans(volume().tags(), storedFiles());
    if (others) {
        report(names, "; kept, since other sessions are at work");
        return;
    }
    for (const std::string& name : names)
        report({name}, volume().removeLeftOver(name) ? "; removed"
                                                     : "; kept for a copy that is being made");
    alone.commit();
}

void Store::checkTexts(bool repair, std::vector<CheckFinding>& findings) {
    if (!text_index_.isThere())
        return;
    try {
        if (text_index_.agrees())
            return;
    } catch (const Failure& failure) {
        if (connection_->isBroken())
            throw;
        findings.push_back(
            {false, std::string("the index of texts wasn't compared: ") + failure.what()});
        return;
    }
    if (repair)
        text_index_.make(model());
    findings.push_back(
        {!repair, std::string("the index of texts lacks a text or has one too many") +
                      (repair ? "; made anew" : "")});
}

void Store::checkSessions(bool repair, std::vector<CheckFinding>& findings) {
    for (const Locks::Held& held : locks().held())
        if (!held.owner.alive)
            findings.push_back({false, "lock on " + shownTag(held.object) +
                                           " of a session that has ended (user " + held.owner.user +
                                           ", process " + std::to_string(held.owner.process) + ")" +
                                           (repair ? "; removed" : "")});
    if (repair)
        locks().reclaim();
    Statement rows = connection_->statement(
        "SELECT object FROM checkout WHERE object NOT IN (SELECT tag FROM object)");
    while (rows.step())
        findings.push_back(
            {true, "check-out of " + shownTag(rows.integer(0)) + ", which isn't stored"});
}

}  // namespace mervane
