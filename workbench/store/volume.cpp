#include "workbench/store/volume.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "workbench/model/status.h"
#include "workbench/store/sha256.h"
#include "workbench/store/system.h"
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

// Give every block of the file to the receiver.
template <typename Receiver>
void readAll(int descriptor, const std::string& path, Receiver&& receiver) {
    std::vector<char> buffer(1 << 16);
    for (;;) {
        const std::ptrdiff_t got = system::read(descriptor, buffer.data(), buffer.size());
        if (got < 0) {
            if (errno == EINTR)
                continue;
            fail(path, "can't be read");
        }
        if (got == 0)
            return;
        receiver(buffer.data(), static_cast<std::size_t>(got));
    }
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
FileFacts placeFile(const std::string& directory, const std::string& place, Fill&& fill) {
    static std::atomic<unsigned> counter{0};
    const std::string temporary = directory + "/new-" + std::to_string(system::processNumber()) +
                                  "-" + std::to_string(counter++);
    Descriptor out(system::open(temporary, system::Open::Write));
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
        if (!system::sync(out.get()) || !out.close())
            fail(temporary, "can't be written to disk");
        if (!system::rename(temporary, place))
            fail(place, "can't be made");
    } catch (...) {
        system::removeFile(temporary);
        throw;
    }
    syncDirectory(directory);
    facts.sha256 = sum.hex();
    return facts;
}

}  // namespace

Volume::Volume(std::string directory)
    : directory_(std::move(directory)), temporary_(directory_.empty()) {
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
        std::string made = system::makeTemporaryDirectory();
        if (made.empty())
            fail("a temporary directory", "can't be made");
        directory_ = std::move(made);
        return;
    }
    if (system::makeDirectory(directory_)) {
        // What lies in it is on disk only when its own name is.
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
    return placeFile(directory_, pathOf(tag),
                     [&](auto&& receiver) { readAll(in.get(), path, receiver); });
}

FileFacts Volume::placeBytes(tag_t tag, const std::string& bytes) {
    makeDirectory();
    return placeFile(directory_, pathOf(tag),
                     [&](auto&& receiver) { receiver(bytes.data(), bytes.size()); });
}

void Volume::remove(tag_t tag) noexcept {
    try {
        // Out of the way first, so that a backup that began before still finds it.
        const std::string removed = pathOf(tag) + kRemovedSuffix;
        if (!system::rename(pathOf(tag), removed))
            return;
        const Descriptor hold(system::open(holdPath(), system::Open::Lock));
        if (!hold || system::lockExclusive(hold.get()))
            system::removeFile(removed);
    } catch (...) {
        // No memory: the file stays as one that no object owns.
    }
}

std::string Volume::read(tag_t tag) const {
    const std::string path = pathOf(tag);
    const Descriptor in(openRegular(path));
    std::string bytes;
    readAll(in.get(), path, [&](const char* at, std::size_t size) { bytes.append(at, size); });
    return bytes;
}

void Volume::writeTo(tag_t tag, const std::string& path) const {
    const std::string source = pathOf(tag);
    const Descriptor in(openRegular(source));
    // Exclusive: neither an existing file nor a link at the path is ever followed.
    Descriptor out(system::open(path, system::Open::WriteNew));
    if (!out)
        fail(path, "can't be made");
    try {
        readAll(in.get(), source, [&](const char* bytes, std::size_t size) {
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

std::optional<FileFacts> Volume::facts(tag_t tag) const {
    const std::string path = pathOf(tag);
    const Descriptor in(exists(tag) ? system::open(path, system::Open::Read) : -1);
    if (!in) {
        if (exists(tag))
            fail(path, "can't be opened");
        return std::nullopt;
    }
    FileFacts facts;
    Sha256 sum;
    readAll(in.get(), path, [&](const char* bytes, std::size_t size) {
        sum.add(bytes, size);
        facts.byte_size += static_cast<std::int64_t>(size);
    });
    facts.sha256 = sum.hex();
    return facts;
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
    const Descriptor hold(system::open(holdPath(), system::Open::Lock));
    if (hold && !system::lockExclusive(hold.get()))
        return false;
    const std::string path = directory_ + "/" + name;
    if (!system::removeFile(path) && errno != ENOENT)
        fail(path, "can't be removed");
    return true;
}

std::vector<tag_t> Volume::copyTo(const std::string& directory,
                                  const std::vector<tag_t>& tags) const {
    std::vector<tag_t> missing;
    for (const tag_t tag : tags) {
        std::string path = pathOf(tag);
        int number = system::open(path, system::Open::Read);
        if (number < 0) {
            path += kRemovedSuffix;
            number = system::open(path, system::Open::Read);
        }
        const Descriptor in(number);
        if (!in) {
            missing.push_back(tag);
            continue;
        }
        placeFile(directory, directory + "/" + std::to_string(tag),
                  [&](auto&& receiver) { readAll(in.get(), path, receiver); });
    }
    return missing;
}

Volume::Hold::Hold(const Volume& volume) : volume_(volume) {
    if (volume.directory_.empty())
        return;
    descriptor_ = system::open(volume.holdPath(), system::Open::Lock);
    if (descriptor_ < 0 || !system::lockShared(descriptor_)) {
        if (descriptor_ >= 0)
            system::close(descriptor_);
        fail(volume.holdPath(), "can't be locked");
    }
}

Volume::Hold::~Hold() {
    if (descriptor_ < 0)
        return;
    // The last one to leave takes out what the others left for it.
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
