#pragma once

// The operating system's seam with a clock and an environment that the test sets. Files,
// directories and commands are the real ones. Local time is UTC plus an offset.

#include <cstdint>
#include <string>

namespace fixed_os {

// The clock doesn't move until it is set or moved. It starts at 2013-11-14 16:13:00.000 UTC.
void setClock(std::int64_t unix_ms);
void advanceClock(std::int64_t ms);
// How far each reading of the clock moves it afterwards.
void advanceClockPerReading(std::int64_t ms);
// How often the clock was read for an elapsed time; stamps of log lines don't count.
int clockReadings();

void setLocalOffset(int minutes);
// From now on the clock's readings are out of the range of local time, or in it again.
void failLocalTime(bool fail);

// The environment starts empty.
void setEnv(const std::string& name, const std::string& value);
void unsetEnv(const std::string& name);

// From now on no command can be run, or every one again.
void failCommands(bool fail);

}  // namespace fixed_os
