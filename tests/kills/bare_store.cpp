#include "tests/kills/bare_store.h"

#include <sqlite3.h>

#include <filesystem>
#include <stdexcept>

#include "tests/support/held_file.h"

namespace kills {

namespace {

sqlite3* openDatabase(const std::string& path) {
    sqlite3* database = nullptr;
    if (sqlite3_open_v2(path.c_str(), &database, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK)
        throw std::runtime_error(path + " can't be opened");
    sqlite3_busy_timeout(database, 20000);
    return database;
}

std::int64_t countIn(sqlite3* database, const char* sql) {
    sqlite3_stmt* row = nullptr;
    if (sqlite3_prepare_v2(database, sql, -1, &row, nullptr) != SQLITE_OK)
        throw std::runtime_error(sqlite3_errmsg(database));
    const std::int64_t count = sqlite3_step(row) == SQLITE_ROW ? sqlite3_column_int64(row, 0) : -1;
    sqlite3_finalize(row);
    return count;
}

class BareFile final : public BareStore {
public:
    explicit BareFile(const std::string& path) : path_(path), database_(openDatabase(path)) {}
    ~BareFile() override { sqlite3_close(database_); }
    BareFile(const BareFile&) = delete;

    Stored storedOf(std::int64_t tag) override { return kills::storedOf(database_, tag); }
    std::vector<std::string> leftLocks() override;

private:
    std::string path_;
    sqlite3* database_;
};

std::vector<std::string> BareFile::leftLocks() {
    std::vector<std::string> wrong;
    sqlite3* locks = openDatabase(path_ + "-locks");
    if (const auto held = keld_test::heldInFile(path_).size(); held != 0)
        wrong.push_back(std::to_string(held) + " locks are left");
    if (const auto sessions = countIn(locks, "SELECT count(*) FROM session"); sessions != 1)
        wrong.push_back(std::to_string(sessions - 1) + " sessions are left");
    sqlite3_close(locks);
    std::size_t files = 0;
    for ([[maybe_unused]] const auto& each :
         std::filesystem::directory_iterator(path_ + "-sessions"))
        ++files;
    if (files != 1)
        wrong.push_back(std::to_string(files) + " files of sessions where there is one session");
    return wrong;
}

}  // namespace

bool isOnServer(const std::string& path) {
    return path.starts_with("postgresql://");
}

std::unique_ptr<BareStore> BareStore::open(const std::string& path) {
    if (isOnServer(path))
        return openBareServer(path);
    return std::make_unique<BareFile>(path);
}

}  // namespace kills
