#include <cstdio>

#include "workbench/model/status.h"
#include "workbench/store/sqlite/schema.h"
#include "workbench/store/sqlite/sqlite_store.h"

// Bringing a store of an older program to the tables of this one.

namespace mervane {

namespace {

// "YYYY-MM-DDThh:mm:ss", as dates were stored before version 4.
Date dateOf(std::string_view text) {
    int year = 0, month = 1, day = 0, hour = 0, minute = 0, second = 0;
    std::sscanf(std::string(text).c_str(), "%d-%d-%dT%d:%d:%d", &year, &month, &day, &hour, &minute,
                &second);
    Date date;
    date.date.year = static_cast<std::int16_t>(year);
    date.date.month = static_cast<std::uint8_t>(month - 1);
    date.date.day = static_cast<std::uint8_t>(day);
    date.date.hour = static_cast<std::uint8_t>(hour);
    date.date.minute = static_cast<std::uint8_t>(minute);
    date.date.second = static_cast<std::uint8_t>(second);
    return date;
}

// The columns of a value before version 4: attr, v, kind of the column.
Value valueOf(const Statement& row, Kind kind) {
    switch (kind) {
        case Kind::String:
            return std::string(row.text(1));
        case Kind::Int:
            return row.integer(1);
        case Kind::Double:
            return row.real(1);
        case Kind::Logical:
            return row.integer(1) != 0;
        case Kind::Date:
            return dateOf(row.text(1));
        case Kind::Reference:
            return Reference{static_cast<tag_t>(row.integer(1))};
    }
    throw Failure(kInternal, "a value of no kind");
}

// Of an attribute that the model doesn't know.
Kind kindOfColumn(std::string_view column) {
    if (column == "ref")
        return Kind::Reference;
    if (column == "integer")
        return Kind::Int;
    return column == "real" ? Kind::Double : Kind::String;
}

}  // namespace

void SqliteStore::upgrade() {
    if (schemaVersion(*connection_) == kSchemaVersion)
        return;
    if (readOnly())
        throw Failure(kStoreFailure,
                      "The store " + path() +
                          " was written by an older program and must be brought up to date "
                          "before it can be read; there is no permission to write it");
    Transaction transaction(*connection_);
    // Asked again inside: another process may have been faster.
    if (schemaVersion(*connection_) == kSchemaVersion)
        return;
    // Its triggers are on a table that goes.
    const bool texts = text_index_.isThere();
    text_index_.drop();
    upgradeSchema(*connection_, [this] { moveValues(); });
    // In the same transaction: after a kill the store has its old tables and the old index, or the
    // new ones.
    if (texts)
        text_index_.make(model());
    transaction.commit();
}

void SqliteStore::moveValues() {
    // In the order of the tags, so that each row comes after the last one of its table.
    Statement objects =
        connection_->statement("SELECT tag, type, version FROM object_3 ORDER BY tag");
    while (objects.step()) {
        const auto tag = static_cast<tag_t>(objects.integer(0));
        std::vector<std::pair<tag_t, Values>> all;
        {
            Statement rows = connection_->statement(
                "SELECT attr, v, typeof(v), idx FROM value WHERE tag=?1 UNION ALL "
                "SELECT attr, target, 'ref', idx FROM ref_3 WHERE tag=?1 ORDER BY 1, 4");
            rows.bind(std::int64_t{tag});
            while (rows.step()) {
                const auto handle = static_cast<tag_t>(rows.integer(0));
                if (all.empty() || all.back().first != handle)
                    all.emplace_back(handle, Values());
                // The model first: the column of a date tells no more than that it is a text.
                const Attribute* known = model().attributeOf(handle);
                all.back().second.push_back(
                    valueOf(rows, known ? known->kind : kindOfColumn(rows.text(2))));
            }
        }
        std::vector<AttributeValues> values;
        for (const auto& [attribute, its] : all)
            values.push_back({attribute, &its});
        insert(tag, static_cast<tag_t>(objects.integer(1)), values, objects.integer(2));
    }
}

}  // namespace mervane
