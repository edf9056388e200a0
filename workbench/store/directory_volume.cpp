#include "workbench/store/directory_volume.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "workbench/model/status.h"
#include "workbench/store/descriptor.h"
#include "workbench/store/waiting.h"
#include "workbench/system/system.h"
#include "workbench/workbench.h"

namespace mervane {

namespace {

constexpr const char* kRemovedSuffix = ".removed";
constexpr const char* kHoldName = ".hold";

bool isTagName(const std::string& name, tag_t* tag) {
    if (name.empty() || name.size() > 10 || name[0] == '0' ||
        name.find_first_not_of("0123456789") != std::string::npos)
        return false;
    const unsigned long long number = std::stoull(name);
    *tag = static_cast<tag_t>(number);
    return number <= 0x7FFFFFFFull;
}

std::vector<std::string> namesIn(const std::string& directory) {
    std::vector<std::string> names;
    std::error_code error;
    for (std::filesystem::directory_iterator at(system::pathOf(directory), error), end;
         !error && at != end; at.increment(error))
        names.push_back(at->path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

void syncDirectory(const std::string& directory) {
    if (!system::syncDirectory(directory))
        failOfFile(directory, "can't be written to disk");
}

// Make the file under a name of its own, then give it its place: it is whole or not there.
template <typename Fill>
FileFacts placeFile(const std::string& directory, const std::string& place, const std::string& like,
                    Fill&& fill) {
    // A random name, since processes of several machines may have the same number.
    std::string temporary;
    int made = -1;
    do {
        temporary = directory + "/new-" + system::randomName();
        made = system::open(temporary, system::Open::WriteNew, like);
    } while (made < 0 && errno == EEXIST);
    Descriptor out(made);
    if (!out)
        failOfFile(temporary, "can't be made");
    ToldContents contents;
    try {
        fill([&](const char* bytes, std::size_t size) {
            writeAll(out.get(), bytes, size, temporary);
            contents.add(bytes, size);
        });
        // Before it has its name: a power failure leaves no half file under a tag.
        if (!system::sync(out.get()) || !out.close())
            failOfFile(temporary, "can't be written to disk");
        if (!system::rename(temporary, place))
            failOfFile(place, "can't be made");
    } catch (...) {
        system::removeFile(temporary);
        throw;
    }
    // The name is on disk, too, before the object can be saved.
    syncDirectory(directory);
    return contents.facts();
}

}  // namespace

DirectoryVolume::DirectoryVolume(std::string directory, std::string like)
    : directory_(std::move(directory)), like_(std::move(like)), temporary_(directory_.empty()) {
}

DirectoryVolume::~DirectoryVolume() {
    if (temporary_ && !directory_.empty()) {
        std::error_code error;
        std::filesystem::remove_all(system::pathOf(directory_), error);
    }
}

void DirectoryVolume::makeDirectory() {
    if (temporary_) {
        if (!directory_.empty())
            return;
        std::string made = system::makeTemporaryDirectory("mervane");
        if (made.empty())
            failOfFile("a temporary directory", "can't be made");
        directory_ = std::move(made);
        return;
    }
    if (system::makeDirectory(directory_, like_)) {
        // Its files are on disk only if its own name is.
        const auto parent = std::filesystem::absolute(system::pathOf(directory_)).parent_path();
        syncDirectory(parent.string());
    } else if (errno != EEXIST) {
        failOfFile(directory_, "can't be made");
    }
}

std::string DirectoryVolume::pathOf(tag_t tag) const {
    return directory_ + "/" + std::to_string(tag);
}

std::string DirectoryVolume::holdPath() const {
    return directory_ + "/" + kHoldName;
}

FileFacts DirectoryVolume::take(tag_t tag, const std::function<void(const Receiver&)>& fill) {
    makeDirectory();
    return placeFile(directory_, pathOf(tag), like_, fill);
}

void DirectoryVolume::remove(tag_t tag) noexcept {
    try {
        // Rename it first: a copy that is being made still finds it, and the last copy removes it.
        const std::string removed = pathOf(tag) + kRemovedSuffix;
        if (system::rename(pathOf(tag), removed) && !isCopied())
            system::removeFile(removed);
    } catch (...) {
        // No memory: the file stays as one that no object owns.
    }
}

bool DirectoryVolume::isCopied() const {
    const Descriptor hold(system::open(holdPath(), system::Open::Lock, like_));
    return hold && !system::lockExclusive(hold.get());
}

// Look beside its place, too: there is a file that was taken out while a copy is made.
int DirectoryVolume::openStored(const StoredFile& file) const {
    if (directory_.empty())
        throw Damage(file, "is missing in the volume");
    const std::string path = pathOf(file.tag);
    int number = system::open(path, system::Open::ReadInPlace);
    if (number < 0 && errno == ENOENT)
        number = system::open(path + kRemovedSuffix, system::Open::ReadInPlace);
    if (number < 0 && errno == ENOENT)
        throw Damage(file, "is missing in the volume");
    // ELOOP: it is a link, which isn't followed.
    if (number < 0 && errno != ELOOP)
        throw Damage(file, "can't be opened: " + std::string(std::strerror(errno)));
    if (number >= 0 && system::isRegular(number))
        return number;
    if (number >= 0)
        system::close(number);
    throw Damage(file, "is no regular file in the volume");
}

void DirectoryVolume::tell(const StoredFile& file, const Receiver& receiver) const {
    const Descriptor in(openStored(file));
    ToldContents contents;
    const bool read = readAll(in.get(), [&](const char* bytes, std::size_t size) {
        contents.add(bytes, size);
        receiver(bytes, size);
    });
    if (!read)
        throw Damage(file, "can't be read: " + std::string(std::strerror(errno)));
    contents.compare(file);
}

bool DirectoryVolume::exists(tag_t tag) const {
    return !directory_.empty() && system::regularFileAt(pathOf(tag));
}

std::vector<tag_t> DirectoryVolume::tags() const {
    std::vector<tag_t> all;
    if (directory_.empty())
        return all;
    tag_t tag = NULLTAG;
    for (const std::string& name : namesIn(directory_))
        if (isTagName(name, &tag))
            all.push_back(tag);
    std::sort(all.begin(), all.end());
    return all;
}

std::vector<std::string> DirectoryVolume::leftOvers() const {
    std::vector<std::string> names;
    if (directory_.empty())
        return names;
    tag_t tag = NULLTAG;
    for (const std::string& name : namesIn(directory_))
        if (!isTagName(name, &tag) && name != kHoldName && name != kMarkName)
            names.push_back(name);
    return names;
}

std::vector<std::string> DirectoryVolume::takenOut() const {
    std::vector<std::string> names;
    for (const std::string& name : DirectoryVolume::leftOvers())
        if (name.ends_with(kRemovedSuffix))
            names.push_back(name);
    return names;
}

bool DirectoryVolume::removeLeftOver(const std::string& name) {
    if (isCopied())
        return false;
    const std::string path = directory_ + "/" + name;
    if (!system::removeFile(path) && errno != ENOENT)
        failOfFile(path, "can't be removed");
    return true;
}

class DirectoryVolume::DirectoryHold final : public Hold {
public:
    explicit DirectoryHold(const DirectoryVolume& volume);
    ~DirectoryHold() override;
    DirectoryHold(const DirectoryHold&) = delete;

private:
    const DirectoryVolume& volume_;
    int descriptor_ = -1;
};

DirectoryVolume::DirectoryHold::DirectoryHold(const DirectoryVolume& volume) : volume_(volume) {
    if (volume.directory_.empty())
        return;
    descriptor_ = system::open(volume.holdPath(), system::Open::Lock, volume.like_);
    if (descriptor_ < 0 && !system::mayWrite(volume.directory_)) {
        // A reader can't make the file: it locks the one that is there, if any.
        descriptor_ = system::open(volume.holdPath(), system::Open::ReadInPlace);
        if (descriptor_ < 0)
            return;
    }
    if (descriptor_ < 0)
        failOfFile(volume.holdPath(), "can't be opened");
    try {
        waitForSharedLock(descriptor_, volume.holdPath());
    } catch (...) {
        system::close(descriptor_);
        throw;
    }
}

DirectoryVolume::DirectoryHold::~DirectoryHold() {
    if (descriptor_ < 0)
        return;
    // The exclusive lock succeeds for the last copy alone: it removes what was kept for all.
    if (system::lockExclusive(descriptor_)) {
        try {
            for (const std::string& name : volume_.takenOut())
                system::removeFile(volume_.directory_ + "/" + name);
        } catch (...) {
            // They stay as files that no object owns.
        }
    }
    system::close(descriptor_);
}

std::unique_ptr<Volume::Hold> DirectoryVolume::hold() const {
    return std::make_unique<DirectoryHold>(*this);
}

}  // namespace mervane
