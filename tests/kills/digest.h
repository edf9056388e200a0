#pragma once

// What is stored of an object, in one number: two stores that hold the same give the same.

#include <sqlite3.h>

#include <cstdint>
#include <string>

namespace kills {

struct Stored {
    std::int64_t version = 0;  // counts its saves; 0: it isn't there
    std::uint64_t digest = 0;
};

inline Stored storedOf(sqlite3* database, std::int64_t tag) {
    // One statement, so one moment: another process may store the object in between.
    static const char* const kSql =
        "SELECT 0, 0, version FROM object WHERE tag=?1 "
        "UNION ALL SELECT attr, idx, v FROM value WHERE tag=?1 "
        "UNION ALL SELECT attr, idx, target FROM ref WHERE tag=?1 ORDER BY 1, 2";
    Stored found;
    sqlite3_stmt* rows = nullptr;
    if (sqlite3_prepare_v2(database, kSql, -1, &rows, nullptr) != SQLITE_OK)
        return found;
    sqlite3_bind_int64(rows, 1, tag);
    std::uint64_t digest = 14695981039346656037u;
    const auto add = [&digest](const char* bytes, std::size_t size) {
        for (std::size_t i = 0; i < size; ++i)
            digest = (digest ^ static_cast<unsigned char>(bytes[i])) * 1099511628211u;
    };
    while (sqlite3_step(rows) == SQLITE_ROW) {
        if (sqlite3_column_int64(rows, 0) == 0)
            found.version = sqlite3_column_int64(rows, 2);
        for (int column = 0; column < 3; ++column) {
            const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(rows, column));
            if (text)
                add(text, static_cast<std::size_t>(sqlite3_column_bytes(rows, column)));
            add("|", 1);
        }
    }
    sqlite3_finalize(rows);
    found.digest = digest;
    return found;
}

}  // namespace kills
