#include "workbench/store/making.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "workbench/model/status.h"
#include "workbench/system/system.h"
#include "workbench/workbench.h"

namespace mervane {

namespace {

[[noreturn]] void refuseTaken(const std::string& path) {
    throw Failure(kStoreFailure, "There is something at " + path + " already");
}

void syncDirectoryOf(const std::string& path) {
    const std::string directory =
        std::filesystem::absolute(system::pathOf(path)).parent_path().string();
    if (!system::syncDirectory(directory))
        throw Failure(kFileFailure, directory + " can't be written to disk: " +
                                        std::string(std::strerror(errno)));
}

}  // namespace

void needNothingAt(const std::string& path) {
    if (system::somethingAt(path))
        refuseTaken(path);
}

MakingPlace::MakingPlace(const std::string& target) {
    needNothingAt(target);
    do {
        directory_ = target + ".new-" + system::randomName();
        if (system::makePrivateDirectory(directory_))
            return;
    } while (errno == EEXIST);
    throw Failure(kFileFailure,
                  directory_ + " can't be made: " + std::string(std::strerror(errno)));
}

MakingPlace::~MakingPlace() {
    std::error_code error;
    std::filesystem::remove_all(system::pathOf(directory_), error);
}

void MakingPlace::put(const std::string& name, const std::string& to) const {
    if (!system::place(*this / name, to)) {
        if (errno == EEXIST)
            refuseTaken(to);
        throw Failure(kFileFailure, to + " can't be made: " + std::string(std::strerror(errno)));
    }
    try {
        syncDirectoryOf(to);
    } catch (...) {
        // The name may not be on disk, so it isn't promised.
        takeBack(name, to);
        throw;
    }
}

// Take the name away first, then look: whoever opened the store before has made files beside it,
// and keeps it.
void MakingPlace::takeBack(const std::string& name, const std::string& from) const noexcept {
    try {
        if (!system::place(from, *this / name))
            return;
        for (const char* suffix : {"-wal", "-locks", "-sessions"})
            if (system::somethingAt(from + suffix)) {
                system::place(*this / name, from);
                return;
            }
    } catch (...) {
        // No memory: it stays.
    }
}

}  // namespace mervane
