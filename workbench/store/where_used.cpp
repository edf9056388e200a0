#include "workbench/store/store.h"

namespace mervane {

// Both join `object`: references to what is deleted stay stored.
std::vector<StoredUse> Store::uses(const UsePath& path, tag_t revision) {
    Statement rows = connection_->statement(
        "SELECT used.tag, parent.target FROM ref used "
        "JOIN ref held ON held.tag = used.tag AND held.attr = ?2 "
        "JOIN ref parent ON parent.tag = held.target AND parent.attr = ?3 "
        "JOIN object ON object.tag = parent.target "
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
std::vector<tag_t> Store::children(const UsePath& path, tag_t revision) {
    Statement rows = connection_->statement(
        "SELECT used.target FROM ref held "
        "JOIN ref used ON used.tag = held.tag AND used.attr = ?1 "
        "JOIN object ON object.tag = used.target "
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
