#include <algorithm>
#include <chrono>

#include "workbench/model/status.h"
#include "workbench/store/index_sums.h"
#include "workbench/store/postgres/postgres_store.h"

// What the check asks the server. The pages of the database are checked by the server's own means
// (pg_amcheck).

namespace mervane {

namespace {

constexpr int kPiece = 5000;

}  // namespace

void PostgresStore::eachObject(const std::function<void(tag_t, std::string_view)>& each) {
    for (std::int64_t last = 0;;) {
        const Answer rows =
            ask("SELECT tag, data FROM object WHERE tag>$1::bigint ORDER BY tag LIMIT 5000",
                Parameters().add(last));
        for (int i = 0; i < rows.rows(); ++i) {
            last = rows.integer(i, 0);
            each(toTag(last), rows.bytes(i, 1));
        }
        if (rows.rows() < kPiece)
            return;
    }
}

Store::IndexDamage PostgresStore::compareIndexes(Findings& findings) {
    IndexSums wanted, found;
    // A save between the readings would look like damage.
    const OneMoment moment(*this);
    eachObject([&](tag_t tag, std::string_view data) {
        addObject(tag, data, model(), wanted, findings, textKey);
    });
    std::int64_t attribute = 0, tag = 0;
    std::string key;
    for (;;) {
        const Answer rows =
            ask("SELECT attr, v, tag FROM text WHERE (attr, v, tag)>($1::bigint, $2::bytea, "
                "$3::bigint) ORDER BY attr, v, tag LIMIT 5000",
                Parameters().add(attribute).add(std::string_view(key)).add(tag));
        for (int i = 0; i < rows.rows(); ++i)
            found.texts.add(static_cast<std::uint64_t>(rows.integer(i, 0)),
                            static_cast<std::uint64_t>(rows.integer(i, 2)), 0, rows.bytes(i, 1));
        if (rows.rows() < kPiece)
            break;
        attribute = rows.integer(kPiece - 1, 0);
        key = rows.text(kPiece - 1, 1);
        tag = rows.integer(kPiece - 1, 2);
    }
    for (std::int64_t target = 0, attr = 0, last = 0;;) {
        const Answer rows =
            ask("SELECT target, attr, tag FROM ref WHERE (target, attr, tag)>($1::bigint, "
                "$2::bigint, $3::bigint) ORDER BY target, attr, tag LIMIT 5000",
                Parameters().add(target).add(attr).add(last));
        for (int i = 0; i < rows.rows(); ++i) {
            target = rows.integer(i, 0);
            attr = rows.integer(i, 1);
            last = rows.integer(i, 2);
            found.references.add(static_cast<std::uint64_t>(target),
                                 static_cast<std::uint64_t>(attr),
                                 static_cast<std::uint64_t>(last));
        }
        if (rows.rows() < kPiece)
            break;
    }
    return {wanted.texts != found.texts, wanted.references != found.references};
}

// Also the ids that two sessions can't store at once.
void PostgresStore::makeIndexes() {
    StoreTransaction transaction(*this, StoreTransaction::Others::Alone);
    for (const char* sql : {"DELETE FROM text", "DELETE FROM ref", "DELETE FROM unique_id"})
        change(sql);
    eachObject([&](tag_t tag, std::string_view data) {
        try {
            ObjectReader in(tag, data);
            while (in.next()) {
                const tag_t attribute = in.attribute();
                if (in.kind() == Kind::String || in.kind() == Kind::Reference)
                    index(tag, NULLTAG, attribute, in.values(), true);
            }
        } catch (const Failure&) {
            // What comes before the damage is found still; the check tells the damage.
        }
        changeIds(tag, {}, data);
        // Nobody else writes, so pieces of it may go to the server.
        if (top().bytes > (4U << 20))
            queueParts();
    });
    transaction.commit();
}

std::vector<tag_t> PostgresStore::typesInUse() {
    std::vector<tag_t> types;
    const Answer rows = ask("SELECT DISTINCT type FROM object");
    for (int i = 0; i < rows.rows(); ++i)
        types.push_back(toTag(rows.integer(i, 0)));
    return types;
}

void PostgresStore::lostReferences(const std::function<void(const LostReference&)>& each) {
    const Answer rows =
        ask("SELECT r.tag, r.attr, r.target FROM ref r WHERE NOT EXISTS (SELECT 1 FROM object o "
            "WHERE o.tag=r.target) ORDER BY r.tag, r.attr, r.target");
    for (int i = 0; i < rows.rows(); ++i)
        each({toTag(rows.integer(i, 0)), toTag(rows.integer(i, 1)), toTag(rows.integer(i, 2))});
}

tag_t PostgresStore::tagNotGivenYet() {
    return toTag(ask("SELECT coalesce(max(tag), 0) FROM object WHERE tag>=(SELECT value::bigint "
                     "FROM meta WHERE name='next_tag')")
                     .integer(0, 0));
}

std::vector<tag_t> PostgresStore::checkOutsOfNothing() {
    std::vector<tag_t> objects;
    const Answer rows =
        ask("SELECT object FROM checkout c WHERE NOT EXISTS (SELECT 1 FROM object o WHERE "
            "o.tag=c.object)");
    for (int i = 0; i < rows.rows(); ++i)
        objects.push_back(toTag(rows.integer(i, 0)));
    return objects;
}

std::vector<CheckFinding> PostgresStore::backup(const std::string&) {
    const ServerAddress& address = main_->address();
    const std::string directory = directoryOfFiles();
    throw Failure(kBadValue,
                  "A store on a server is copied by the database's own means: pg_dump "
                  "--schema=" +
                      address.schema + " --format=custom --file=FILE " + address.shown +
                      " (without \"schema=\" in the address), " +
                      (directory.empty() ? "" : "then a copy of " + directory + ", ") +
                      "or by keld copy-store");
}

std::vector<std::pair<std::string, std::string>> PostgresStore::serverFacts() {
    const Answer version = ask("SELECT convert_to(current_setting('server_version'), 'UTF8')");
    // The median of some: the first ones may wait for the server to wake up.
    std::vector<double> took;
    for (int i = 0; i < 21; ++i) {
        const auto began = std::chrono::steady_clock::now();
        ask("SELECT 1");
        took.push_back(
            std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - began)
                .count());
    }
    const std::string directory = directoryOfFiles();
    std::nth_element(took.begin(), took.begin() + 10, took.end());
    return {{"kind", "PostgreSQL server"},
            {"server version", version.text(0, 0)},
            {"schema", main_->address().schema},
            {"files", directory.empty() ? "in the database" : directory},
            {"round trip", std::to_string(static_cast<int>(took[10])) + " us"}};
}

std::vector<std::string> PostgresStore::serverWarnings() {
    std::vector<std::string> warnings;
    const Answer weak =
        ask("SELECT convert_to(name, 'UTF8') FROM pg_settings WHERE name IN ('fsync', "
            "'full_page_writes', 'synchronous_commit') AND setting='off' ORDER BY name");
    for (int i = 0; i < weak.rows(); ++i) {
        const std::string name = weak.text(i, 0);
        warnings.push_back(name + " is off on the server: " +
                           (name == "synchronous_commit"
                                ? "a failure of the power may lose the last saves"
                                : "a failure of the power may damage the store"));
    }
    // Whoever shares connections among clients gives statements of one session to several of the
    // server's processes. Each transaction of this one must meet the same, with its settings.
    const auto backend = [&] {
        return ask(
            "SELECT pg_backend_pid(), current_setting('search_path')=quote_ident("
            "convert_from($1::bytea, 'UTF8'))",
            Parameters().add(std::string_view(main_->address().schema)));
    };
    bool same = main_->backend() == 0;
    for (int i = 0; i < 5; ++i) {
        const Answer now = backend();
        same = (i == 0 || same) && now.integer(0, 0) == main_->backend() && now.integer(0, 1) != 0;
    }
    if (!same)
        warnings.emplace_back(
            "a connection pooler gives the statements of a session to several processes of the "
            "server, so locks are not safe: let it keep sessions, or connect without it");
    return warnings;
}

}  // namespace mervane
