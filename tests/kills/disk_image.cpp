#include "tests/kills/disk_image.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <vector>

namespace kills {

namespace fs = std::filesystem;

namespace {

// One process at a time changes the image.
class Guard {
public:
    explicit Guard(const std::string& image)
        : file_(::open((image + "/guard").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644)) {
        if (file_ < 0 || ::flock(file_, LOCK_EX) != 0)
            throw std::runtime_error("the image can't be locked");
    }
    ~Guard() { ::close(file_); }
    Guard(const Guard&) = delete;

private:
    int file_;
};

std::string number(const struct stat& status) {
    return std::to_string(status.st_ino);
}

// The file's name in the image is its number; while a name there keeps it, no other file gets it.
void keep(const std::string& image, const std::string& path, const struct stat& status) {
    const std::string kept = image + "/kept/" + number(status);
    if (::linkat(AT_FDCWD, path.c_str(), AT_FDCWD, kept.c_str(), AT_SYMLINK_FOLLOW) != 0 &&
        errno != EEXIST && errno != ENOENT)
        throw std::runtime_error(path + " can't be kept");
}

void copyOpen(int from, const std::string& to) {
    const int out = ::open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    std::vector<char> buffer(1 << 18);
    off_t at = 0;
    for (;;) {
        const ssize_t got = ::pread(from, buffer.data(), buffer.size(), at);
        if (got <= 0)
            break;
        if (::write(out, buffer.data(), static_cast<std::size_t>(got)) != got)
            throw std::runtime_error(to + " can't be written");
        at += got;
    }
    ::close(out);
}

struct Name {
    std::string name, number;
    bool directory = false;
};

std::vector<Name> namesIn(const std::string& path) {
    std::vector<Name> names;
    for (const auto& entry : fs::directory_iterator(path)) {
        struct stat status {};
        if (::lstat(entry.path().c_str(), &status) == 0)
            names.push_back(
                {entry.path().filename().string(), number(status), S_ISDIR(status.st_mode)});
    }
    return names;
}

}  // namespace

DiskImage::DiskImage(std::string root, std::string image)
    : root_(std::move(root)), image_(std::move(image)) {
    for (const char* part : {"", "/kept", "/data", "/names"})
        fs::create_directories(image_ + part);
}

std::string DiskImage::namesOf(const std::string& path) const {
    std::string name = path.substr(root_.size());
    std::replace(name.begin(), name.end(), '/', '%');
    return image_ + "/names/names" + name;
}

int DiskImage::sync(int file) {
    const std::string link = "/proc/self/fd/" + std::to_string(file);
    std::array<char, 4096> target{};
    const ssize_t size = ::readlink(link.c_str(), target.data(), target.size() - 1);
    if (size < 0)
        return -1;
    const std::string path(target.data(), static_cast<std::size_t>(size));
    if (path.compare(0, root_.size(), root_) != 0)
        return 0;
    struct stat status {};
    if (::fstat(file, &status) != 0)
        return -1;
    const Guard guard(image_);
    if (S_ISDIR(status.st_mode))
        syncNames(path);
    else
        syncFile(file, link);
    return 0;
}

void DiskImage::syncFile(int file, const std::string& path) {
    struct stat status {};
    ::fstat(file, &status);
    keep(image_, path, status);
    const std::string data = image_ + "/data/" + number(status);
    if ((::fcntl(file, F_GETFL) & O_ACCMODE) == O_WRONLY) {
        const int readable = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        copyOpen(readable, data + ".new");
        ::close(readable);
    } else {
        // Through this opening: closing another one would give up the locks of the process.
        copyOpen(file, data + ".new");
    }
    ::rename((data + ".new").c_str(), data.c_str());
}

void DiskImage::syncNames(const std::string& path) {
    const std::string names = namesOf(path);
    std::ofstream out(names + ".new");
    for (const Name& each : namesIn(path)) {
        struct stat status {};
        if (!each.directory && ::lstat((path + "/" + each.name).c_str(), &status) == 0)
            keep(image_, path + "/" + each.name, status);
        out << each.name << '/' << each.number << '/' << each.directory << '\n';
    }
    out.close();
    fs::rename(names + ".new", names);
}

void DiskImage::resetBelow(const std::string& path) {
    syncNames(path);
    for (const Name& each : namesIn(path)) {
        const std::string below = path + "/" + each.name;
        if (each.directory) {
            resetBelow(below);
            continue;
        }
        const int file = ::open(below.c_str(), O_RDONLY | O_CLOEXEC);
        syncFile(file, below);
        ::close(file);
    }
}

void DiskImage::reset() {
    for (const char* part : {"/kept", "/data", "/names"}) {
        fs::remove_all(image_ + part);
        fs::create_directories(image_ + part);
    }
    resetBelow(root_);
}

void DiskImage::rebuild(const std::string& from, const std::string& to,
                        const std::function<bool()>& kept) {
    fs::create_directories(to);
    std::vector<Name> names;
    if (kept() && fs::exists(from)) {
        names = namesIn(from);
    } else {
        std::ifstream in(namesOf(from));
        Name name;
        std::string directory;
        while (std::getline(in, name.name, '/') && std::getline(in, name.number, '/') &&
               std::getline(in, directory)) {
            name.directory = directory == "1";
            names.push_back(name);
        }
    }
    for (const Name& each : names) {
        const std::string place = to + "/" + each.name;
        const std::string data = image_ + "/data/" + each.number;
        const std::string cached = image_ + "/kept/" + each.number;
        if (each.directory)
            rebuild(from + "/" + each.name, place, kept);
        else if (kept() && fs::exists(cached))
            fs::copy_file(cached, place);
        else if (fs::exists(data))
            fs::copy_file(data, place);
        else
            std::ofstream(place).flush();  // a name without contents
    }
}

void DiskImage::fail(const std::function<bool()>& kept) {
    // What was never synchronised isn't kept yet, but may be chosen.
    for (const auto& entry : fs::recursive_directory_iterator(root_)) {
        struct stat status {};
        if (entry.is_regular_file() && ::lstat(entry.path().c_str(), &status) == 0)
            keep(image_, entry.path(), status);
    }
    const std::string after = image_ + "/after";
    rebuild(root_, after, kept);
    fs::remove_all(root_);
    fs::rename(after, root_);
    reset();
}

}  // namespace kills
