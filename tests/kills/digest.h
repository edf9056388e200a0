#pragma once

// What is stored of an object, in one number: two stores that hold the same give the same.

#include <sqlite3.h>

#include <cstdint>

namespace kills {

struct Stored {
    std::int64_t version = 0;  // counts its saves; 0: it isn't there
    std::uint64_t digest = 0;
};

inline Stored storedOf(sqlite3* database, std::int64_t tag) {
    Stored found;
    sqlite3_stmt* rows = nullptr;
    if (sqlite3_prepare_v2(database, "SELECT version, data FROM object WHERE tag=?1", -1, &rows,
                           nullptr) != SQLITE_OK)
        return found;
    sqlite3_bind_int64(rows, 1, tag);
    std::uint64_t digest = 14695981039346656037u;
    if (sqlite3_step(rows) == SQLITE_ROW) {
        found.version = sqlite3_column_int64(rows, 0);
        const auto* bytes = static_cast<const unsigned char*>(sqlite3_column_blob(rows, 1));
        for (int i = 0; i < sqlite3_column_bytes(rows, 1); ++i)
            digest = (digest ^ bytes[i]) * 1099511628211u;
        digest = (digest ^ static_cast<std::uint64_t>(found.version)) * 1099511628211u;
    }
    sqlite3_finalize(rows);
    found.digest = digest;
    return found;
}

}  // namespace kills
