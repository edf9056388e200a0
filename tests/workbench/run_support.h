#pragma once

// Runs for a test, and stores as texts that can be compared.

#include <sqlite3.h>

#include <algorithm>
#include <iterator>
#include <regex>
#include <sstream>

#include "platform/mv_cko.h"
#include "platform/mv_reg.h"
#include "tests/workbench/support.h"

namespace mervane::test {

inline void begin(RunWay way, const std::string& service = "test") {
    bench().beginRun({way, service, "s:argument", "", "1.0"});
}

struct Ended {
    RunHead head;
    std::vector<RunEntry> entries;
};

inline Ended end(bool keep = true, const RunOutcome& outcome = {}) {
    Ended ended;
    ended.head = bench().endRun(outcome, keep,
                                [&](const RunEntry& entry) { ended.entries.push_back(entry); });
    return ended;
}

inline std::vector<RunChange> changes(const std::vector<RunEntry>& entries) {
    std::vector<RunChange> all;
    for (const RunEntry& entry : entries)
        all.push_back(entry.change);
    return all;
}

inline std::vector<RunEntry> entriesOf(std::int64_t run) {
    std::vector<RunEntry> entries;
    bench().readRun(run, [&](const RunEntry& entry) { entries.push_back(entry); });
    return entries;
}

inline const RunValue* valueOf(const RunEntry& entry, const std::string& attribute) {
    for (const RunValue& value : entry.values)
        if (value.attribute == attribute)
            return &value;
    return nullptr;
}

// The store as a world document, without the dates of the last change.
inline std::string exported() {
    std::ostringstream out;
    bench().exportWorld(out);
    return std::regex_replace(out.str(), std::regex("\"last_mod_date\": *\"[^\"]*\""),
                              "\"last_mod_date\": \"\"");
}

// Every row of every table, and every file of the volume.
inline std::string wholeStore(const std::string& path) {
    std::string all;
    sqlite3* database = nullptr;
    EXPECT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
    const auto rows = [&](const std::string& sql) {
        std::vector<std::string> found;
        sqlite3_stmt* statement = nullptr;
        EXPECT_EQ(sqlite3_prepare_v2(database, sql.c_str(), -1, &statement, nullptr), SQLITE_OK)
            << sql;
        while (sqlite3_step(statement) == SQLITE_ROW) {
            std::string row;
            for (int i = 0; i < sqlite3_column_count(statement); ++i) {
                const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement, i));
                const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement, i));
                row += (bytes ? std::string(bytes, size) : "null") + "|";
            }
            found.push_back(row);
        }
        sqlite3_finalize(statement);
        return found;
    };
    for (std::string table : rows("SELECT name FROM sqlite_schema WHERE type='table'")) {
        table.pop_back();
        all += "== " + table + "\n";
        std::vector<std::string> found = rows("SELECT * FROM \"" + table + "\"");
        std::sort(found.begin(), found.end());
        for (const std::string& row : found)
            all += row + "\n";
    }
    sqlite3_close(database);
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(path + ".volume")) {
        if (entry.path().filename() == ".hold")
            continue;  // nothing but a lock
        files.push_back(entry.path().filename().string() + ": " + readFile(entry.path()));
    }
    std::sort(files.begin(), files.end());
    for (const std::string& file : files)
        all += file + "\n";
    return all;
}

}  // namespace mervane::test
