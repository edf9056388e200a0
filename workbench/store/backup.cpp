#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "workbench/model/status.h"
#include "workbench/store/store.h"

namespace mervane {

namespace {

void syncFile(const std::string& path) {
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const bool done = file >= 0 && ::fsync(file) == 0;
    if (file >= 0)
        ::close(file);
    if (!done)
        throw Failure(kFileFailure, path + " can't be written to disk");
}

bool somethingAt(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0;
}

}  // namespace

// The copy gets its name last: what is there under it is whole.
void Store::backup(const std::string& path) {
    const std::string part = path + ".part";
    for (const std::string& taken : {path, path + ".volume", part, part + ".volume"})
        if (somethingAt(taken))
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
        std::filesystem::rename(part + ".volume", path + ".volume");
        std::filesystem::rename(part, path);
        const std::string directory = std::filesystem::absolute(path).parent_path().string();
        syncFile(directory);
    } catch (...) {
        std::error_code error;
        for (const char* suffix : {"", ".volume", "-wal", "-shm", "-journal"})
            std::filesystem::remove_all(part + suffix, error);
        throw;
    }
}

}  // namespace mervane
