#pragma once

// Waiting for other processes: never without a limit, and who waited in vain is told for whom.

#include <chrono>
#include <string>

namespace mervane {

// MERVANE_WAIT_MS of the environment, else ten seconds.
std::chrono::milliseconds waitLimit();
// "process 123 has had FILE for more than 10 s": who has this file locked, as far as the system
// tells.
std::string waitedInVain(const std::string& file);
// Lock the open file together with others, waiting while somebody has it alone. Failure
// kFileFailure if that takes longer than the limit or it can't be locked. Leaves locked: the file.
void waitForSharedLock(int file, const std::string& path);

}  // namespace mervane
