#if !defined(_WIN32)

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "os/keld_os.h"

namespace keld_os {

std::uint32_t ProcessId() {
    return static_cast<std::uint32_t>(getpid());
}

int RunCommand(const char* szCommand) {
    if (szCommand == nullptr)
        return -1;
    std::string sCommand = szCommand;  // may throw: before anything that has to be undone
    posix_spawn_file_actions_t actions;
    (void)posix_spawn_file_actions_init(&actions);
    (void)posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);

    // With SIGCHLD blocked, a handler of the host doesn't collect the child before this function.
    sigset_t childSignal;
    sigset_t oldMask;
    sigemptyset(&childSignal);
    sigaddset(&childSignal, SIGCHLD);
    (void)pthread_sigmask(SIG_BLOCK, &childSignal, &oldMask);
    posix_spawnattr_t attributes;
    (void)posix_spawnattr_init(&attributes);
    (void)posix_spawnattr_setsigmask(&attributes, &oldMask);
    (void)posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);

    char szShell[] = "sh";
    char szOption[] = "-c";
    char* const pArguments[] = {szShell, szOption, sCommand.data(), nullptr};
    pid_t child = -1;
    const int iSpawned = posix_spawn(&child, "/bin/sh", &actions, &attributes, pArguments, environ);
    int iResult = -1;
    if (iSpawned == 0) {
        int iWait = 0;
        pid_t ended;
        do
            ended = waitpid(child, &iWait, 0);
        while (ended == -1 && errno == EINTR);
        if (ended == -1)
            iResult = 0;  // the host ignores its children: the command ran, its exit code is lost
        else
            iResult = WIFEXITED(iWait) ? WEXITSTATUS(iWait) : 128 + WTERMSIG(iWait);  // as a shell
    }
    (void)pthread_sigmask(SIG_SETMASK, &oldMask, nullptr);
    (void)posix_spawnattr_destroy(&attributes);
    (void)posix_spawn_file_actions_destroy(&actions);
    return iResult;
}

void* FindFunction(const char* szName) {
    return szName != nullptr ? dlsym(RTLD_DEFAULT, szName) : nullptr;
}

bool CallInForkedChild(void (*pFunction)()) {
    return pthread_atfork(nullptr, nullptr, pFunction) == 0;
}

}  // namespace keld_os

#endif
