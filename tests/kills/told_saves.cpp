#include "tests/kills/told_saves.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <vector>

#include "tests/kills/digest.h"

namespace kills {

namespace {

// What the running transaction of a connection does to an object.
struct Change {
    bool made = false, gone = false;
    int saves = 0;
};
struct Watch {
    sqlite3* database = nullptr;
    std::map<sqlite3_int64, Change> running, committing;
};

int heard = STDOUT_FILENO;
std::string store;
int pages_kept = 1000;
std::vector<std::unique_ptr<Watch>> watches;

void onRow(void* context, int operation, const char*, const char* table, sqlite3_int64 row) {
    if (std::strcmp(table, "object") != 0)
        return;
    Change& change = static_cast<Watch*>(context)->running[row];
    if (operation == SQLITE_INSERT)
        change.made = true;
    else if (operation == SQLITE_DELETE)
        change.gone = true;
    else
        ++change.saves;
}

// After the commit. This takes the place of the database's own writing back.
int onCommitted(void* context, sqlite3* database, const char* name, int pages) {
    auto& watch = *static_cast<Watch*>(context);
    std::string line = "A";
    for (const auto& [tag, change] : watch.committing) {
        const Stored stored = change.gone ? Stored{} : storedOf(database, tag);
        if (stored.version == 0)
            line += " -" + std::to_string(tag);
        else
            line += " " + std::to_string(tag) + ":" + std::to_string(stored.version) + ":" +
                    std::to_string(stored.digest);
    }
    watch.committing.clear();
    if (line.size() > 1)
        say(line);
    if (pages >= pages_kept)
        sqlite3_wal_checkpoint_v2(database, name, SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
    return SQLITE_OK;
}

int onCommit(void* context) {
    auto& watch = *static_cast<Watch*>(context);
    // Set the hook here: opening the database sets its own one after the extensions.
    sqlite3_wal_hook(watch.database, onCommitted, context);
    watch.committing = std::move(watch.running);
    watch.running.clear();
    std::string line = "I";
    for (const auto& [tag, change] : watch.committing) {
        if (change.made && change.gone)
            continue;
        line += change.made ? " +" : change.gone ? " -" : " ";
        line += std::to_string(tag);
        if (!change.made && !change.gone)
            line += ":" + std::to_string(change.saves);
    }
    if (line.size() > 1)
        say(line);
    return 0;
}

void onRollback(void* context) {
    static_cast<Watch*>(context)->running.clear();
}

int onOpen(sqlite3* database, char**, const sqlite3_api_routines*) {
    const char* file = sqlite3_db_filename(database, "main");
    if (!file || store != file)
        return SQLITE_OK;
    watches.push_back(std::make_unique<Watch>());
    Watch* watch = watches.back().get();
    watch->database = database;
    sqlite3_update_hook(database, onRow, watch);
    sqlite3_commit_hook(database, onCommit, watch);
    sqlite3_rollback_hook(database, onRollback, watch);
    return SQLITE_OK;
}

}  // namespace

void keepOutput() {
    heard = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (heard < 0 || nowhere < 0 || ::dup2(nowhere, STDOUT_FILENO) < 0)
        std::_Exit(3);
    ::close(nowhere);
}

void say(const std::string& line) {
    const std::string whole = line + "\n";
    for (std::size_t said = 0; said < whole.size();) {
        const ssize_t written = ::write(heard, whole.data() + said, whole.size() - said);
        if (written < 0)
            std::_Exit(3);
        said += static_cast<std::size_t>(written);
    }
}

void tellOfSaves(const std::string& store_path, int pages) {
    store = store_path;
    pages_kept = pages;
    sqlite3_auto_extension(reinterpret_cast<void (*)()>(onOpen));
}

}  // namespace kills
