#include <algorithm>
#include <optional>
#include <set>

#include "workbench/model/status.h"
#include "workbench/store/object_data.h"
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

// A sum over rows that doesn't depend on their order: two tables with the same rows have the same
// one.
class RowSum {
public:
    void add(std::uint64_t a, std::uint64_t b, std::uint64_t c, std::string_view text = {}) {
        std::uint64_t mixed = 14695981039346656037ULL;
        for (const std::uint64_t each : {a, b, c, std::uint64_t{text.size()}})
            mixed = (mixed ^ each) * 0x9E3779B97F4A7C15ULL ^ mixed >> 29U;
        for (const char byte : text)
            mixed = (mixed ^ static_cast<unsigned char>(byte)) * 1099511628211ULL;
        sum_ += mixed ^ mixed >> 32U;
    }
    bool operator==(const RowSum&) const = default;

private:
    std::uint64_t sum_ = 0;
};

struct IndexSums {
    RowSum texts, references;
};

// What the two tables should have of an attribute; an array may have a value twice.
void addValues(tag_t tag, ObjectReader& in, IndexSums& sums) {
    const tag_t attribute = in.attribute();
    if (in.kind() == Kind::String) {
        std::set<std::string_view> each;
        while (in.left() > 0)
            if (const std::string_view text = in.text(); each.insert(text).second)
                sums.texts.add(attribute, tag, 0, text);
    } else if (in.kind() == Kind::Reference) {
        std::set<tag_t> each;
        while (in.left() > 0)
            if (const tag_t target = in.reference();
                target != NULLTAG && each.insert(target).second)
                sums.references.add(target, attribute, tag);
    }
}

// The values of each object, and what the tables of texts and references should have.
IndexSums checkValues(Connection& connection, Model& model, Findings& findings) {
    IndexSums sums;
    Statement rows = connection.statement("SELECT tag, data FROM object");
    while (rows.step()) {
        const auto tag = static_cast<tag_t>(rows.integer(0));
        try {
            ObjectReader in(tag, rows.bytes(1));
            while (in.next()) {
                const Attribute* attribute = model.attributeOf(in.attribute());
                if (attribute && attribute->kind != in.kind())
                    findings.push_back({true, shownTag(tag) + " has values of another kind in " +
                                                  attribute->name});
                addValues(tag, in, sums);
            }
        } catch (const Failure& damage) {
            findings.push_back({true, damage.what()});
        }
    }
    return sums;
}

IndexSums storedSums(Connection& connection) {
    IndexSums sums;
    Statement texts = connection.statement("SELECT attr, tag, v FROM text");
    while (texts.step())
        sums.texts.add(static_cast<std::uint64_t>(texts.integer(0)),
                       static_cast<std::uint64_t>(texts.integer(1)), 0, texts.text(2));
    Statement references = connection.statement("SELECT target, attr, tag FROM ref");
    while (references.step())
        sums.references.add(static_cast<std::uint64_t>(references.integer(0)),
                            static_cast<std::uint64_t>(references.integer(1)),
                            static_cast<std::uint64_t>(references.integer(2)));
    return sums;
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
        "SELECT r.tag, r.attr, r.target FROM ref r WHERE NOT EXISTS "
        "(SELECT 1 FROM object o WHERE o.tag=r.target) ORDER BY r.tag, r.attr, r.target");
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
    std::vector<CheckFinding> findings;
    checkDatabase(*connection_, findings);
    if (!findings.empty())
        return findings;  // the rest would read damaged pages
    // Before what reads these tables: a repair may make them anew.
    checkIndexes(repair, findings);
    checkTypes(*connection_, model(), findings);
    checkReferences(*connection_, model(), findings);
    checkTags(*connection_, findings);
    checkFiles(repair, unsaved_files, findings);
    checkSessions(repair, findings);
    // The index of texts is compared with the table of texts as it is after its own repair.
    checkTexts(repair, findings);
    return findings;
}

void Store::checkIndexes(bool repair, std::vector<CheckFinding>& findings) {
    const auto differ = [&](std::vector<CheckFinding>& damage) {
        // A save between the two readings would look like damage.
        const OneMoment moment(*this);
        const IndexSums wanted = checkValues(*connection_, model(), damage);
        const IndexSums found = storedSums(*connection_);
        return std::pair(wanted.texts != found.texts, wanted.references != found.references);
    };
    const auto [texts, references] = differ(findings);
    if (!texts && !references)
        return;
    if (repair)
        indexAll();
    const auto report = [&](const char* table) {
        findings.push_back({!repair, std::string("the table of ") + table +
                                         " lacks a value or has one too many" +
                                         (repair ? "; made anew" : "")});
    };
    if (texts)
        report("texts");
    if (references)
        report("references");
}

// Make the tables of texts and references anew from the objects.
void Store::indexAll() {
    Transaction transaction(*connection_);
    referrers_.forget();
    connection_->execute("DELETE FROM text; DELETE FROM ref");
    Statement rows = connection_->statement("SELECT tag, data FROM object");
    while (rows.step()) {
        const auto tag = static_cast<tag_t>(rows.integer(0));
        std::vector<std::pair<tag_t, Value>> values;
        try {
            ObjectReader in(tag, rows.bytes(1));
            while (in.next())
                if (in.kind() == Kind::String || in.kind() == Kind::Reference)
                    while (in.left() > 0)
                        values.emplace_back(in.attribute(), in.value());
        } catch (const Failure&) {
            // What comes before the damage is found still; the check tells the damage.
        }
        // Outside of the try: a failure to write must not be taken for damage of the object.
        for (const auto& [attribute, value] : values)
            index(tag, attribute, value);
    }
    // It noted each text as changed, which the next search would have to compare.
    if (text_index_.isThere())
        text_index_.make(model());
    transaction.commit();
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
        } catch (const Failure&) {
            // The object itself is damaged, which is told already.
            if (connection_->isBroken() || isBatchLost())
                throw;
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
    // While this transaction is open, nobody else saves an object or gets a new tag. But a session
    // that got its tag before may place the file of an object that it hasn't saved yet. So nothing
    // is removed while other sessions are at work.
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
