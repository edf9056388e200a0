#include "workbench/store/waiting.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "workbench/model/status.h"
#include "workbench/system/system.h"
#include "workbench/workbench.h"

namespace mervane {

std::chrono::milliseconds waitLimit() {
    const int limit = std::atoi(system::environment("MERVANE_WAIT_MS").c_str());
    return std::chrono::milliseconds(limit > 0 ? limit : 10000);
}

std::string waitedInVain(const std::string& file) {
    const int holder = system::lockHolder(file);
    char seconds[40];
    std::snprintf(seconds, sizeof seconds, "%g s", static_cast<double>(waitLimit().count()) / 1000);
    return (holder > 0 ? "process " + std::to_string(holder) : std::string("another process")) +
           " has had " + file + " for more than " + seconds;
}

void waitForSharedLock(int file, const std::string& path) {
    const auto end = std::chrono::steady_clock::now() + waitLimit();
    // Asked again and again, since the system itself would wait without a limit.
    while (!system::lockShared(file)) {
        if (errno != EAGAIN && errno != EINTR)
            throw Failure(kFileFailure, path + " can't be locked: " + std::strerror(errno));
        if (std::chrono::steady_clock::now() >= end)
            throw Failure(kFileFailure, path + " can't be locked: " + waitedInVain(path));
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

}  // namespace mervane
