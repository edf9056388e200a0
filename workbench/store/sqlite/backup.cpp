#include <cerrno>
#include <cstring>

#include "workbench/model/status.h"
#include "workbench/store/making.h"
#include "workbench/store/sqlite/run_tables.h"
#include "workbench/store/sqlite/sqlite_store.h"
#include "workbench/system/system.h"

namespace mervane {

namespace {

void syncFile(const std::string& path) {
    const int file = system::open(path, system::Open::LockExisting);
    const bool done = file >= 0 && system::sync(file);
    if (file >= 0)
        system::close(file);
    if (!done)
        throw Failure(kFileFailure, path + " can't be written to disk");
}

// SQLite would make it with rights of its own; it keeps those of an empty file.
void makeEmptyFile(const std::string& path, const std::string& like) {
    const int file = system::open(path, system::Open::WriteNew, like);
    if (file < 0 || !system::close(file))
        throw Failure(kFileFailure, path + " can't be made: " + std::string(std::strerror(errno)));
}

}  // namespace

// The database gets its name last, so a copy under its name is whole.
std::vector<CheckFinding> SqliteStore::backup(const std::string& path) {
    needNothingAt(path + ".volume");
    const MakingPlace place(path);
    const std::string made = place / "store";
    const std::string like = in_memory_ ? "" : this->path();
    // Before the database is copied: each file that the copy names stays readable.
    const auto hold = volume().hold();
    makeEmptyFile(made, like);
    connection_->copyTo(made);
    DirectoryVolume copy(place / "store.volume", like);
    copy.makeDirectory();
    std::vector<StoredFile> files;
    std::vector<CheckFinding> damaged;
    {
        auto shared_by_none = std::make_shared<Shared>();
        shared_by_none->path = made;
        const std::shared_ptr<SqliteStore> reader(
            new SqliteStore(std::move(shared_by_none), connect(made, false), false));
        reader->loadAdditions();
        // From the copy: others store and delete files meanwhile.
        for (const tag_t tag : reader->storedFiles()) {
            try {
                files.push_back(reader->knownFile(tag));
            } catch (const Failure& failure) {
                if (!reader->isSound())
                    throw;
                // Nobody knows what the file should be: the copy has it as it is.
                damaged.push_back({true, failure.what()});
                files.push_back({tag, "", {}, {}});
            }
        }
        // An undo in the copy needs the files that recorded runs have removed.
        for (const tag_t tag : reader->runs(false)->removedFiles())
            if (!reader->exists(tag))
                files.push_back({tag, "", {}, {}});
    }
    for (std::string& text : volume().copyTo(copy, files))
        damaged.push_back({true, std::move(text)});
    syncFile(made);
    place.put("store.volume", path + ".volume");
    try {
        place.put("store", path);
    } catch (...) {
        place.takeBack("store.volume", path + ".volume");
        throw;
    }
    return damaged;
}

}  // namespace mervane
