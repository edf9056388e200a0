// Is loaded before the other libraries and changes a program's calls of the system: one call of a
// kind fails, is cut short, pretends to succeed, or stops the process.
//
//   KELD_CALLS_ROOT   only calls on what lies below this directory are counted
//   KELD_CALLS_AT     CALL:N:WHAT; the n-th call (from 1), with a + after N all later ones too.
//   WHAT
//                     is ENOSPC, EIO, EINTR, SHORT (half of it is written), LOSE (nothing is, and
//                     it says otherwise) or STOP
//   KELD_CALLS_COUNT  a file to which the numbers of calls are written at the end
//   KELD_CALLS_PROCESS  the number that every process of these has

#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

enum Call { Open, Write, Pwrite, Fsync, Fdatasync, Rename, Link, Ftruncate, Flock, Unlink, kCalls };
constexpr const char* kNames[kCalls] = {"open",   "write", "pwrite",    "fsync", "fdatasync",
                                        "rename", "link",  "ftruncate", "flock", "unlink"};

struct Plan {
    char root[PATH_MAX] = "";
    int call = -1, n = 0, error = 0;
    bool onwards = false, cut = false, lose = false, stop = false;

    Plan() {
        if (const char* set = std::getenv("KELD_CALLS_ROOT"))
            std::snprintf(root, sizeof root, "%s/", set);
        const char* at = std::getenv("KELD_CALLS_AT");
        if (!at)
            return;
        char name[32] = "", number[32] = "", what[32] = "";
        if (std::sscanf(at, "%31[^:]:%31[^:]:%31s", name, number, what) != 3)
            std::abort();
        for (int i = 0; i < kCalls; ++i)
            if (std::strcmp(name, kNames[i]) == 0)
                call = i;
        n = std::atoi(number);
        onwards = std::strchr(number, '+') != nullptr;
        const auto is = [&](const char* text) { return std::strcmp(what, text) == 0; };
        error = is("ENOSPC") ? ENOSPC : is("EIO") ? EIO : is("EINTR") ? EINTR : 0;
        cut = is("SHORT");
        lose = is("LOSE");
        stop = is("STOP");
        if (call < 0 || n < 1 || !(error || cut || lose || stop))
            std::abort();
    }
};

// Not initialised by the loader: calls come before that.
const Plan& plan() {
    static const Plan* const one = new Plan;
    return *one;
}

std::atomic<int> counts[kCalls];

struct AtEnd {
    ~AtEnd() {
        const char* path = std::getenv("KELD_CALLS_COUNT");
        std::FILE* out = path ? std::fopen(path, "a") : nullptr;
        if (!out)
            return;
        for (int i = 0; i < kCalls; ++i)
            std::fprintf(out, "%s %d\n", kNames[i], counts[i].load());
        std::fclose(out);
    }
} at_end;

template <typename Function>
Function real(const char* name) {
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

// Relative names are taken for those of the program's own directory, which lies below the root.
bool below(const char* path) {
    const Plan& now = plan();
    return now.root[0] && path &&
           (path[0] != '/' || std::strncmp(path, now.root, std::strlen(now.root)) == 0);
}

bool below(int file) {
    if (!plan().root[0])
        return false;
    char link[64], path[PATH_MAX];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", file);
    const ssize_t size = ::readlink(link, path, sizeof path - 1);
    if (size <= 0)
        return false;
    path[size] = '\0';
    return path[0] == '/' && below(path);
}

// Count the call; true: it is the one.
template <typename Where>
bool comes(Call call, Where where) {
    const int reason = errno;
    const bool ours = below(where);
    errno = reason;
    if (!ours)
        return false;
    const Plan& now = plan();
    const int number = ++counts[call];
    if (now.call != call || !(now.onwards ? number >= now.n : number == now.n))
        return false;
    if (now.stop)
        ::raise(SIGSTOP);
    return true;
}

// True: the call fails, with the reason in errno.
template <typename Where>
bool fails(Call call, Where where) {
    if (!comes(call, where) || plan().error == 0)
        return false;
    errno = plan().error;
    return true;
}

int openAs(const char* name, const char* path, int flags, mode_t mode) {
    if (fails(Open, path))
        return -1;
    return real<int (*)(const char*, int, mode_t)>(name)(path, flags, mode);
}

template <typename Perform>
ssize_t written(Call call, int file, std::size_t size, Perform&& perform) {
    if (!comes(call, file))
        return perform(size);
    const Plan& now = plan();
    if (now.error) {
        errno = now.error;
        return -1;
    }
    if (now.lose)
        return static_cast<ssize_t>(size);
    return perform(now.cut && size > 1 ? size / 2 : size);
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

int open(const char* path, int flags, ...) {
    va_list more;
    va_start(more, flags);
    const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) ? va_arg(more, mode_t) : 0;
    va_end(more);
    return openAs("open", path, flags, mode);
}

int open64(const char* path, int flags, ...) {
    va_list more;
    va_start(more, flags);
    const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) ? va_arg(more, mode_t) : 0;
    va_end(more);
    return openAs("open64", path, flags, mode);
}

ssize_t write(int file, const void* bytes, size_t size) {
    return written(Write, file, size, [&](size_t some) {
        return real<ssize_t (*)(int, const void*, size_t)>("write")(file, bytes, some);
    });
}

ssize_t pwrite(int file, const void* bytes, size_t size, off_t at) {
    return written(Pwrite, file, size, [&](size_t some) {
        return real<ssize_t (*)(int, const void*, size_t, off_t)>("pwrite")(file, bytes, some, at);
    });
}

ssize_t pwrite64(int file, const void* bytes, size_t size, off64_t at) {
    return written(Pwrite, file, size, [&](size_t some) {
        return real<ssize_t (*)(int, const void*, size_t, off64_t)>("pwrite64")(file, bytes, some,
                                                                                at);
    });
}

int fsync(int file) {
    return fails(Fsync, file) ? -1 : real<int (*)(int)>("fsync")(file);
}

int fdatasync(int file) {
    return fails(Fdatasync, file) ? -1 : real<int (*)(int)>("fdatasync")(file);
}

int rename(const char* from, const char* to) {
    return fails(Rename, to) ? -1 : real<int (*)(const char*, const char*)>("rename")(from, to);
}

int renameat2(int from_at, const char* from, int to_at, const char* to, unsigned int flags) {
    using Function = int (*)(int, const char*, int, const char*, unsigned int);
    return fails(Rename, to) ? -1 : real<Function>("renameat2")(from_at, from, to_at, to, flags);
}

int link(const char* from, const char* to) {
    return fails(Link, to) ? -1 : real<int (*)(const char*, const char*)>("link")(from, to);
}

int ftruncate(int file, off_t size) {
    return fails(Ftruncate, file) ? -1 : real<int (*)(int, off_t)>("ftruncate")(file, size);
}

int ftruncate64(int file, off64_t size) {
    return fails(Ftruncate, file) ? -1 : real<int (*)(int, off64_t)>("ftruncate64")(file, size);
}

int flock(int file, int operation) {
    return fails(Flock, file) ? -1 : real<int (*)(int, int)>("flock")(file, operation);
}

int unlink(const char* path) {
    return fails(Unlink, path) ? -1 : real<int (*)(const char*)>("unlink")(path);
}

pid_t getpid() {
    static const char* const set = std::getenv("KELD_CALLS_PROCESS");
    return set ? std::atoi(set) : real<pid_t (*)()>("getpid")();
}

}  // extern "C"
#pragma GCC visibility pop
