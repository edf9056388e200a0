#include "workbench/store/volume.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <optional>
#include <system_error>

#include "workbench/model/status.h"
#include "workbench/store/sha256.h"
#include "workbench/workbench.h"

namespace mervane {

namespace fs = std::filesystem;

namespace {

[[noreturn]] void failed(const std::string& what, const std::string& path) {
    const int reason = errno;
    throw Failure(kFileFailure, "file \"" + path + "\" can't be " + what + ": " +
                                    std::generic_category().message(reason));
}

class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0)
            ::close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    int number() const { return number_; }
    bool close() {
        const int number = number_;
        number_ = -1;
        return ::close(number) == 0;
    }

private:
    int number_;
};

Volume::Content copy(int from, const std::string& from_path, std::optional<int> to,
                     const std::string& to_path) {
    Volume::Content content;
    Sha256 sum;
    char buffer[65536];
    for (;;) {
        const ssize_t got = ::read(from, buffer, sizeof buffer);
        if (got < 0) {
            if (errno == EINTR)
                continue;
            failed("read", from_path);
        }
        if (got == 0)
            break;
        sum.add(buffer, static_cast<std::size_t>(got));
        content.size += got;
        for (ssize_t written = 0; to && written < got;) {
            const ssize_t part =
                ::write(*to, buffer + written, static_cast<std::size_t>(got - written));
            if (part < 0 && errno != EINTR)
                failed("written", to_path);
            written += std::max<ssize_t>(part, 0);
        }
    }
    content.sha256 = sum.hex();
    return content;
}

Descriptor openRegular(const std::string& path) {
    // A pipe must not stop the process before it is found to be one.
    const int number = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (number < 0)
        failed("read", path);
    struct stat info {};
    if (::fstat(number, &info) != 0 || !S_ISREG(info.st_mode)) {
        ::close(number);
        throw Failure(kFileFailure, "file \"" + path + "\" can't be read: no regular file");
    }
    return Descriptor(number);
}

void syncDirectory(const std::string& path) {
    Descriptor directory(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (directory.number() < 0 || ::fsync(directory.number()) != 0)
        failed("synced", path);
}

std::optional<tag_t> tagOfName(const std::string& name) {
    tag_t tag = NULLTAG;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), tag);
    if (error != std::errc{} || end != name.data() + name.size() || name.front() == '0')
        return std::nullopt;
    return tag;
}

template <typename Visit>
void eachName(const std::string& directory, Visit visit) {
    std::error_code error;
    for (fs::directory_iterator at(directory, error), end; !error && at != end; at.increment(error))
        visit(at->path().filename().string());
    if (error && error != std::errc::no_such_file_or_directory)
        throw Failure(kFileFailure,
                      "directory \"" + directory + "\" can't be read: " + error.message());
}

}  // namespace

std::string Volume::path(tag_t file) const {
    return directory_ + "/" + std::to_string(file);
}

bool Volume::has(tag_t file) const {
    std::error_code error;
    return fs::is_regular_file(path(file), error);
}

Volume::Content Volume::take(tag_t file, const std::string& source) {
    Descriptor from = openRegular(source);
    std::error_code error;
    fs::create_directories(directory_, error);
    if (error)
        throw Failure(kFileFailure,
                      "directory \"" + directory_ + "\" can't be made: " + error.message());
    const std::string part = path(file) + ".part";
    Descriptor to(
        ::open(part.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0666));
    if (to.number() < 0)
        failed("made", part);
    try {
        const Content content = copy(from.number(), source, to.number(), part);
        if (::fsync(to.number()) != 0 || !to.close() ||
            ::rename(part.c_str(), path(file).c_str()) != 0)
            failed("written", part);
        syncDirectory(directory_);
        return content;
    } catch (...) {
        ::unlink(part.c_str());
        ::unlink(path(file).c_str());
        throw;
    }
}

void Volume::give(tag_t file, const std::string& destination) const {
    Descriptor from = openRegular(path(file));
    Descriptor to(
        ::open(destination.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
    if (to.number() < 0)
        failed("made", destination);
    try {
        copy(from.number(), path(file), to.number(), destination);
        if (!to.close())
            failed("written", destination);
    } catch (...) {
        ::unlink(destination.c_str());
        throw;
    }
}

Volume::Content Volume::content(tag_t file) const {
    Descriptor from = openRegular(path(file));
    return copy(from.number(), path(file), std::nullopt, "");
}

void Volume::remove(tag_t file) noexcept {
    ::unlink(path(file).c_str());
}

std::vector<tag_t> Volume::files() const {
    std::vector<tag_t> tags;
    eachName(directory_, [&](const std::string& name) {
        if (const auto tag = tagOfName(name))
            tags.push_back(*tag);
    });
    std::sort(tags.begin(), tags.end());
    return tags;
}

std::vector<std::string> Volume::leftovers() const {
    std::vector<std::string> names;
    eachName(directory_, [&](const std::string& name) {
        if (!tagOfName(name))
            names.push_back(name);
    });
    std::sort(names.begin(), names.end());
    return names;
}

void Volume::removeLeftover(const std::string& name) noexcept {
    if (name.find('/') == std::string::npos)
        ::unlink((directory_ + "/" + name).c_str());
}

}  // namespace mervane
