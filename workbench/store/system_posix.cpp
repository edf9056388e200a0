#if !defined(_WIN32)

#include <fcntl.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "workbench/store/system.h"

namespace mervane::system {

std::filesystem::path pathOf(const std::string& text) {
    return {text};
}

int processNumber() {
    return ::getpid();
}

std::tm localTime(std::time_t seconds) {
    std::tm local{};
    ::localtime_r(&seconds, &local);
    return local;
}

bool makeDirectory(const std::string& path) {
    return ::mkdir(path.c_str(), 0755) == 0;
}

bool somethingAt(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0;
}

bool regularFileAt(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

bool removeFile(const std::string& path) {
    return ::unlink(path.c_str()) == 0;
}

bool rename(const std::string& from, const std::string& to) {
    return ::rename(from.c_str(), to.c_str()) == 0;
}

bool place(const std::string& from, const std::string& to) {
#if defined(RENAME_NOREPLACE)
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
        return true;
    if (errno != EINVAL && errno != ENOSYS)
        return false;
#endif
    return placeInTwoSteps(from, to);
}

// What was reserved is empty, so renaming takes its place; whoever meets it before meets no store.
bool placeInTwoSteps(const std::string& from, const std::string& to) {
    struct stat status {};
    if (::lstat(from.c_str(), &status) != 0)
        return false;
    const bool directory = S_ISDIR(status.st_mode);
    if (directory) {
        if (::mkdir(to.c_str(), 0700) != 0)
            return false;
    } else {
        const int reserved = ::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (reserved < 0)
            return false;
        ::close(reserved);
    }
    if (::rename(from.c_str(), to.c_str()) == 0)
        return true;
    const int reason = errno;
    directory ? ::rmdir(to.c_str()) : ::unlink(to.c_str());
    errno = reason;
    return false;
}

bool syncDirectory(const std::string& path) {
    const int directory = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool done = directory >= 0 && ::fsync(directory) == 0;
    if (directory >= 0)
        ::close(directory);
    return done;
}

std::string makeTemporaryDirectory() {
    std::error_code error;
    std::string pattern = (std::filesystem::temp_directory_path(error) / "mervane-XXXXXX").string();
    return !error && ::mkdtemp(pattern.data()) ? pattern : "";
}

std::string makeTemporaryFile() {
    std::error_code error;
    std::string pattern = (std::filesystem::temp_directory_path(error) / "mervane-XXXXXX").string();
    const int file = error ? -1 : ::mkstemp(pattern.data());
    if (file < 0)
        return "";
    ::close(file);
    return pattern;
}

int open(const std::string& path, Open how) {
    constexpr int kMode = 0644;
    int flags = O_CLOEXEC;
    switch (how) {
        case Open::Read:
            flags |= O_RDONLY | O_NONBLOCK;
            break;
        case Open::Write:
            flags |= O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW;
            break;
        case Open::WriteNew:
            flags |= O_WRONLY | O_CREAT | O_EXCL;
            break;
        case Open::Lock:
            flags |= O_RDWR | O_CREAT | O_NOFOLLOW;
            break;
        case Open::LockExisting:
            flags |= O_RDWR | O_NOFOLLOW;
            break;
    }
    return ::open(path.c_str(), flags, kMode);
}

std::FILE* openForAppending(const std::string& path) {
    return std::fopen(path.c_str(), "ae");
}

bool isRegular(int file) {
    struct stat status {};
    return ::fstat(file, &status) == 0 && S_ISREG(status.st_mode);
}

std::ptrdiff_t read(int file, char* bytes, std::size_t size) {
    return ::read(file, bytes, size);
}

std::ptrdiff_t write(int file, const char* bytes, std::size_t size) {
    return ::write(file, bytes, size);
}

bool sync(int file) {
    return ::fsync(file) == 0;
}

bool close(int file) {
    return ::close(file) == 0;
}

bool lockExclusive(int file) {
    return ::flock(file, LOCK_EX | LOCK_NB) == 0;
}

bool lockShared(int file) {
    return ::flock(file, LOCK_SH) == 0;
}

bool tryLockShared(int file) {
    return ::flock(file, LOCK_SH | LOCK_NB) == 0;
}

}  // namespace mervane::system

#endif
