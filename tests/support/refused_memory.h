#pragma once

// Memory that runs out at one chosen allocation: of operator new, malloc and realloc in the
// program's own objects, or of C library calls that need memory for a file or a registration.
// tests/memory/CMakeLists.txt has the link options of programs with this file.

namespace refused_memory {

// From here on the n-th allocation fails; 0: none. They are counted in any case.
void start(int n);
// Stop. Returns: the number of allocations.
int stop();

// Allocations between these two, as by the platform, neither fail nor count.
void enterPlatform();
void leavePlatform();

// Run the action with each of its allocations refused in turn, from the first on; it must be
// possible to repeat it. The whole is done twice: blocks that the process allocates only once shift
// the numbers of the others. `check` is called after each run. Returns: how many allocations were
// refused.
template <typename Prepare, typename Action, typename Check>
int sweep(Prepare prepare, Action action, Check check) {
    int sum = 0;
    for (int round = 0; round < 2; ++round) {
        bool refused = true;
        for (int n = 1; refused; ++n) {
            prepare(n);
            start(n);
            action();
            refused = stop() >= n;
            sum += refused ? 1 : 0;
            check(refused ? n : 0);
        }
    }
    return sum;
}

}  // namespace refused_memory
