// Commands are the real ones, unless the test wants that none can be run.

#include "tests/support/fixed_os.h"

#define RunCommand RunRealCommand
#include "src/os/keld_os_process_posix.cpp"
#include "src/os/keld_os_process_windows.cpp"
#undef RunCommand

namespace {

constinit bool commands_fail = false;

}  // namespace

void fixed_os::failCommands(bool fail) {
    commands_fail = fail;
}

namespace keld_os {

int RunCommand(const char* szCommand);

int RunCommand(const char* szCommand) {
    return commands_fail ? -1 : RunRealCommand(szCommand);
}

}  // namespace keld_os
