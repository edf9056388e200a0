#include "tests/kills/plant.h"

#include <filesystem>
#include <stdexcept>

#include "platform/mv_err.h"
#include "platform/mv_obj.h"
#include "tests/kills/operations.h"
#include "tests/support/held_file.h"

namespace kills {

namespace {

mervane::Workbench& bench() {
    return *mervane_workbench();
}

std::int64_t countIn(sqlite3* database, const char* sql) {
    sqlite3_stmt* row = nullptr;
    if (sqlite3_prepare_v2(database, sql, -1, &row, nullptr) != SQLITE_OK)
        throw std::runtime_error(sqlite3_errmsg(database));
    const std::int64_t count = sqlite3_step(row) == SQLITE_ROW ? sqlite3_column_int64(row, 0) : -1;
    sqlite3_finalize(row);
    return count;
}

sqlite3* openBare(const std::string& path) {
    sqlite3* database = nullptr;
    if (sqlite3_open_v2(path.c_str(), &database, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK)
        throw std::runtime_error(path + " can't be opened");
    sqlite3_busy_timeout(database, 20000);
    return database;
}

}  // namespace

Plant::Plant(std::string path) : path_(std::move(path)) {
    store_ = bench().openStore(path_);
    try {
        bench().openSession(store_, {});
        database_ = openBare(path_);
    } catch (...) {
        bench().closeStore(store_);
        throw;
    }
}

Plant::~Plant() {
    sqlite3_close(database_);
    bench().closeStore(store_);
}

std::vector<std::string> Plant::check(bool alone) {
    std::vector<std::string> wrong;
    for (const auto& finding : bench().check(store_, false))
        if (finding.error)
            wrong.push_back("check: " + finding.text);
    if (alone && wrong.empty()) {
        (void)bench().check(store_, true);
        for (const auto& finding : bench().check(store_, false))
            wrong.push_back("check after its repair: " + finding.text);
    }
    return wrong;
}

std::vector<std::string> Plant::takeLocks(const std::set<std::int64_t>& objects,
                                          const std::set<int>& living) {
    std::vector<std::string> wrong;
    for (const std::int64_t object : objects) {
        const auto tag = static_cast<tag_t>(object);
        ERR_clear_errors();
        if (const int status = OBJ_refresh(tag, true); status != 0) {
            const auto stack = bench().errorStack();
            const std::string text = stack.empty() ? "" : stack.back().text;
            bool lives = false;
            for (const int process : living)
                lives = lives || (text + " ").find("process " + std::to_string(process) + " ") !=
                                     std::string::npos;
            if (!lives)
                wrong.push_back("the lock of #" + std::to_string(tag) +
                                " can't be taken: " + std::to_string(status) + " " + text);
        } else {
            (void)OBJ_refresh(tag, false);  // a lock that stays shows at the end
        }
    }
    ERR_clear_errors();
    return wrong;
}

keld_test::RecordCheck Plant::checkRecords() {
    std::vector<tag_t> shared;
    for (int i = 0; i < kSharedItems; ++i)
        shared.push_back(bench().resolve(sharedItem(i)));
    return keld_test::checkRecords(shared);
}

std::vector<std::string> Plant::leftLocks() {
    std::vector<std::string> wrong;
    sqlite3* locks = openBare(path_ + "-locks");
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

}  // namespace kills
