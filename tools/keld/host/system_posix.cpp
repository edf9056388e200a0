#if !defined(_WIN32)

#include <dlfcn.h>
#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <thread>

#include "tools/keld/host/context.h"
#include "tools/keld/host/system.h"

namespace keld {

namespace fs = std::filesystem;

const char* const kNullDevice = "/dev/null";

std::vector<std::string> programArguments(int argc, char** argv) {
    return {argv, argv + argc};
}

void failBeyondTheFileSizeLimit() {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    action.sa_flags = SA_RESTART;
    sigaction(SIGXFSZ, &action, nullptr);
}

namespace {

// The pager, the original terminal, and its width.
struct PagerAtWork {
    FILE* pipe = nullptr;
    int terminal = -1;
    std::size_t width = 0;
} pager;

}  // namespace

bool startPager(const std::string& command) {
    if (pager.pipe || !outputIsTerminal())
        return false;
    const std::size_t width = outputWidth();
    std::cout.flush();
    std::fflush(stdout);
    FILE* pipe = popen(command.c_str(), "w");
    if (!pipe)
        return false;
    pager = {pipe, fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0), width};
    dup2(fileno(pipe), STDOUT_FILENO);
    return true;
}

void endPager() noexcept {
    if (!pager.pipe)
        return;
    std::cout.flush();
    std::fflush(stdout);
    dup2(pager.terminal, STDOUT_FILENO);
    ::close(pager.terminal);
    pclose(pager.pipe);
    pager = {};
}

bool outputIsTerminal() {
    return pager.pipe || isatty(STDOUT_FILENO) == 1;
}

bool errorIsTerminal() {
    return isatty(STDERR_FILENO) == 1;
}

std::size_t outputWidth() {
    if (pager.pipe)
        return pager.width;
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

std::string whyNotAppendable(const std::string& path) {
    // O_NONBLOCK: opening a pipe without a reader would wait for one.
    const int file = ::open(path.c_str(), O_WRONLY | O_APPEND | O_NONBLOCK | O_CLOEXEC);
    if (file < 0 && errno != ENOENT)
        return std::strerror(errno);
    if (file < 0) {
        const std::string directory = fs::path(path).parent_path().string();
        return access(directory.empty() ? "." : directory.c_str(), W_OK | X_OK) == 0
                   ? ""
                   : std::strerror(errno);
    }
    // Test by writing only on a device: the question must not change a log file.
    struct stat status {};
    std::string reason;
    if (fstat(file, &status) == 0 && S_ISCHR(status.st_mode) && isatty(file) == 0 &&
        ::write(file, "\n", 1) < 0)
        reason = std::strerror(errno);
    ::close(file);
    return reason;
}

std::string makeFileBeside(const std::string& path) {
    std::string pattern = path + ".part-XXXXXX";
    const int file = mkstemp(pattern.data());
    if (file < 0)
        throw CommandError("can't write " + path + ": " + std::strerror(errno));
    // mkstemp makes the file private; give it the rights of any new file.
    const mode_t mask = umask(0);
    umask(mask);
    fchmod(file, 0666 & ~mask);
    ::close(file);
    return pattern;
}

void limitRights(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0)
        return;
    // Keep the owner's bits: the owner may write new files even if this file is read-only. Who may
    // not read it can't enter new directories either.
    const mode_t denied = ~status.st_mode & 0066U;
    umask(umask(0777) | denied | ((denied & 0444U) >> 2U));
}

int redirectOutput(const std::string& path) {
    const int file = path.empty()
                         ? STDERR_FILENO
                         : ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (file < 0)
        throw CommandError("can't write " + path);
    const int kept = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    const bool done = kept >= 0 && dup2(file, STDOUT_FILENO) >= 0;
    if (file != STDERR_FILENO)
        ::close(file);
    if (!done)
        throw CommandError("can't redirect the standard output");
    return kept;
}

void restoreOutput(int kept) noexcept {
    dup2(kept, STDOUT_FILENO);
    ::close(kept);
}

void* findFunction(const std::string& name) {
    return dlsym(RTLD_DEFAULT, name.c_str());
}

int runProgram(const ProgramCall& call, int seconds) {
    std::vector<char*> words;
    for (const std::string& word : call.words)
        words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    constexpr int kMake = O_WRONLY | O_CREAT | O_TRUNC;
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, kNullDevice, O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, call.out.c_str(), kMake, 0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, call.err.c_str(), kMake, 0600);
    posix_spawn_file_actions_addchdir_np(&actions, call.directory.c_str());
    pid_t child = 0;
    const int failure =
        posix_spawnp(&child, words.front(), &actions, nullptr, words.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (failure != 0)
        throw CommandError("can't start " + call.words.front() + ": " + std::strerror(failure));
    using namespace std::chrono_literals;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    int status = 0;
    for (auto pause = 1ms; waitpid(child, &status, WNOHANG) == 0;
         pause = std::min(pause * 2, 8ms)) {
        std::this_thread::sleep_for(pause);
        if (std::chrono::steady_clock::now() < end)
            continue;
        kill(child, SIGKILL);
        waitpid(child, &status, 0);
        break;
    }
    constexpr int kSignalled = 128;
    return WIFEXITED(status) ? WEXITSTATUS(status) : kSignalled + WTERMSIG(status);
}

std::string ownProgram() {
    std::error_code failure;
    const fs::path path = fs::read_symlink("/proc/self/exe", failure);
    if (failure)
        throw CommandError("can't tell where this program is: " + failure.message());
    return path.string();
}

unsigned processors() {
    cpu_set_t set;
    CPU_ZERO(&set);
    if (sched_getaffinity(0, sizeof set, &set) != 0)
        return 1;
    return static_cast<unsigned>(std::max(CPU_COUNT(&set), 1));
}

// The version of a library is in its file name, after ".so.".
Module moduleOf(const void* function) {
    Dl_info info{};
    if (!function || dladdr(function, &info) == 0 || !info.dli_fname)
        return {};
    std::error_code failure;
    const fs::path real = fs::canonical(info.dli_fname, failure);
    Module module{failure ? info.dli_fname : real.string(), ""};
    const std::string name = fs::path(module.file).filename().string();
    const auto at = name.find(".so.");
    if (at != std::string::npos)
        module.version = name.substr(at + 4);
    return module;
}

}  // namespace keld

#endif
