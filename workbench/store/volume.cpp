#include "workbench/store/volume.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "workbench/model/status.h"
#include "workbench/store/making.h"
#include "workbench/store/sha256.h"
#include "workbench/store/waiting.h"
#include "workbench/system/system.h"
#include "workbench/workbench.h"

namespace mervane {

namespace {

constexpr const char* kRemovedSuffix = ".removed";
constexpr const char* kHoldName = ".hold";

[[noreturn]] void fail(const std::string& path, const char* what) {
    throw Failure(kFileFailure, path + ": " + what + ": " + std::strerror(errno));
}

class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0)
            system::close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    int get() const { return number_; }
    explicit operator bool() const { return number_ >= 0; }
    bool close() {
        const bool closed = system::close(number_);
        number_ = -1;
        return closed;
    }

private:
    int number_;
};

void writeAll(int descriptor, const char* bytes, std::size_t size, const std::string& path) {
    while (size > 0) {
        const std::ptrdiff_t written = system::write(descriptor, bytes, size);
        if (written < 0) {
            if (errno == EINTR)
                continue;
            fail(path, "can't be written");
        }
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
}

// Give every block of the file to the receiver; false, with errno, if it can't be read.
template <typename Receiver>
bool readAll(int descriptor, Receiver&& receiver) {
    std::vector<char> buffer(1 << 16);
    for (;;) {
        const std::ptrdiff_t got = system::read(descriptor, buffer.data(), buffer.size());
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return got == 0;
        receiver(buffer.data(), static_cast<std::size_t>(got));
    }
}

// Give the contents to the receiver. Damage, at the end, if they aren't those that were stored.
template <typename Receiver>
void readStored(int descriptor, const StoredFile& file, Receiver&& receiver) {
    FileFacts facts;
    Sha256 sum;
    const bool read = readAll(descriptor, [&](const char* bytes, std::size_t size) {
        sum.add(bytes, size);
        facts.byte_size += static_cast<std::int64_t>(size);
        receiver(bytes, size);
    });
    if (!read)
        throw Damage(file, "can't be read: " + std::string(std::strerror(errno)));
    if (file.byte_size && *file.byte_size != facts.byte_size)
        throw Damage(file, "has " + std::to_string(facts.byte_size) + " bytes in the volume, " +
                               std::to_string(*file.byte_size) + " were stored");
    if (file.sha256 && *file.sha256 != sum.hex())
        throw Damage(file, "has other contents in the volume than were stored");
}

int openRegular(const std::string& path) {
    const int descriptor = system::open(path, system::Open::Read);
    if (descriptor < 0)
        fail(path, "can't be opened");
    if (!system::isRegular(descriptor)) {
        system::close(descriptor);
        throw Failure(kFileFailure, path + " is not a regular file");
    }
    return descriptor;
}

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
        fail(directory, "can't be written to disk");
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
        fail(temporary, "can't be made");
    FileFacts facts;
    Sha256 sum;
    try {
        fill([&](const char* bytes, std::size_t size) {
            writeAll(out.get(), bytes, size, temporary);
            sum.add(bytes, size);
            facts.byte_size += static_cast<std::int64_t>(size);
        });
        // Before it has its name: a power failure leaves no half file under a tag.
        if (!system::sync(out.get()) || !out.close())
            fail(temporary, "can't be written to disk");
        if (!system::rename(temporary, place))
            fail(place, "can't be made");
    } catch (...) {
        system::removeFile(temporary);
        throw;
    }
    // The name is on disk, too, before the object can be saved.
    syncDirectory(directory);
    facts.sha256 = sum.hex();
    return facts;
}

}  // namespace

Damage::Damage(const StoredFile& file, const std::string& what)
    : Failure(kFileFailure, "file of #" + std::to_string(file.tag) +
                                (file.name.empty() ? "" : " \"" + file.name + "\"") + " " + what) {
}

Volume::Volume(std::string directory, std::string like)
    : directory_(std::move(directory)), like_(std::move(like)), temporary_(directory_.empty()) {
}

Volume::~Volume() {
    if (temporary_ && !directory_.empty()) {
        std::error_code error;
        std::filesystem::remove_all(system::pathOf(directory_), error);
    }
}

void Volume::makeDirectory() {
    if (temporary_) {
        if (!directory_.empty())
            return;
        std::string made = system::makeTemporaryDirectory("mervane");
        if (made.empty())
            fail("a temporary directory", "can't be made");
        directory_ = std::move(made);
        return;
    }
    if (system::makeDirectory(directory_, like_)) {
        // Its files are on disk only if its own name is.
        const auto parent = std::filesystem::absolute(system::pathOf(directory_)).parent_path();
        syncDirectory(parent.string());
    } else if (errno != EEXIST) {
        fail(directory_, "can't be made");
    }
}

std::string Volume::pathOf(tag_t tag) const {
    return directory_ + "/" + std::to_string(tag);
}

std::string Volume::holdPath() const {
    return directory_ + "/" + kHoldName;
}

FileFacts Volume::place(tag_t tag, const std::string& path) {
    const Descriptor in(openRegular(path));
    makeDirectory();
    return placeFile(directory_, pathOf(tag), like_, [&](auto&& receiver) {
        if (!readAll(in.get(), receiver))
            fail(path, "can't be read");
    });
}

FileFacts Volume::placeBytes(tag_t tag, const std::string& bytes) {
    makeDirectory();
    return placeFile(directory_, pathOf(tag), like_,
                     [&](auto&& receiver) { receiver(bytes.data(), bytes.size()); });
}

void Volume::remove(tag_t tag) noexcept {
    try {
        // Rename it first: a copy that is being made still finds it, and the last copy removes it.
        const std::string removed = pathOf(tag) + kRemovedSuffix;
        if (!system::rename(pathOf(tag), removed))
            return;
        const Descriptor hold(system::open(holdPath(), system::Open::Lock, like_));
        if (!hold || system::lockExclusive(hold.get()))
            system::removeFile(removed);
    } catch (...) {
        // No memory: the file stays as one that no object owns.
    }
}

// Look beside its place, too: there is a file that was taken out while a copy is made.
int Volume::openStored(const StoredFile& file) const {
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

std::string Volume::read(const StoredFile& file) const {
    const Descriptor in(openStored(file));
    std::string bytes;
    readStored(in.get(), file, [&](const char* at, std::size_t size) { bytes.append(at, size); });
    return bytes;
}

void Volume::compare(const StoredFile& file) const {
    const Descriptor in(openStored(file));
    readStored(in.get(), file, [](const char*, std::size_t) {});
}

void Volume::writeTo(const StoredFile& file, const std::string& path) const {
    const Descriptor in(openStored(file));
    // Exclusive: neither an existing file nor a link at the path is ever followed.
    Descriptor out(system::open(path, system::Open::WriteNew));
    if (!out)
        fail(path, "can't be made");
    try {
        readStored(in.get(), file, [&](const char* bytes, std::size_t size) {
            writeAll(out.get(), bytes, size, path);
        });
        if (!out.close())
            fail(path, "can't be written");
    } catch (...) {
        system::removeFile(path);
        throw;
    }
}

bool Volume::exists(tag_t tag) const {
    return !directory_.empty() && system::regularFileAt(pathOf(tag));
}

std::vector<tag_t> Volume::tags() const {
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

std::vector<std::string> Volume::leftOvers() const {
    std::vector<std::string> names;
    if (directory_.empty())
        return names;
    tag_t tag = NULLTAG;
    for (const std::string& name : namesIn(directory_))
        if (!isTagName(name, &tag) && name != kHoldName)
            names.push_back(name);
    return names;
}

bool Volume::removeLeftOver(const std::string& name) {
    const Descriptor hold(system::open(holdPath(), system::Open::Lock, like_));
    if (hold && !system::lockExclusive(hold.get()))
        return false;
    const std::string path = directory_ + "/" + name;
    if (!system::removeFile(path) && errno != ENOENT)
        fail(path, "can't be removed");
    return true;
}

std::vector<std::string> Volume::copyTo(const Volume& copy,
                                        const std::vector<StoredFile>& files) const {
    std::vector<std::string> damaged;
    for (const StoredFile& file : files) {
        try {
            const Descriptor in(openStored(file));
            placeFile(copy.directory_, copy.pathOf(file.tag), copy.like_,
                      [&](auto&& receiver) { readStored(in.get(), file, receiver); });
        } catch (const Damage& damage) {
            damaged.emplace_back(damage.what());
        }
    }
    return damaged;
}

Volume::Hold::Hold(const Volume& volume) : volume_(volume) {
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
        fail(volume.holdPath(), "can't be opened");
    try {
        waitForSharedLock(descriptor_, volume.holdPath());
    } catch (...) {
        system::close(descriptor_);
        throw;
    }
}

Volume::Hold::~Hold() {
    if (descriptor_ < 0)
        return;
    // The exclusive lock succeeds for the last copy alone: it removes what was kept for all.
    if (system::lockExclusive(descriptor_)) {
        try {
            const std::string suffix = kRemovedSuffix;
            for (const std::string& name : volume_.leftOvers())
                if (name.size() > suffix.size() &&
                    name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0)
                    system::removeFile(volume_.directory_ + "/" + name);
        } catch (...) {
            // They stay as files that no object owns.
        }
    }
    system::close(descriptor_);
}

}  // namespace mervane
