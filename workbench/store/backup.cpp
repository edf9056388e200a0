#include <cerrno>
#include <cstring>

#include "workbench/model/status.h"
#include "workbench/store/making.h"
#include "workbench/store/runs.h"
#include "workbench/store/store.h"
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
std::vector<CheckFinding> Store::backup(const std::string& path) {
    needNothingAt(path + ".volume");
    const MakingPlace place(path);
    const std::string made = place / "store";
    const std::string like = inMemory() ? "" : this->path();
    // Before the database is copied: each file that the copy names stays readable.
    const Volume::Hold hold(volume());
    makeEmptyFile(made, like);
    connection_->copyTo(made);
    Volume copy(place / "store.volume", like);
    copy.makeDirectory();
    std::vector<StoredFile> files;
    std::vector<CheckFinding> damaged;
    {
        std::shared_ptr<Store> reader(
            new Store(std::make_shared<Shared>(made, false), connect(made, false)));
        reader->loadAdditions();
        // From the copy: others store and delete files meanwhile.
        for (const tag_t tag : reader->storedFiles()) {
            try {
                files.push_back(reader->knownFile(tag));
            } catch (const Failure& failure) {
                if (reader->connection_->isBroken())
                    throw;
                // Nobody knows what the file should be: the copy has it as it is.
                damaged.push_back({true, failure.what()});
                files.push_back({tag, "", {}, {}});
            }
        }
        // An undo in the copy needs the files that recorded runs have removed.
        for (const tag_t tag : RunTables(*reader->connection_, false).removedFiles())
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
