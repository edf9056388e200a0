#pragma once

// The SQL statements of a run, recorded on every connection that is opened after watch(), and
// played again on the connections of a new world by themselves.

#include <cstddef>

namespace statement_recorder {

// Watch every connection of the process from here on.
void watch();
// The connections opened from here on belong to a new world.
void newWorld();

void start();
void stop();
std::size_t count();

// Run the recorded statements on the present world's connections, each prepared once.
// Returns: the seconds of binding, stepping and reading.
double play();

}  // namespace statement_recorder
