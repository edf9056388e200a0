#include "tests/support/fixed_os.h"

#include <ctime>
#include <map>

#include "os/keld_os.h"

namespace {

constexpr std::int64_t unix_epoch_ms = 11644473600000;  // since 1601
constexpr std::int64_t ticks_per_ms = 10000;

// Set before any static object of the libraries reads the clock.
constinit std::int64_t clock_ms = 1384445580000;
constinit std::int64_t per_reading_ms = 0;
constinit int readings = 0;
constinit int local_offset_minutes = 0;
constinit bool local_time_fails = false;

std::map<std::string, std::string>& environment() {
    static auto* variables = new std::map<std::string, std::string>;
    return *variables;
}

}  // namespace

namespace fixed_os {

void setClock(std::int64_t unix_ms) {
    clock_ms = unix_ms;
}
void advanceClock(std::int64_t ms) {
    clock_ms += ms;
}
void advanceClockPerReading(std::int64_t ms) {
    per_reading_ms = ms;
}
int clockReadings() {
    return readings;
}
void setLocalOffset(int minutes) {
    local_offset_minutes = minutes;
}
void failLocalTime(bool fail) {
    local_time_fails = fail;
}
void setEnv(const std::string& name, const std::string& value) {
    environment()[name] = value;
}
void unsetEnv(const std::string& name) {
    environment().erase(name);
}

}  // namespace fixed_os

namespace keld_os {

std::int64_t CoarseWallClock() {
    return (clock_ms + unix_epoch_ms) * ticks_per_ms;
}

std::int64_t WallClock() {
    const std::int64_t ticks = CoarseWallClock();
    ++readings;
    clock_ms += per_reading_ms;
    return ticks;
}

std::int64_t IntervalClock() {
    return WallClock();
}

bool LocalTime(std::int64_t llTicks, std::tm* pTime) {
    const auto seconds = static_cast<std::time_t>((llTicks / ticks_per_ms - unix_epoch_ms) / 1000 +
                                                  local_offset_minutes * 60);
    return !local_time_fails && pTime != nullptr && gmtime_r(&seconds, pTime) != nullptr;
}

bool GetEnv(const char* szName, std::string* pValue) {
    const auto found = environment().find(szName != nullptr ? szName : "");
    if (found == environment().end())
        return false;
    *pValue = found->second;
    return true;
}

std::string TempDirectory() {
    return "/tmp";
}

}  // namespace keld_os
