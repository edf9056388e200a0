#pragma once

// Included once by a target that runs library code: its log lines are made and thrown away.

#include <cstdlib>

#include "tests/fuzz/fuzz.h"

int LLVMFuzzerInitialize(int*, char***) {
    setenv("KELD_LOG_FILE", "/dev/null", 1);
    return 0;
}
