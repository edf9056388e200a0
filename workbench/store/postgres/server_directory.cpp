#include "workbench/store/postgres/server_directory.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "workbench/model/status.h"
#include "workbench/store/descriptor.h"
#include "workbench/store/postgres/copy_lock.h"
#include "workbench/system/system.h"

namespace mervane {

namespace {

constexpr const char* kPlaceVariable = "MERVANE_VOLUME";

std::string absoluteDirectory(const std::string& directory) {
    std::string path =
        std::filesystem::absolute(system::pathOf(directory)).lexically_normal().string();
    while (path.size() > 1 && path.ends_with('/'))
        path.pop_back();
    return path;
}

std::string markPath(const std::string& directory) {
    return directory + "/" + DirectoryVolume::kMarkName;
}

std::string placeOnThisHost(const std::string& stored, bool is_new) {
    const std::string here = is_new ? "" : system::environment(kPlaceVariable);
    return here.empty() ? stored : absoluteDirectory(here);
}

}  // namespace

// Files belong to those who may read and write the mark.
ServerDirectory::ServerDirectory(const Place& place, bool is_new,
                                 std::shared_ptr<ServerConnection> side, std::int64_t key)
    : DirectoryVolume(placeOnThisHost(place.directory, is_new),
                      markPath(placeOnThisHost(place.directory, is_new))),
      side_(std::move(side)),
      key_(key),
      mark_(place.mark),
      named_here_(!is_new && !system::environment(kPlaceVariable).empty()) {
}

void ServerDirectory::refuse(const std::string& what) const {
    throw Failure(kFileFailure, (named_here_ ? std::string(kPlaceVariable) + " names " : "") +
                                    directory() + (named_here_ ? ", which " : " ") + what +
                                    "; the files of the store " + side_->address().shown +
                                    " are in the directory whose file " + kMarkName + " says " +
                                    mark_ + ": mount it there, or let " + kPlaceVariable +
                                    " name its place on this host");
}

void ServerDirectory::needMark() const {
    const Descriptor file(system::open(markPath(directory()), system::Open::ReadInPlace));
    if (!file && (errno == ENOENT || errno == ENOTDIR)) {
        std::error_code error;
        refuse(std::filesystem::is_directory(system::pathOf(directory()), error)
                   ? std::string("has no file ") + kMarkName
                   : "is no directory on this host");
    }
    std::string text;
    if (!file || !readAll(file.get(),
                          [&](const char* bytes, std::size_t size) { text.append(bytes, size); }))
        refuse("can't be read: " + std::string(std::strerror(errno)));
    if (text != mark_ + "\n")
        refuse("has the mark of another store");
}

void ServerDirectory::needPlace(bool writes) const {
    needMark();
    if (writes && !system::mayWrite(directory()))
        throw Failure(kFileFailure, directory() +
                                        " can't be written by this process; whoever "
                                        "changes the store " +
                                        side_->address().shown +
                                        " needs the right to make files there");
}

// A directory that isn't mounted any more would look like one without files.
std::vector<tag_t> ServerDirectory::tags() const {
    needMark();
    return DirectoryVolume::tags();
}

std::vector<std::string> ServerDirectory::leftOvers() const {
    needMark();
    return DirectoryVolume::leftOvers();
}

void ServerDirectory::tell(const StoredFile& file, const Receiver& receiver) const {
    try {
        DirectoryVolume::tell(file, receiver);
    } catch (const Damage&) {
        needMark();
        throw;
    }
}

FileFacts ServerDirectory::take(tag_t tag, const std::function<void(const Receiver&)>& fill) {
    needMark();
    return DirectoryVolume::take(tag, fill);
}

bool ServerDirectory::isCopied() const {
    return side_
               ->ask(
                   "SELECT EXISTS(SELECT 1 FROM pg_locks WHERE locktype='advisory' AND granted "
                   "AND objsubid=2 AND classid=$1::bigint::oid AND objid=2 AND database=(SELECT "
                   "oid FROM pg_database WHERE datname=current_database()))",
                   Parameters().add(key_))
               .integer(0, 0) != 0;
}

std::unique_ptr<Volume::Hold> ServerDirectory::hold() const {
    return std::make_unique<CopyLock>(side_, key_, [this] {
        // Listed first: what is taken out after the question may be needed by somebody who copies
        // since then.
        const std::vector<std::string> names = takenOut();
        if (!names.empty() && !isCopied())
            for (const std::string& name : names)
                system::removeFile(directory() + "/" + name);
    });
}

// ---- making ----

NewDirectory::NewDirectory(const std::string& directory)
    : place_{absoluteDirectory(directory), system::randomName()} {
    made_ = !system::somethingAt(place_.directory);
    DirectoryVolume(place_.directory).makeDirectory();
    std::error_code error;
    const bool empty = std::filesystem::is_empty(system::pathOf(place_.directory), error);
    if (error)
        throw Failure(kFileFailure, place_.directory + ": can't be read: " + error.message());
    const auto refuse = [&] {
        throw Failure(kStoreFailure, "There is something in " + place_.directory +
                                         " already: a new store has its files in a new directory, "
                                         "or in an empty one");
    };
    if (!empty || !std::filesystem::is_directory(system::pathOf(place_.directory), error))
        refuse();
    const std::string path = markPath(place_.directory), text = place_.mark + "\n";
    Descriptor mark(system::open(path, system::Open::WriteNew));
    // Of another store that is made at the same time.
    if (!mark && errno == EEXIST)
        refuse();
    try {
        if (!mark)
            failOfFile(path, "can't be made");
        writeAll(mark.get(), text.data(), text.size(), path);
        if (!system::sync(mark.get()) || !mark.close() || !system::syncDirectory(place_.directory))
            failOfFile(path, "can't be written to disk");
    } catch (...) {
        takeBack();
        throw;
    }
}

NewDirectory::~NewDirectory() {
    if (!kept_)
        takeBack();
}

void NewDirectory::takeBack() noexcept {
    try {
        const DirectoryVolume volume(place_.directory);
        for (const tag_t tag : volume.tags())
            system::removeFile(volume.pathOf(tag));
        system::removeFile(markPath(place_.directory));
        std::error_code error;
        // Not if somebody else has put something there.
        if (made_)
            std::filesystem::remove(system::pathOf(place_.directory), error);
    } catch (...) {
        // No memory: it stays, and belongs to no store.
    }
}

}  // namespace mervane
