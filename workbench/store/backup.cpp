#include <filesystem>

#include "workbench/model/status.h"
#include "workbench/store/store.h"
#include "workbench/store/system.h"

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

}  // namespace

// The copy gets its name last: what is there under it is whole.
void Store::backup(const std::string& path) {
    const std::string part = path + ".part";
    for (const std::string& taken : {path, path + ".volume", part, part + ".volume"})
        if (system::somethingAt(taken))
            throw Failure(kStoreFailure, "There is something at " + taken + " already");
    try {
        // Files that are taken out of the volume from here on stay readable.
        const Volume::Hold hold(volume());
        connection_->statement("VACUUM INTO ?").bind(std::string_view(part)).run();
        Volume copy(part + ".volume");
        copy.makeDirectory();
        std::vector<tag_t> files;
        {
            std::shared_ptr<Store> reader(
                new Store(std::make_shared<Shared>(part, false), connect(part)));
            reader->loadAdditions();
            files = reader->storedFiles();
        }
        // A file that the store misses is missing in the copy too; the check names it in both.
        (void)volume().copyTo(part + ".volume", files);
        syncFile(part);
        std::filesystem::rename(system::pathOf(part + ".volume"), system::pathOf(path + ".volume"));
        std::filesystem::rename(system::pathOf(part), system::pathOf(path));
        const std::string directory =
            std::filesystem::absolute(system::pathOf(path)).parent_path().string();
        if (!system::syncDirectory(directory))
            throw Failure(kFileFailure, directory + " can't be written to disk");
    } catch (...) {
        std::error_code error;
        for (const char* suffix : {"", ".volume", "-wal", "-shm", "-journal"})
            std::filesystem::remove_all(system::pathOf(part + suffix), error);
        throw;
    }
}

}  // namespace mervane
