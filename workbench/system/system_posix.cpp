#if !defined(_WIN32)

#include <fcntl.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "workbench/system/system.h"

namespace mervane::system {

namespace {

// Owner, group and mode of the file `like`; who may read a directory may enter it. What the file
// system refuses stays as it was made, with no more rights.
void giveModeOf(const std::string& like, int file) {
    struct stat wanted {};
    struct stat own {};
    if (::stat(like.c_str(), &wanted) != 0 || ::fstat(file, &own) != 0)
        return;
    mode_t mode = wanted.st_mode & 0666U;
    // Only root can give a file to another user.
    const uid_t owner = ::geteuid() == 0 ? wanted.st_uid : own.st_uid;
    // The owner changes before the mode: the first group must not get the rights of another one.
    if ((owner != own.st_uid || wanted.st_gid != own.st_gid) &&
        ::fchown(file, owner, wanted.st_gid) != 0)
        mode = (mode & 0606U) | ((mode & 06U) << 3U);  // the group may do what all others may
    // The upper bits stay, since by them new files can get the group of the directory.
    if (S_ISDIR(own.st_mode))
        mode |= ((mode & 0444U) >> 2U) | (own.st_mode & 07000U);
    (void)::fchmod(file, mode);
}

// At most the mode of `like` from the first moment on: nobody else can open it in between.
int makeFile(const std::string& path, int flags, const std::string& like) {
    struct stat wanted {};
    mode_t mode = 0666;
    if (!like.empty())
        // If nobody can tell who may read it, only this user may.
        mode = ::stat(like.c_str(), &wanted) == 0 ? wanted.st_mode & 0666U : 0600U;
    const int file = ::open(path.c_str(), flags | O_CREAT | O_EXCL, mode);
    if (file >= 0 && !like.empty())
        giveModeOf(like, file);
    return file;
}

// Empty: there is no temporary directory.
std::string temporaryPattern(const std::string& prefix) {
    std::error_code error;
    const auto directory = std::filesystem::temp_directory_path(error);
    return error ? "" : (directory / (prefix + "-XXXXXX")).string();
}

}  // namespace

std::filesystem::path pathOf(const std::string& text) {
    return {text};
}

std::string hostName() {
    char name[256] = "";
    // A name that is cut may come without a terminator, so the last byte stays 0.
    return gethostname(name, sizeof name - 1) == 0 ? name : "";
}

int processNumber() {
    return ::getpid();
}

std::tm localTime(std::time_t seconds) {
    std::tm local{};
    ::localtime_r(&seconds, &local);
    return local;
}

std::string environment(const std::string& name) {
    const char* value = std::getenv(name.c_str());
    return value ? value : "";
}

bool isSet(const std::string& name) {
    return std::getenv(name.c_str()) != nullptr;
}

void setEnvironment(const std::string& name, const std::string& value) {
    ::setenv(name.c_str(), value.c_str(), 1);
}

bool makeDirectory(const std::string& path, const std::string& like) {
    if (like.empty())
        return ::mkdir(path.c_str(), 0777) == 0;
    if (::mkdir(path.c_str(), 0700) != 0)
        return false;
    // Somebody may have put a link there since, which must not be followed.
    const int directory = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (directory >= 0) {
        giveModeOf(like, directory);
        ::close(directory);
    }
    return true;
}

bool makePrivateDirectory(const std::string& path) {
    return ::mkdir(path.c_str(), 0700) == 0;
}

bool somethingAt(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0;
}

bool mayWrite(const std::string& path) {
    return ::access(path.c_str(), W_OK) == 0;
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
    // These two say that the system can't do it in one step. Any other reason is the answer.
    if (errno != EINVAL && errno != ENOSYS)
        return false;
#endif
    return placeInTwoSteps(from, to);
}

// Reserve the name by something empty, which renaming replaces. Whoever opens it in between finds
// no store.
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
    // The caller gets the reason of the rename, and not that of the removal.
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

std::string makeTemporaryDirectory(const std::string& prefix) {
    std::string pattern = temporaryPattern(prefix);
    return !pattern.empty() && ::mkdtemp(pattern.data()) ? pattern : "";
}

std::string makeTemporaryFile(const std::string& prefix) {
    std::string pattern = temporaryPattern(prefix);
    const int file = pattern.empty() ? -1 : ::mkstemp(pattern.data());
    if (file < 0)
        return "";
    ::close(file);
    return pattern;
}

int open(const std::string& path, Open how, const std::string& like) {
    switch (how) {
        case Open::Read:
            return ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        case Open::ReadInPlace:
            return ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC);
        case Open::WriteNew:
            return makeFile(path, O_WRONLY | O_CLOEXEC, like);
        case Open::Lock:
        case Open::LockExisting:
            break;
    }
    constexpr int kFlags = O_RDWR | O_NOFOLLOW | O_CLOEXEC;
    for (;;) {
        int file = ::open(path.c_str(), kFlags);
        if (file >= 0 || errno != ENOENT || how == Open::LockExisting)
            return file;
        // Made only if nothing is there, so no link is followed. If another process was faster, its
        // file is opened.
        file = makeFile(path, kFlags, like);
        if (file >= 0 || errno != EEXIST)
            return file;
    }
}

std::FILE* openForAppending(const std::string& path) {
    const int file =
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_NONBLOCK | O_CLOEXEC, 0666);
    if (file < 0)
        return nullptr;
    std::FILE* stream = nullptr;
    // The opening hasn't waited for a pipe or a device, so these are refused only now.
    if (isRegular(file))
        stream = ::fdopen(file, "a");
    else
        errno = EINVAL;
    if (!stream) {
        const int reason = errno;
        ::close(file);
        errno = reason;
    }
    return stream;
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
    return ::flock(file, LOCK_SH | LOCK_NB) == 0;
}

bool unlock(int file) {
    return ::flock(file, LOCK_UN) == 0;
}

std::int64_t sizeOf(int file) {
    struct stat status {};
    return ::fstat(file, &status) == 0 ? std::int64_t{status.st_size} : -1;
}

bool reserve(int file, std::uint64_t size) {
    // Only what is new: where the file system can't do it, the C library reads and writes each
    // block, and would put an old byte in the place of one that another process has just changed.
    const std::int64_t now = sizeOf(file);
    if (now < 0 || static_cast<std::uint64_t>(now) >= size)
        return now >= 0;
    do
        errno = ::posix_fallocate(file, static_cast<off_t>(now),
                                  static_cast<off_t>(size) - static_cast<off_t>(now));
    while (errno == EINTR);
    return errno == 0;
}

bool makeEmpty(int file) {
    return ::ftruncate(file, 0) == 0;
}

void* map(int file, std::uint64_t offset, std::size_t size) {
    void* part =
        ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, static_cast<off_t>(offset));
    return part == MAP_FAILED ? nullptr : part;
}

void unmap(void* part, std::size_t size) {
    ::munmap(part, size);
}

// From the system's list: "1: FLOCK  ADVISORY  WRITE 123 08:01:4567 0 EOF".
int lockHolder(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        return 0;
    char file[64];
    std::snprintf(file, sizeof file, "%02x:%02x:%llu", major(status.st_dev), minor(status.st_dev),
                  static_cast<unsigned long long>(status.st_ino));
    std::ifstream locks("/proc/locks");
    for (std::string line; std::getline(locks, line);) {
        std::istringstream words(line);
        std::string number, kind, advisory, how, where;
        int process = 0;
        if (words >> number >> kind >> advisory >> how >> process >> where && how == "WRITE" &&
            where == file)
            return process;
    }
    return 0;
}

}  // namespace mervane::system

#endif
