#include "workbench/store/sqlite/sqlite_store.h"

namespace mervane {

// Both look up the object at the end: references to what is deleted stay stored.
std::vector<StoredUse> SqliteStore::uses(const UsePath& path, tag_t revision) {
    Statement rows = connection_->statement(
        "SELECT used.tag, parent.tag FROM ref used "
        "CROSS JOIN object occurrence ON occurrence.tag = used.tag "
        "CROSS JOIN object view ON view.tag = "
        "reference_in(occurrence.tag, occurrence.data, ?2) "
        "CROSS JOIN object parent ON parent.tag = reference_in(view.tag, view.data, ?3) "
        "WHERE used.target = ?4 AND used.attr = ?1 ORDER BY used.tag");
    rows.bind(std::int64_t{path.child})
        .bind(std::int64_t{path.parent_bvr})
        .bind(std::int64_t{path.parent_revision})
        .bind(std::int64_t{revision});
    std::vector<StoredUse> uses;
    while (rows.step())
        uses.push_back({static_cast<tag_t>(rows.integer(0)), static_cast<tag_t>(rows.integer(1))});
    return uses;
}

// The lowest tag: of several view revisions the first one is shown.
std::vector<tag_t> SqliteStore::children(const UsePath& path, tag_t revision) {
    Statement rows = connection_->statement(
        "SELECT child.tag FROM ref held "
        "CROSS JOIN object occurrence ON occurrence.tag = held.tag "
        "CROSS JOIN object child ON child.tag = "
        "reference_in(occurrence.tag, occurrence.data, ?1) "
        "WHERE held.attr = ?2 AND held.target = "
        "(SELECT min(tag) FROM ref WHERE target = ?4 AND attr = ?3)");
    rows.bind(std::int64_t{path.child})
        .bind(std::int64_t{path.parent_bvr})
        .bind(std::int64_t{path.parent_revision})
        .bind(std::int64_t{revision});
    std::vector<tag_t> children;
    while (rows.step())
        children.push_back(static_cast<tag_t>(rows.integer(0)));
    return children;
}

}  // namespace mervane
