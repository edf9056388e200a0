#pragma once

// What is stored of an object, in one number: two stores that hold the same give the same.

#include <sqlite3.h>

#include <cstdint>
#include <string_view>

namespace kills {

struct Stored {
    std::int64_t version = 0;  // counts its saves; 0: it isn't there
    std::uint64_t digest = 0;
};

// Of an object's row.
inline Stored storedAs(std::int64_t version, std::string_view data) {
    std::uint64_t digest = 14695981039346656037u;
    for (const char byte : data)
        digest = (digest ^ static_cast<unsigned char>(byte)) * 1099511628211u;
    digest = (digest ^ static_cast<std::uint64_t>(version)) * 1099511628211u;
    return {version, digest};
}

inline Stored storedOf(sqlite3* database, std::int64_t tag) {
    Stored found;
    sqlite3_stmt* rows = nullptr;
    if (sqlite3_prepare_v2(database, "SELECT version, data FROM object WHERE tag=?1", -1, &rows,
                           nullptr) != SQLITE_OK)
        return found;
    sqlite3_bind_int64(rows, 1, tag);
    if (sqlite3_step(rows) == SQLITE_ROW) {
        const auto* bytes = static_cast<const char*>(sqlite3_column_blob(rows, 1));
        const auto size = static_cast<std::size_t>(sqlite3_column_bytes(rows, 1));
        found = storedAs(sqlite3_column_int64(rows, 0), {bytes, size});
    }
    sqlite3_finalize(rows);
    return found;
}

}  // namespace kills
