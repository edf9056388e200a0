#include <algorithm>
#include <optional>
#include <set>

#include "workbench/model/status.h"
#include "workbench/store/index_sums.h"
#include "workbench/store/object_data.h"
#include "workbench/store/sqlite/sqlite_store.h"

// What the check asks the database.

namespace mervane {

namespace {

using Findings = std::vector<CheckFinding>;

// The values of each object, and what the tables of texts and references should have.
IndexSums checkValues(Connection& connection, const Model& model, Findings& findings) {
    IndexSums sums;
    Statement rows = connection.statement("SELECT tag, data FROM object");
    while (rows.step())
        addObject(static_cast<tag_t>(rows.integer(0)), rows.bytes(1), model, sums, findings);
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

}  // namespace

// The pages and the indexes, as SQLite checks them.
bool SqliteStore::checkDatabase(Findings& findings) {
    Statement rows = connection_->statement("PRAGMA integrity_check");
    bool sound = true;
    while (rows.step())
        // Newer versions of SQLite check the index of texts here, too. It is compared by itself,
        // and a repair can make it anew.
        if (rows.text(0) != "ok" && !TextIndex::isNamedBy(rows.text(0))) {
            findings.push_back({true, "database: " + std::string(rows.text(0))});
            sound = false;
        }
    return sound;
}

Store::IndexDamage SqliteStore::compareIndexes(Findings& findings) {
    // A save between the two readings would look like damage.
    const OneMoment moment(*this);
    const IndexSums wanted = checkValues(*connection_, model(), findings);
    const IndexSums found = storedSums(*connection_);
    return {wanted.texts != found.texts, wanted.references != found.references};
}

void SqliteStore::makeIndexes() {
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

void SqliteStore::checkTexts(bool repair, Findings& findings) {
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

std::vector<tag_t> SqliteStore::typesInUse() {
    std::vector<tag_t> types;
    Statement rows = connection_->statement("SELECT DISTINCT type FROM object");
    while (rows.step())
        types.push_back(static_cast<tag_t>(rows.integer(0)));
    return types;
}

void SqliteStore::lostReferences(const std::function<void(const LostReference&)>& each) {
    Statement rows = connection_->statement(
        "SELECT r.tag, r.attr, r.target FROM ref r WHERE NOT EXISTS "
        "(SELECT 1 FROM object o WHERE o.tag=r.target) ORDER BY r.tag, r.attr, r.target");
    while (rows.step())
        each({static_cast<tag_t>(rows.integer(0)), static_cast<tag_t>(rows.integer(1)),
              static_cast<tag_t>(rows.integer(2))});
}

tag_t SqliteStore::tagNotGivenYet() {
    Statement row = connection_->statement(
        "SELECT coalesce(max(tag), 0) FROM object "
        "WHERE tag>=(SELECT value FROM meta WHERE name='next_tag')");
    return row.step() ? static_cast<tag_t>(row.integer(0)) : NULLTAG;
}

std::vector<tag_t> SqliteStore::checkOutsOfNothing() {
    std::vector<tag_t> objects;
    Statement rows = connection_->statement(
        "SELECT object FROM checkout WHERE object NOT IN (SELECT tag FROM object)");
    while (rows.step())
        objects.push_back(static_cast<tag_t>(rows.integer(0)));
    return objects;
}

}  // namespace mervane
