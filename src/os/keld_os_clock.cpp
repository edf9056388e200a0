#include "os/keld_os.h"

#if defined(_WIN32)
#include <windows.h>
#endif

namespace keld_os {

namespace {

constexpr std::int64_t llTicksPerSecond = 10000000;
constexpr std::int64_t llUnixEpochSeconds = 11644473600;  // from 1601-01-01 to 1970-01-01

}  // namespace

#if defined(_WIN32)

std::int64_t WallClock() {
    FILETIME fileTime;
    GetSystemTimeAsFileTime(&fileTime);
    return static_cast<std::int64_t>((static_cast<std::uint64_t>(fileTime.dwHighDateTime) << 32U) |
                                     fileTime.dwLowDateTime);
}

std::int64_t CoarseWallClock() {
    return WallClock();  // it has the timer's resolution already
}

#else

static std::int64_t ReadClock(clockid_t iClock) {
    timespec now{};
    (void)clock_gettime(iClock, &now);
    return (now.tv_sec + llUnixEpochSeconds) * llTicksPerSecond + now.tv_nsec / 100;
}

std::int64_t WallClock() {
    return ReadClock(CLOCK_REALTIME);
}

std::int64_t CoarseWallClock() {
    return ReadClock(CLOCK_REALTIME_COARSE);
}

#endif

std::int64_t IntervalClock() {
    return CoarseWallClock();
}

bool LocalTime(std::int64_t llTicks, std::tm* pTime) {
    if (pTime == nullptr)
        return false;
    std::int64_t llSeconds = llTicks / llTicksPerSecond;
    if (llTicks % llTicksPerSecond < 0)  // the division rounds toward zero
        --llSeconds;
    const auto tSeconds = static_cast<std::time_t>(llSeconds - llUnixEpochSeconds);
    std::tm local{};
#if defined(_WIN32)
    if (localtime_s(&local, &tSeconds) != 0)
        return false;
#else
    if (localtime_r(&tSeconds, &local) == nullptr)
        return false;
#endif
    *pTime = local;
    return true;
}

}  // namespace keld_os
