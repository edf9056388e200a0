#if !defined(_WIN32)

#include <fcntl.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

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
