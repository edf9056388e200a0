#pragma once

// The database's view of the disk, with a test in between: what happens just before a file is
// opened, and writes and syncs that fail.

#include <sqlite3.h>

#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>

namespace mervane::test {

class DatabaseHook {
public:
    // From here on every database of this process is opened through it.
    DatabaseHook() {
        if (base())
            throw std::logic_error("one at a time");
        base() = sqlite3_vfs_find(nullptr);
        layer() = *base();
        layer().zName = "hook";
        layer().xOpen = open;
        sqlite3_vfs_register(&layer(), 1);
    }
    // Open files keep working, without failures.
    ~DatabaseHook() {
        state() = {};
        sqlite3_vfs_unregister(&layer());
        sqlite3_vfs_register(base(), 1);
        base() = nullptr;
    }
    DatabaseHook(const DatabaseHook&) = delete;

    // Called once, before the next main database is opened.
    void beforeNextOpen(std::function<void()> action) const { state().action = std::move(action); }
    void failWrites(bool fail) const { state().fail_writes = fail; }
    // Fail the syncs of files whose name contains this; empty: of none.
    void failSyncs(const std::string& part) const { state().fail_syncs = part; }

private:
    struct State {
        std::function<void()> action;
        bool fail_writes = false;
        std::string fail_syncs;
    };
    // A file of the system's layer, with that layer's methods.
    struct Known {
        const sqlite3_io_methods* methods = nullptr;
        std::string name;
    };
    static State& state() {
        static State now;
        return now;
    }
    static sqlite3_vfs*& base() {
        static sqlite3_vfs* system = nullptr;
        return system;
    }
    static sqlite3_vfs& layer() {
        static sqlite3_vfs own;
        return own;
    }
    static std::map<sqlite3_file*, Known>& files() {
        static std::map<sqlite3_file*, Known> open;
        return open;
    }
    static sqlite3_io_methods& methods(const sqlite3_io_methods* system) {
        static std::map<const sqlite3_io_methods*, sqlite3_io_methods> all;
        const auto [at, fresh] = all.try_emplace(system, *system);
        if (fresh) {
            at->second.xWrite = write;
            at->second.xSync = sync;
            at->second.xClose = close;
        }
        return at->second;
    }
    static int open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* given) {
        if ((flags & SQLITE_OPEN_MAIN_DB) != 0)
            if (const auto action = std::exchange(state().action, nullptr))
                action();
        const int result = base()->xOpen(base(), name, file, flags, given);
        if (result == SQLITE_OK && file->pMethods) {
            files()[file] = {file->pMethods, name ? name : ""};
            file->pMethods = &methods(file->pMethods);
        }
        return result;
    }
    static int write(sqlite3_file* file, const void* bytes, int size, sqlite3_int64 at) {
        if (state().fail_writes)
            return SQLITE_IOERR_WRITE;
        return files().at(file).methods->xWrite(file, bytes, size, at);
    }
    static int sync(sqlite3_file* file, int flags) {
        const Known& known = files().at(file);
        if (!state().fail_syncs.empty() && known.name.find(state().fail_syncs) != std::string::npos)
            return SQLITE_IOERR_FSYNC;
        return known.methods->xSync(file, flags);
    }
    static int close(sqlite3_file* file) {
        const sqlite3_io_methods* system = files().at(file).methods;
        files().erase(file);
        file->pMethods = system;
        return system->xClose(file);
    }
};

}  // namespace mervane::test
